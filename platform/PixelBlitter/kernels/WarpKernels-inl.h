// Bilinear samples along lines through a picture.
#if defined(PIXELBLITTER_WARP_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_WARP_KERNELS_INL_H
#undef PIXELBLITTER_WARP_KERNELS_INL_H
#else
#define PIXELBLITTER_WARP_KERNELS_INL_H
#endif

#include "PairSums-inl.h"
#include "WarpKernels.h"

#include <cmath>

#include <hwy/cache_control.h>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

constexpr std::size_t kWarpRun = 256; // pixels at once, so that what belongs to them stays in the first-level cache
constexpr int kWarpBits = 14;         // of weights

// Lines of the source that follow no order a processor would guess are fetched a few rows before they are sampled.
constexpr int kRowsAhead = 4;
constexpr std::size_t kFetchPixels = 4; // a prefetch for so many
static_assert(kWarpRun % kWarpBlock == 0 && kWarpBlock >= kMaxLanes);

// Samples of a run. Weights are those of the nearer column or row in the lower word, of the farther one in the upper.
struct WarpRun {
    alignas(64) std::int32_t column[kWarpRun + kMaxLanes];
    alignas(64) std::int32_t row[kWarpRun + kMaxLanes];
    alignas(64) std::uint32_t across[kWarpRun + kMaxLanes];
    alignas(64) std::uint32_t down[kWarpRun + kMaxLanes];
    alignas(64) std::uint32_t nearPixels[2 * (kWarpRun + kMaxLanes)]; ///< two neighbours of the nearer row
    alignas(64) std::uint32_t farPixels[2 * (kWarpRun + kMaxLanes)];
};

using DD = hn::Repartition<double, DF>;
constexpr DD dd;

// Towards zero; of floats that integers hold, for which the library's conversion looks out.
HWY_INLINE Dwords Truncated(VF v) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
    return Dwords{_mm512_cvttps_epi32(v.raw)};
#elif HWY_ARCH_X86 && HWY_TARGET == HWY_AVX2
    return Dwords{_mm256_cvttps_epi32(v.raw)};
#else
    return hn::ConvertTo(di, v);
#endif
}

// One coordinate of the blocks of a run: base + fraction + step * n / (1 + shrink * n) for the n-th pixel of each.
struct WarpAxis {
    static constexpr std::size_t kBlocks = kWarpRun / kWarpBlock;
    static_assert(kBlocks % (kMaxLanes / 2) == 0); // whole vectors of doubles are stored
    alignas(64) std::int32_t base[kBlocks];
    alignas(64) float fraction[kBlocks];
    alignas(64) float step[kBlocks];
    alignas(64) float lowest[kBlocks]; ///< of the picture, from the base
    alignas(64) float highest[kBlocks];

    // From block b on as many as fit a vector.
    HWY_INLINE void Start(std::size_t b, hn::Vec<DD> at, hn::Vec<DD> slope, int last) {
        // Pixels that count lie in the picture. For the others any number will do that is one.
        constexpr double kFarthest = 2.0 * kLargestWarpSide;
        const auto whole = hn::Floor(hn::Min(hn::Max(at, hn::Set(dd, -2.0)), hn::Set(dd, kFarthest)));
        constexpr hn::Rebind<float, DD> floats;
        constexpr hn::Rebind<std::int32_t, DD> integers;
        hn::StoreU(hn::DemoteTo(integers, whole), integers, base + b);
        hn::StoreU(hn::DemoteTo(floats, hn::Sub(at, whole)), floats, fraction + b);
        hn::StoreU(hn::DemoteTo(floats, slope), floats, step + b);
        hn::StoreU(hn::DemoteTo(floats, hn::Sub(hn::Zero(dd), whole)), floats, lowest + b);
        hn::StoreU(hn::DemoteTo(floats, hn::Sub(hn::Set(dd, static_cast<double>(last)), whole)), floats, highest + b);
    }

