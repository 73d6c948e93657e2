#include "PaletteQuantizer.h"
#include "QuantizerState.h"
#include "WindowsApi_Memory.h"

#include <algorithm>
#include <array>

using namespace VF::Pixmaps;

namespace {

constexpr int kAxes = 3;
constexpr int kSteps = 32; // of an axis
constexpr std::int32_t kFirstScore = 9999999;

ColourBox* sUsedBoxes = nullptr;
ColourBox* sFreeBoxes = nullptr;
HLOCAL sPool = nullptr;
std::uint8_t* sCurrentMap = nullptr;

using Projection = std::array<std::array<std::uint32_t, kSteps>, kAxes>;

struct Range {
    int low, high;
};

Range RangeOf(const ColourBox& box, int axis) noexcept {
    const Range ranges[kAxes] = {{box.redMin, box.redMax}, {box.greenMin, box.greenMax}, {box.blueMin, box.blueMax}};
    return ranges[axis];
}

// A caller's box may reach out of the cube.
Range Within(Range range) noexcept {
    return {std::max(range.low, 0), std::min(range.high, kSteps - 1)};
}

// Calls visit(red, green, counters, blue range) for every run of cells of a box.
template <class Visit>
void EachRunOfCells(const ColourBox& box, const std::uint32_t* histogram, const Visit& visit) {
    const Range red = Within(RangeOf(box, 0)), green = Within(RangeOf(box, 1)), blue = Within(RangeOf(box, 2));
    for (int r = red.low; r <= red.high; ++r) {
        for (int g = green.low; g <= green.high; ++g) {
            visit(r, g, histogram + (r << 10 | g << 5), blue);
        }
    }
}

// What lies in the box at each place of each axis.
Projection Project(const ColourBox& box, const std::uint32_t* histogram) noexcept {
    Projection sums{};
    if (histogram == nullptr) {
        return sums;
    }
    EachRunOfCells(box, histogram, [&](int r, int g, const std::uint32_t* counters, Range blue) {
        std::uint32_t sum = 0;
        for (int b = blue.low; b <= blue.high; ++b) {
            sum += counters[b];
            sums[2][static_cast<std::size_t>(b)] += counters[b];
        }
        sums[0][static_cast<std::size_t>(r)] += sum;
        sums[1][static_cast<std::size_t>(g)] += sum;
    });
    return sums;
}

// The link that leads to the first box whose score is not larger, from here on.
ColourBox** PlaceByScore(ColourBox** link, std::int32_t score) noexcept {
    while (*link != nullptr && (*link)->score > score) {
        link = &(*link)->next;
    }
    return link;
}

void Insert(ColourBox** link, ColourBox* box) noexcept {
    box->next = *link;
    *link = box;
}

// The link that leads to a box; null when the box is not in use.
ColourBox** LinkTo(const ColourBox* box) noexcept {
    for (ColourBox** link = &sUsedBoxes; *link != nullptr; link = &(*link)->next) {
        if (*link == box) {
            return link;
        }
    }
    return nullptr;
}

} // namespace

namespace VF::Pixmaps {

void UseMap(std::uint8_t* map) noexcept {
    sCurrentMap = map;
}

ColourBox* FirstUsedBox() noexcept {
    return sUsedBoxes;
}

bool AnyFreeBox() noexcept {
    return sFreeBoxes != nullptr;
}

} // namespace VF::Pixmaps

std::int32_t InitBoxes(std::int32_t inCount) {
    DeleteBoxes();
    if (inCount < 1) {
        return 0;
    }
    const auto count = static_cast<std::size_t>(inCount);
    sPool = LocalAlloc(LMEM_MOVEABLE | LMEM_ZEROINIT, count * sizeof(ColourBox));
    auto* const boxes = sPool == nullptr ? nullptr : static_cast<ColourBox*>(LocalLock(sPool));
    if (boxes == nullptr) {
        LocalFree(sPool);
        sPool = nullptr;
        return 0;
    }
    boxes[0] = {nullptr, 0, kSteps - 1, 0, kSteps - 1, 0, kSteps - 1, kFirstScore, 0};
    sUsedBoxes = boxes;
    for (std::size_t i = 1; i < count; ++i) {
        boxes[i].next = i + 1 < count ? boxes + i + 1 : nullptr;
    }
    sFreeBoxes = count > 1 ? boxes + 1 : nullptr;
    return 1;
}

void DeleteBoxes() {
    sUsedBoxes = sFreeBoxes = nullptr;
    if (sPool != nullptr) {
        LocalUnlock(sPool);
        LocalFree(sPool);
        sPool = nullptr;
    }
}

void SortBoxes() {
    ColourBox* sorted = nullptr;
    while (ColourBox* const box = sUsedBoxes) {
        sUsedBoxes = box->next;
        ColourBox** link = &sorted;
        while (*link != nullptr && (*link)->count > box->count) {
            link = &(*link)->next;
        }
        Insert(link, box);
    }
    sUsedBoxes = sorted;
}

std::uint32_t AddAxisVariance(std::int32_t /*inAxis*/, const std::uint32_t* inProjection, std::int32_t inLow,
                              std::int32_t inHigh, std::uint32_t inTotal) {
    if (inTotal == 0) {
        return 0;
    }
    std::uint32_t sum = 0, squares = 0;
    for (std::int32_t v = inLow; v <= inHigh; ++v) {
        const auto value = static_cast<std::uint32_t>(v);
        sum += inProjection[v] * value;
        squares += inProjection[v] * value * value;
    }
    return squares - sum / inTotal * sum - sum % inTotal * sum / inTotal;
}

void ShrinkBox(ColourBox* ioBox) {
    ShrinkBoxHist(ioBox, CurrentHistogram());
}

