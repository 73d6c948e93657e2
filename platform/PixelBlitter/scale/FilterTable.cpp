#include "scale/FilterTable.h"

#include <algorithm>
#include <cmath>

namespace PixelBlitter {

namespace {

/// Weights are whole multiples of 1 / kQuanta. Sums of them below 2 are exact in a float, in any order.
constexpr double kQuanta = 1 << 23;

/// Longer filters gain nothing from blocks: few destination samples, many taps.
constexpr int kMaxBlockTaps = 32;

/// The taps of all destination samples one after another, each without zeros at its ends.
struct RaggedTaps {
    std::vector<std::int32_t> first;
    std::vector<std::int32_t> count;
    std::vector<float> weights;
};

/// Where a sample beyond the borders is taken from: the mirror image, and the mirror image's last sample after that.
std::int64_t MirroredIndex(std::int64_t index, std::int64_t size) noexcept {
    if (index < 0)
        index = -index - 1;
    else if (index >= size)
        index = 2 * size - 1 - index;
    return std::clamp<std::int64_t>(index, 0, size - 1);
}

/// Weights as multiples of 1 / quanta.
RaggedTaps ComputeTaps(const ResampleAxis& axis, Filter filter, double quanta) {
    const double radius = FilterRadius(filter, axis.step);
    const std::int64_t size = axis.sourceSize;
    RaggedTaps taps;
    taps.first.reserve(static_cast<std::size_t>(axis.destinationSize));
    taps.count.reserve(static_cast<std::size_t>(axis.destinationSize));
    std::vector<double> folded;
    for (int n = 0; n < axis.destinationSize; ++n) {
        // Farther outside than this only the mirror image's last sample is in reach.
        const double outside = double(size) + radius + 1;
        const double position = std::clamp(axis.SourcePosition(n), -outside, double(size) + outside);
        const auto from = static_cast<std::int64_t>(std::ceil(position - radius - 0.5));
        const auto to = static_cast<std::int64_t>(std::floor(position + radius - 0.5));

        std::int64_t lowest = size;
        std::int64_t highest = 0;
        for (const std::int64_t m : {from, to}) {
            lowest = std::min(lowest, MirroredIndex(m, size));
            highest = std::max(highest, MirroredIndex(m, size));
        }
        if (from < 0)
            lowest = 0;
        if (to >= size)
            highest = size - 1;

        folded.assign(static_cast<std::size_t>(highest - lowest + 1), 0.0);
        double total = 0;
        for (std::int64_t m = from; m <= to; ++m) {
            const double weight = FilterWeight(filter, axis.step, double(m) + 0.5 - position);
            folded[static_cast<std::size_t>(MirroredIndex(m, size) - lowest)] += weight;
            total += weight;
        }

        // Rounding the running sum instead of each weight makes the weights add up to exactly 1.
        const std::size_t begin = taps.weights.size();
        std::int64_t first = -1;
        std::size_t end = begin;
        double sum = 0;
        double roundedSum = 0;
        for (std::size_t k = 0; k < folded.size(); ++k) {
            sum += folded[k];
            const double rounded = k + 1 == folded.size() ? quanta : std::nearbyint(sum / total * quanta);
            const double weight = rounded - roundedSum;
            roundedSum = rounded;
            if (weight == 0 && first < 0)
                continue;
            if (first < 0)
                first = lowest + static_cast<std::int64_t>(k);
            taps.weights.push_back(static_cast<float>(weight / quanta));
            if (weight != 0)
                end = taps.weights.size();
        }
        taps.weights.resize(end);
        taps.first.push_back(static_cast<std::int32_t>(first));
        taps.count.push_back(static_cast<std::int32_t>(end - begin));
    }
    return taps;
}

std::int32_t WidestSpan(const std::vector<std::int32_t>& left, std::size_t lanes) noexcept {
    std::int32_t widest = 0;
    for (std::size_t n = 0; n < left.size(); n += lanes)
        widest = std::max(widest, left[n + lanes - 1] - left[n]);
    return widest;
}

/// A sample whose outer weights happen to be zero may begin behind its successor; rows are read in order, so it begins
/// with its successor instead.
std::vector<std::int32_t> InOrder(std::vector<std::int32_t> first) {
    for (std::size_t n = first.size() - 1; n-- > 0;)
        first[n] = std::min(first[n], first[n + 1]);
    return first;
}

std::size_t PaddedToBlocks(std::size_t count) noexcept {
    return (count + kBlock - 1) / kBlock * kBlock;
}

FilterTable MakeWordTable(const ResampleAxis& axis, Filter filter, TableUse use) {
    constexpr double kOne = 1 << kWordBits;
    const RaggedTaps ragged = ComputeTaps(axis, filter, kOne);
    const std::size_t count = ragged.first.size();
    const bool rows = use == TableUse::WordRows;

    FilterTable table;
    table.layout = rows ? FilterTable::Layout::WordsOfPairs : FilterTable::Layout::WordsOfTaps;
    table.left = InOrder(ragged.first);
    for (std::size_t n = 0; n < count; ++n) {
        table.left[n] -= rows ? table.left[n] % 2 : 0;
        table.taps = std::max(table.taps, ragged.first[n] + ragged.count[n] - table.left[n]);
    }
    table.taps += table.taps % 2;
    // Samples beyond the last of an odd number have a weight of 0.
    const int last = std::max(0, axis.sourceSize + (rows ? axis.sourceSize % 2 : 0) - table.taps);
    for (std::int32_t& left : table.left)
        left = std::min(left, last);
    table.left.resize(PaddedToBlocks(count), table.left.back());

    const auto taps = static_cast<std::size_t>(table.taps);
    table.words.assign(table.left.size() * taps, 0);
    const float* weight = ragged.weights.data();
    for (std::size_t n = 0; n < count; ++n) {
        const auto skip = static_cast<std::size_t>(ragged.first[n] - table.left[n]);
        for (std::size_t t = skip; t < skip + static_cast<std::size_t>(ragged.count[n]); ++t) {
            const std::size_t pair = n / kWordBlock * (taps / 2) + t / 2;
            const std::size_t place = rows ? (pair * kWordBlock + n % kWordBlock) * 2 + t % 2 : n * taps + t;
            table.words[place] = static_cast<std::int16_t>(*weight++ * kOne);
        }
    }
    return table;
}

} // namespace

FilterTable MakeFilterTable(const ResampleAxis& axis, Filter filter, TableUse use) {
    if (use == TableUse::WordRows || use == TableUse::WordColumns)
        return MakeWordTable(axis, filter, use);
    const RaggedTaps ragged = ComputeTaps(axis, filter, kQuanta);
    const auto count = static_cast<std::size_t>(axis.destinationSize);
    const std::size_t padded = PaddedToBlocks(count);

    FilterTable table;
    table.left = InOrder(ragged.first);
    for (std::size_t n = 0; n < count; ++n)
        table.taps = std::max(table.taps, ragged.first[n] + ragged.count[n] - table.left[n]);
    for (std::int32_t& left : table.left)
        left = std::min(left, axis.sourceSize - table.taps);
    table.left.resize(padded, table.left.back());

    const auto taps = static_cast<std::size_t>(table.taps);
    bool blocks = use == TableUse::Rows && table.taps <= kMaxBlockTaps;
    for (const std::int32_t lanes : {4, 8, 16}) {
        table.spans[lanes / 8] = WidestSpan(table.left, static_cast<std::size_t>(lanes));
        blocks = blocks && table.Span(lanes) < 2 * lanes;
    }
    if (blocks)
        table.layout = FilterTable::Layout::SamplesTogether;
    else
        table.weightStride = use == TableUse::Rows ? (taps + kBlock - 1) / kBlock * kBlock : taps;

    table.weights.assign(padded * (blocks ? taps : table.weightStride), 0.0f);
    const float* weight = ragged.weights.data();
    for (std::size_t n = 0; n < count; ++n) {
        const auto skip = static_cast<std::size_t>(ragged.first[n] - table.left[n]);
        for (std::size_t t = 0; t < static_cast<std::size_t>(ragged.count[n]); ++t) {
            const std::size_t place =
                blocks ? (n / kBlock * taps + skip + t) * kBlock + n % kBlock : n * table.weightStride + skip + t;
            table.weights[place] = *weight++;
        }
    }
    return table;
}

} // namespace PixelBlitter