    HWY_INLINE void Sample(std::size_t b, VF steps, std::int32_t* index, std::uint32_t* weights) const {
        const VF low = hn::Set(df, lowest[b]), high = hn::Set(df, highest[b]);
        const VF place = hn::Add(hn::Mul(steps, hn::Set(df, step[b])), hn::Set(df, fraction[b]));
        const VF inside = hn::Min(hn::Max(place, low), high);
        // On the last column the nearer one is that before it, where there is one.
        const VF nearer = hn::Max(hn::Min(hn::Floor(inside), hn::Sub(high, hn::Set(df, 1.0F))), low);
        const VF scaled =
            hn::Add(hn::Mul(hn::Sub(inside, nearer), hn::Set(df, float{1 << kWarpBits})), hn::Set(df, 0.5F));
        const auto far = hn::BitCast(du, Truncated(scaled));
        hn::StoreU(hn::Add(Truncated(nearer), hn::Set(di, base[b])), di, index);
        hn::StoreU(hn::Or(hn::Sub(hn::Set(du, 1U << kWarpBits), far), hn::ShiftLeft<16>(far)), du, weights);
    }
};

template <bool projective>
HWY_INLINE void FindPlaces(const WarpSource& source, const WarpLine& line, int first, std::size_t pixels,
                           WarpRun& run) {
    // The library's iota is a loop on most targets.
    alignas(64) static constexpr float kSteps[kWarpBlock] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    WarpAxis columns, rows;
    alignas(64) float shrink[WarpAxis::kBlocks];
    const auto set = [](double value) HWY_ATTR { return hn::Set(dd, value); };
    for (std::size_t b = 0; b * kWarpBlock < pixels; b += hn::Lanes(dd)) {
        const double start = static_cast<double>(first) + static_cast<double>(b * kWarpBlock);
        const auto at = hn::Add(set(start), hn::Mul(hn::Iota(dd, 0.0), set(double{kWarpBlock})));
        auto depth = set(1 / line.w[0]);
        if constexpr (projective) {
            depth = hn::Div(set(1), hn::Add(set(line.w[0]), hn::Mul(set(line.w[1]), at)));
            hn::StoreU(hn::DemoteTo(hn::Rebind<float, DD>(), hn::Mul(set(line.w[1]), depth)), hn::Rebind<float, DD>(),
                       shrink + b);
        }
        const auto startAxis = [&](const double(&place)[3], int last, WarpAxis& axis) HWY_ATTR {
            const auto here = hn::Mul(hn::Add(set(place[0]), hn::Mul(set(place[1]), at)), depth);
            auto slope = set(place[1]);
            if constexpr (projective) {
                slope = hn::Sub(slope, hn::Mul(here, set(line.w[1])));
            }
            axis.Start(b, here, hn::Mul(slope, depth), last);
        };
        startAxis(line.x, source.lastColumn, columns);
        startAxis(line.y, source.lastRow, rows);
    }
    for (std::size_t i = 0; i < pixels; i += kWarpBlock) {
        const std::size_t b = i / kWarpBlock;
        for (std::size_t lane = 0; lane < kWarpBlock; lane += LaneCount()) {
            VF steps = hn::Load(df, kSteps + lane);
            if constexpr (projective) {
                steps = hn::Div(steps, hn::Add(hn::Mul(steps, hn::Set(df, shrink[b])), hn::Set(df, 1.0F)));
            }
            columns.Sample(b, steps, run.column + i + lane, run.across + i + lane);
            rows.Sample(b, steps, run.row + i + lane, run.down + i + lane);
        }
    }
}

// Bytes from a pixel's place to that of the pixel kRowsAhead rows after it, as it is about column `at`.
HWY_INLINE std::ptrdiff_t BytesAhead(const WarpSource& source, const WarpLine& line, double at) {
    const double depth = 1 / (line.w[0] + line.w[1] * at);
    const auto step = [&](const double(&place)[3], double largest) {
        const double here = (place[0] + place[1] * at) * depth;
        const double ahead = kRowsAhead * (place[2] - here * line.w[2]) * depth;
        return static_cast<std::ptrdiff_t>(std::min(largest, std::max(-largest, ahead))); // in this order for NaN
    };
    return step(line.y, source.lastRow) * source.stride + 4 * step(line.x, source.lastColumn);
}