void ShrinkBoxHist(ColourBox* ioBox, const void* inHistogram) {
    if (ioBox == nullptr) {
        return;
    }
    const Projection sums = Project(*ioBox, static_cast<const std::uint32_t*>(inHistogram));
    std::uint32_t count = 0, score = 0;
    for (const std::uint32_t atPlace : sums[0]) {
        count += atPlace;
    }
    for (int axis = 0; axis < kAxes; ++axis) {
        const Range range = Within(RangeOf(*ioBox, axis));
        score += AddAxisVariance(axis, sums[static_cast<std::size_t>(axis)].data(), range.low, range.high, count);
    }
    ioBox->count = count;
    ioBox->score = static_cast<std::int32_t>(score);
}

ColourCut FindSplitAxis(const ColourBox* inBox) {
    return FindSplitAxisHist(inBox, CurrentHistogram());
}

ColourCut FindSplitAxisHist(const ColourBox* inBox, const void* inHistogram) {
    ColourCut best{0, 0};
    if (inBox == nullptr) {
        return best;
    }
    const Projection projection = Project(*inBox, static_cast<const std::uint32_t*>(inHistogram));
    double bestScore = 0;
    for (int axis = 0; axis < kAxes; ++axis) {
        const auto& counts = projection[static_cast<std::size_t>(axis)];
        const Range range = Within(RangeOf(*inBox, axis));
        double total = 0, weighted = 0; // integers, which doubles hold
        for (int v = range.low; v <= range.high; ++v) {
            total += counts[static_cast<std::size_t>(v)];
            weighted += static_cast<double>(counts[static_cast<std::size_t>(v)]) * v;
        }
        const double mean = weighted / total;
        double left = 0, leftWeighted = 0;
        for (int t = range.low; t <= range.high; ++t) {
            left += counts[static_cast<std::size_t>(t)];
            leftWeighted += static_cast<double>(counts[static_cast<std::size_t>(t)]) * t;
            if (left == 0) {
                continue;
            }
            if (left == total) {
                break;
            }
            const double distance = mean - leftWeighted / left;
            const double score = left / (total - left) * distance * distance;
            if (score > bestScore) {
                bestScore = score;
                best = {t, axis};
            }
        }
    }
    return best;
}

std::int32_t SplitBoxAxis(ColourBox* ioBox, ColourCut inCut) {
    if (ioBox == nullptr || ioBox->score == 0 || sFreeBoxes == nullptr) {
        return 1;
    }
    ColourBox& rest = *sFreeBoxes;
    ColourBox* const next = rest.next;
    rest = *ioBox;
    rest.next = next;
    switch (inCut.axis) {
    case 0:
        ioBox->redMax = inCut.place;
        rest.redMin = inCut.place + 1;
        break;
    case 1:
        ioBox->greenMax = inCut.place;
        rest.greenMin = inCut.place + 1;
        break;
    default:
        ioBox->blueMax = inCut.place;
        rest.blueMin = inCut.place + 1;
        break;
    }
    return 0;
}

std::int32_t SplitBox(ColourBox* ioBox) {
    return SplitBoxHist(ioBox, CurrentHistogram());
}

std::int32_t SplitBoxHist(ColourBox* ioBox, const void* inHistogram) {
    if (SplitBoxAxis(ioBox, FindSplitAxisHist(ioBox, inHistogram)) != 0) {
        return 1;
    }
    ColourBox* const rest = sFreeBoxes;
    ShrinkBoxHist(ioBox, inHistogram);
    ShrinkBoxHist(rest, inHistogram);
    if (ColourBox** const link = LinkTo(ioBox)) {
        *link = ioBox->next;
        Insert(PlaceByScore(link, ioBox->score), ioBox);
    }
    sFreeBoxes = rest->next;
    Insert(PlaceByScore(&sUsedBoxes, rest->score), rest);
    return 0;
}

std::uint32_t DetermineRepresentative(const ColourBox* inBox, std::int32_t inIndex) {
    return DetermineRepresentativeHist(inBox, inIndex, sCurrentMap, CurrentHistogram());
}

std::uint32_t DetermineRepresentativeHist(const ColourBox* inBox, std::int32_t inIndex, void* outMap,
                                          const void* inHistogram) {
    if (inBox == nullptr || inHistogram == nullptr) {
        return 0;
    }
    auto* const map = static_cast<std::uint8_t*>(outMap);
    const auto* const histogram = static_cast<const std::uint32_t*>(inHistogram);
    std::uint32_t count = 0, sums[kAxes] = {};
    EachRunOfCells(*inBox, histogram, [&](int r, int g, const std::uint32_t* counters, Range blue) {
        std::uint32_t run = 0;
        for (int b = blue.low; b <= blue.high; ++b) {
            run += counters[b];
            sums[2] += counters[b] * static_cast<std::uint32_t>(b);
        }
        count += run;
        sums[0] += run * static_cast<std::uint32_t>(r);
        sums[1] += run * static_cast<std::uint32_t>(g);
        if (map != nullptr && blue.low <= blue.high) {
            std::fill(map + (r << 10 | g << 5 | blue.low), map + (r << 10 | g << 5 | blue.high) + 1,
                      static_cast<std::uint8_t>(inIndex));
        }
    });
    if (count == 0) {
        return 0;
    }
    std::uint32_t colour = 0;
    for (int axis = 0; axis < kAxes; ++axis) {
        // The product goes beyond 32 bits for boxes of half a million pixels.
        const std::uint64_t value = (std::uint64_t{sums[axis]} + count / 2) * 255 / count / 32;
        colour |= static_cast<std::uint32_t>(value & 0xFF) << 8 * axis;
    }
    return colour;
}