// Fetches the four pixels around each place.
template <bool oneColumn, class Offset>
HWY_INLINE void FetchPairs(const WarpSource& source, std::size_t pixels, std::ptrdiff_t ahead, const Offset& offset,
                           WarpRun& run) {
    const std::uint8_t* const nearRow = source.base;
    const std::uint8_t* const farRow = source.base + (source.lastRow > 0 ? source.stride : 0);
    // The address may lie beyond the picture, where a prefetch does nothing but a pointer must not be formed.
    const std::uintptr_t rowAhead = reinterpret_cast<std::uintptr_t>(source.base) + static_cast<std::uintptr_t>(ahead);
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::ptrdiff_t at = offset[i];
        if (i % kFetchPixels == 0) {
            hwy::Prefetch(reinterpret_cast<const std::uint8_t*>(rowAhead + static_cast<std::uintptr_t>(at)));
        }
        std::uint64_t nearPixels = 0, farPixels = 0;
        constexpr std::size_t kBytes = oneColumn ? 4 : 8;
        std::memcpy(&nearPixels, nearRow + at, kBytes);
        std::memcpy(&farPixels, farRow + at, kBytes);
        if constexpr (oneColumn) {
            nearPixels |= nearPixels << 32;
            farPixels |= farPixels << 32;
        }
        std::memcpy(run.nearPixels + 2 * i, &nearPixels, sizeof nearPixels);
        std::memcpy(run.farPixels + 2 * i, &farPixels, sizeof farPixels);
    }
}

struct WideOffsets {
    const WarpRun& run;
    std::ptrdiff_t stride;
    std::ptrdiff_t operator[](std::size_t i) const { return run.row[i] * stride + std::ptrdiff_t{4} * run.column[i]; }
};

template <bool oneColumn>
HWY_INLINE void FetchSamples(const WarpSource& source, std::size_t pixels, std::ptrdiff_t ahead, WarpRun& run) {
    constexpr std::int64_t kLargest = INT32_MAX;
    if (source.lastRow * std::int64_t{std::abs(source.stride)} + 4 * std::int64_t{source.lastColumn} > kLargest) {
        FetchPairs<oneColumn>(source, pixels, ahead, WideOffsets{run, source.stride}, run);
        return;
    }
    alignas(64) std::int32_t offsets[kWarpRun + kMaxLanes];
    const auto stride = hn::Set(di, static_cast<std::int32_t>(source.stride));
    for (std::size_t i = 0; i < pixels; i += LaneCount()) {
        const auto rows = hn::Mul(hn::Load(di, run.row + i), stride);
        hn::Store(hn::Add(rows, hn::ShiftLeft<2>(hn::Load(di, run.column + i))), di, offsets + i);
    }
    FetchPairs<oneColumn>(source, pixels, ahead, offsets, run);
}

// Whether a byte of all that was fetched is 255.
HWY_INLINE bool IsOpaque(int byte, std::size_t pixels, const WarpRun& run) {
    const auto opaque = hn::Set(du, 0xFFU << (8 * byte));
    auto common = opaque;
    const auto both = [&](std::size_t i) HWY_ATTR {
        return hn::And(hn::Load(du, run.nearPixels + i), hn::Load(du, run.farPixels + i));
    };
    std::size_t i = 0;
    for (; i + LaneCount() <= 2 * pixels; i += LaneCount()) {
        common = hn::And(common, both(i));
    }
    if (i < 2 * pixels) {
        common = hn::And(common, hn::IfThenElse(hn::FirstN(du, 2 * pixels - i), both(i), opaque));
    }
    return hn::AllTrue(du, hn::Eq(common, opaque));
}

// Sums of neighbours, two pixels out of every block of 16 bytes, in words with 7 bits behind the point.
class AcrossSums {
public:
    AcrossSums() : mOrder(hn::LoadDup128(dbytes, kOrder)) {}

    // pairs: as many pixel pairs as fit a vector. The first pixels of blocks, then the second ones.
    HWY_INLINE void operator()(const std::uint32_t* pairs, Words firstWeights, Words secondWeights, Dwords& first,
                               Dwords& second) const {
        const auto bytes = hn::LoadU(dbytes, reinterpret_cast<const std::uint8_t*>(pairs));
        const auto ordered = hn::TableLookupBytes(bytes, mOrder);
        const auto zero = hn::Zero(dbytes);
        first = Sum(hn::BitCast(ds, hn::InterleaveLower(dbytes, ordered, zero)), firstWeights);
        second = Sum(hn::BitCast(ds, hn::InterleaveUpper(dbytes, ordered, zero)), secondWeights);
    }

private:
    static HWY_INLINE Dwords Sum(Words pixels, Words weights) {
        constexpr int kDropped = kWarpBits - 7;
        const auto half = hn::Set(di, 1 << (kDropped - 1));
        return hn::ShiftRight<kDropped>(hn::Add(MulAddPairs(pixels, weights), half));
    }
    // The same component of both neighbours together.
    alignas(16) static constexpr std::uint8_t kOrder[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
    Bytes mOrder;
};

class BilinearPixels {
public:
    // One vector of pixels.
    HWY_INLINE Bytes operator()(const WarpRun& run, std::size_t i) const {
        const std::size_t half = LaneCount() / 2;
        const Words low = Codes(run, i), high = Codes(run, i + half);
        return Pieces::Gather(PackToBytes(low, high));
    }

private:
    HWY_INLINE Words Codes(const WarpRun& run, std::size_t i) const {
        const auto firsts = hn::SetTableIndices(du, kFirsts), seconds = hn::SetTableIndices(du, kSeconds);
        const auto across = hn::LoadU(du, run.across + i), down = hn::LoadU(du, run.down + i);
        const Words acrossOfFirst = hn::BitCast(ds, hn::TableLookupLanes(across, firsts));
        const Words acrossOfSecond = hn::BitCast(ds, hn::TableLookupLanes(across, seconds));
        Dwords nearFirst, nearSecond, farFirst, farSecond;
        mAcross(run.nearPixels + 2 * i, acrossOfFirst, acrossOfSecond, nearFirst, nearSecond);
        mAcross(run.farPixels + 2 * i, acrossOfFirst, acrossOfSecond, farFirst, farSecond);
        return PackToWords(Sum(nearFirst, farFirst, hn::TableLookupLanes(down, firsts)),
                           Sum(nearSecond, farSecond, hn::TableLookupLanes(down, seconds)));
    }
    static HWY_INLINE Dwords Sum(Dwords nearRow, Dwords farRow, hn::Vec<DU> weights) {
        const auto both = hn::Or(nearRow, hn::ShiftLeft<16>(farRow));
        const auto sum = MulAddPairs(hn::BitCast(ds, both), hn::BitCast(ds, weights));
        constexpr int kDropped = kWarpBits + 7;
        return hn::ShiftRight<kDropped>(hn::Add(sum, hn::Set(di, 1 << (kDropped - 1))));
    }
    // The weight of the first, and of the second pixel of each block of 16 bytes.
    alignas(64) static constexpr std::int32_t kFirsts[] = {0, 0, 0, 0, 2, 2, 2, 2, 4, 4, 4, 4, 6, 6, 6, 6};
    alignas(64) static constexpr std::int32_t kSeconds[] = {1, 1, 1, 1, 3, 3, 3, 3, 5, 5, 5, 5, 7, 7, 7, 7};
    AcrossSums mAcross;
};

// Colours weighed by alpha, in floats; where nothing is visible, as if everything were.
class WeighedPixels {
public:
    explicit WeighedPixels(int alpha) : mAlpha(alpha) {}

    HWY_INLINE Bytes operator()(const WarpRun& run, std::size_t i) const {
        hn::Vec<DU> pixels[4];
        hn::LoadInterleaved2(du, run.nearPixels + 2 * i, pixels[0], pixels[1]);
        hn::LoadInterleaved2(du, run.farPixels + 2 * i, pixels[2], pixels[3]);
        const auto across = hn::LoadU(du, run.across + i), down = hn::LoadU(du, run.down + i);
        VF weights[4], visible[4];
        VF allVisible = hn::Zero(df);
        for (int tap = 0; tap < 4; ++tap) {
            weights[tap] = hn::Mul(WeightOf(across, tap % 2), WeightOf(down, tap / 2));
            visible[tap] = hn::Mul(weights[tap], Component(pixels[tap], mAlpha));
            allVisible = hn::Add(allVisible, visible[tap]);
        }
        const auto nothing = hn::Eq(allVisible, hn::Zero(df));
        const VF divisor = hn::IfThenElse(nothing, hn::Set(df, 1.0F), allVisible);
        auto result = hn::Zero(du);
        for (int c = 0; c < 4; ++c) {
            const VF plain = hn::Mul(Sum(weights, pixels, c), hn::Set(df, 0x1p-28F));
            const VF weighed = hn::Div(Sum(visible, pixels, c), divisor);
            const VF value = c == mAlpha ? plain : hn::IfThenElse(nothing, plain, weighed);
            const auto code = hn::ConvertTo(di, hn::Add(value, hn::Set(df, 0.5F + 0x1p-16F)));
            result = hn::Or(result, hn::ShiftLeftSame(hn::BitCast(du, code), 8 * c));
        }
        return hn::BitCast(dbytes, result);
    }

private:
    static_assert(kWarpBits == 14);
    static HWY_INLINE VF WeightOf(hn::Vec<DU> words, int upper) {
        const auto word = upper != 0 ? hn::ShiftRight<16>(words) : hn::And(words, hn::Set(du, 0xFFFFU));
        return hn::ConvertTo(df, hn::BitCast(di, word));
    }
    static HWY_INLINE VF Component(hn::Vec<DU> pixels, int byte) {
        const auto code = hn::And(hn::ShiftRightSame(pixels, 8 * byte), hn::Set(du, 0xFFU));
        return hn::ConvertTo(df, hn::BitCast(di, code));
    }
    static HWY_INLINE VF Sum(const VF* weights, const hn::Vec<DU>* pixels, int byte) {
        VF sum = hn::Mul(weights[0], Component(pixels[0], byte));
        for (int tap = 1; tap < 4; ++tap) {
            sum = hn::Add(sum, hn::Mul(weights[tap], Component(pixels[tap], byte)));
        }
        return sum;
    }
    int mAlpha;
};

template <class Pixels>
HWY_INLINE void StoreSamples(const Pixels& samples, const WarpRun& run, std::uint8_t* destination, std::size_t pixels) {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        hn::StoreU(samples(run, i), dbytes, destination + 4 * i);
    }
    if (i < pixels) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes];
        hn::Store(samples(run, i), dbytes, rest);
        std::memcpy(destination + 4 * i, rest, 4 * std::min(pixels - i, lanes));
    }
}

void SampleRow(const WarpSource& source, const WarpLine& line, int first, std::uint8_t* destination,
               std::size_t pixels) noexcept {
    WarpRun run;
    for (std::size_t done = 0; done < pixels; done += kWarpRun) {
        const std::size_t count = std::min(kWarpRun, pixels - done);
        // The last vector takes more: places that do not count lie in the picture, too.
        const std::size_t whole = (count + LaneCount() - 1) / LaneCount() * LaneCount();
        const int column = first + static_cast<int>(done);
        (line.w[1] != 0 ? FindPlaces<true> : FindPlaces<false>)(source, line, column, count, run);
        const std::ptrdiff_t ahead = BytesAhead(source, line, column + static_cast<double>(count / 2));
        (source.lastColumn > 0 ? FetchSamples<false> : FetchSamples<true>)(source, whole, ahead, run);
        if (source.weighedAlpha < 0 || IsOpaque(source.weighedAlpha, count, run)) {
            StoreSamples(BilinearPixels(), run, destination + 4 * done, count);
        } else {
            StoreSamples(WeighedPixels(source.weighedAlpha), run, destination + 4 * done, count);
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
