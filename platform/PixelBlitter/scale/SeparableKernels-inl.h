// Sums along the columns and along the rows of 8-bit pixels.
#if defined(PIXELBLITTER_SEPARABLE_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_SEPARABLE_KERNELS_INL_H
#undef PIXELBLITTER_SEPARABLE_KERNELS_INL_H
#else
#define PIXELBLITTER_SEPARABLE_KERNELS_INL_H
#endif

#include "kernels/PairSums-inl.h"
#include "kernels/RowStores-inl.h"
#include "scale/PixelKernels.h"

#include <utility>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

HWY_INLINE Words LoadWords(const std::uint8_t* bytes) {
    return hn::BitCast(ds, hn::PromoteTo(dw, hn::LoadU(hn::Rebind<std::uint8_t, DW>(), bytes)));
}
HWY_INLINE Words LoadWords(const std::int16_t* words) {
    return hn::LoadU(ds, words);
}

HWY_INLINE Words PairOfWeights(const std::int16_t* weights) {
    std::int32_t pair = 0;
    std::memcpy(&pair, weights, sizeof pair);
    return hn::BitCast(ds, hn::Set(di, pair));
}

// Sums start with what rounds them.
template <int bits>
HWY_INLINE Dwords RoundingStart() {
    return hn::Set(di, 1 << (bits - 1));
}
template <int bits>
HWY_INLINE Words Rounded(Dwords lower, Dwords upper) {
    return PackToWords(hn::ShiftRight<bits>(lower), hn::ShiftRight<bits>(upper));
}

// The weights of a row: of a number of taps that is known here stay in registers; 0 stands for any number.
template <int kTaps>
struct ColumnTaps {
    explicit ColumnTaps(const std::int16_t* weights, int) : ColumnTaps(weights, kIndices) {}

    // Calls add(first row, weights) for each pair of rows.
    template <class Add>
    HWY_INLINE void ForEachPair(const Add& add) const {
        ForEach(add, kIndices);
    }

private:
    static constexpr std::make_index_sequence<kTaps / 2> kIndices{};

    template <std::size_t... k>
    ColumnTaps(const std::int16_t* weights, std::index_sequence<k...>) : mPairs{PairOfWeights(weights + 2 * k)...} {}
    template <class Add, std::size_t... k>
    HWY_INLINE void ForEach(const Add& add, std::index_sequence<k...>) const {
        (add(2 * k, mPairs[k]), ...);
    }
    Words mPairs[kTaps / 2];
};
template <>
struct ColumnTaps<0> {
    ColumnTaps(const std::int16_t* weights, int taps) : mWeights(weights), mTaps(static_cast<std::size_t>(taps)) {}

    template <class Add>
    HWY_INLINE void ForEachPair(const Add& add) const {
        for (std::size_t t = 0; t < mTaps; t += 2) {
            add(t, PairOfWeights(mWeights + t));
        }
    }

private:
    const std::int16_t* mWeights;
    std::size_t mTaps;
};

// Sums of a vector of pixels: of the lower and the upper halves of the blocks of its first and of its second half, as
// packs want them.
template <int bits>
struct PixelSums {
    Dwords lower0, upper0, lower1, upper1;

    template <class Sample, class Taps>
    HWY_INLINE PixelSums(const Sample* const* rows, const Taps& taps, std::size_t at)
        : lower0(RoundingStart<bits>()), upper0(lower0), lower1(lower0), upper1(lower0) {
        const std::size_t half = hn::Lanes(ds);
        taps.ForEachPair([&](std::size_t t, Words pair) HWY_ATTR {
            const Words a0 = LoadWords(rows[t] + at), b0 = LoadWords(rows[t + 1] + at);
            const Words a1 = LoadWords(rows[t] + at + half), b1 = LoadWords(rows[t + 1] + at + half);
            lower0 = hn::Add(lower0, MulAddPairs(hn::InterleaveLower(ds, a0, b0), pair));
            upper0 = hn::Add(upper0, MulAddPairs(hn::InterleaveUpper(ds, a0, b0), pair));
            lower1 = hn::Add(lower1, MulAddPairs(hn::InterleaveLower(ds, a1, b1), pair));
            upper1 = hn::Add(upper1, MulAddPairs(hn::InterleaveUpper(ds, a1, b1), pair));
        });
    }
    HWY_INLINE Words First() const { return Rounded<bits>(lower0, upper0); }
    HWY_INLINE Words Second() const { return Rounded<bits>(lower1, upper1); }
};

// The samples of some rows from a place on, followed by zeros up to a whole vector of pixels.
template <class Sample>
struct RestOfRows {
    alignas(64) Sample rest[kMostTaps][4 * kMaxLanes] = {};
    const Sample* rows[kMostTaps];

    HWY_INLINE RestOfRows(const Sample* const* from, std::size_t taps, std::size_t at, std::size_t count) {
        for (std::size_t t = 0; t < taps; ++t) {
            std::memcpy(rest[t], from[t] + at, count * sizeof(Sample));
            rows[t] = rest[t];
        }
    }
};

template <class Sample, int kTaps>
struct SumOp {
    // Samples are codes, or words with kFractionBits.
    static constexpr int kBits = kWordBits + (sizeof(Sample) == 1 ? 0 : kFractionBits);

    const Sample* const* rows;
    std::size_t count;
    ColumnTaps<kTaps> taps;
    std::uint8_t* destination;
    Bytes order;
    Bytes opaque;

    static HWY_INLINE std::size_t Step() { return LaneCount(); }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        if constexpr (sizeof(Sample) == 1) {
            FetchVectors<1>(rows[count - 1] + 4 * i, ahead);
        }
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Pixels(rows, 4 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t pixels) const {
        const RestOfRows<Sample> rest(rows, count, 4 * i, 4 * pixels);
        alignas(64) std::uint8_t bytes[4 * kMaxLanes];
        hn::Store(Pixels(rest.rows, 0), dbytes, bytes);
        std::memcpy(destination + 4 * i, bytes, 4 * pixels);
    }

private:
    HWY_INLINE Bytes Pixels(const Sample* const* from, std::size_t at) const {
        const PixelSums<kBits> sums(from, taps, at);
        const Bytes pixels = Pieces::Gather(PackToBytes(sums.First(), sums.Second()));
        return hn::Or(hn::TableLookupBytes(pixels, order), opaque);
    }
};

template <int kTaps, class Sample>
void SumTaps(const Sample* const* rows, const std::int16_t* weights, int taps, std::uint8_t* destination,
             std::size_t pixels, const PixelOrder& order, const Transfer& transfer) noexcept {
    const SumOp<Sample, kTaps> op{
        rows,        static_cast<std::size_t>(taps),      ColumnTaps<kTaps>(weights, taps),
        destination, hn::LoadDup128(dbytes, order.order), hn::BitCast(dbytes, hn::Set(du, order.opaque))};
    RunSteps(op, 0, pixels, destination, 4, transfer);
}

template <class Sample>
void SumToBytes(const Sample* const* rows, const std::int16_t* weights, int taps, std::uint8_t* destination,
                std::size_t pixels, const PixelOrder& order, const Transfer& transfer) noexcept {
    const auto run = taps == 2 ? SumTaps<2, Sample> : taps == 4 ? SumTaps<4, Sample> : SumTaps<0, Sample>;
    run(rows, weights, taps, destination, pixels, order, transfer);
}

template <int kTaps>
void SumTapsToWords(const std::uint8_t* const* rows, const std::int16_t* weights, int taps, std::int16_t* words,
                    std::size_t pixels, const Transfer& transfer) noexcept {
    const ColumnTaps<kTaps> columnTaps(weights, taps);
    const auto store = [&](const std::uint8_t* const* from, std::size_t at, std::size_t to) HWY_ATTR {
        const PixelSums<kWordBits - kFractionBits> sums(from, columnTaps, at);
        hn::StoreU(sums.First(), ds, words + to);
        hn::StoreU(sums.Second(), ds, words + to + hn::Lanes(ds));
    };
    const std::size_t step = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + step <= 4 * pixels; i += step) {
        if (transfer.stream) {
            FetchVectors<1>(rows[taps - 1] + i, transfer.ahead);
            FetchVectors<1>(rows[taps - 1] + i, 2 * transfer.ahead);
        }
        store(rows, i, i);
    }
    if (i < 4 * pixels) {
        const RestOfRows<std::uint8_t> rest(rows, static_cast<std::size_t>(taps), i, 4 * pixels - i);
        store(rest.rows, 0, i);
    }
}

void SumBytesToWords(const std::uint8_t* const* rows, const std::int16_t* weights, int taps, std::int16_t* words,
                     std::size_t pixels, const Transfer& transfer) noexcept {
    const auto run = taps == 4 ? SumTapsToWords<4> : SumTapsToWords<0>;
    run(rows, weights, taps, words, pixels, transfer);
}

void Widen(const std::uint8_t* row, std::int16_t* words, std::size_t pixels, std::ptrdiff_t ahead) noexcept {
    const std::size_t step = hn::Lanes(ds);
    const auto store = [&](const std::uint8_t* from, std::size_t to)
                           HWY_ATTR { hn::StoreU(hn::ShiftLeft<kFractionBits>(LoadWords(from)), ds, words + to); };
    std::size_t i = 0;
    for (; i + 2 * step <= 4 * pixels; i += 2 * step) {
        FetchVectors<1>(row + i, ahead);
        store(row + i, i);
        store(row + i + step, i + step);
    }
    for (; i + step <= 4 * pixels; i += step) {
        store(row + i, i);
    }
    if (i < 4 * pixels) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        std::memcpy(rest, row + i, 4 * pixels - i);
        store(rest, i);
    }
}

// Along the rows each block of 16 bytes of a vector belongs to another row, so that all have the same weights.

template <class D, class Byte>
HWY_INLINE hn::Vec<D> LoadBlocks(D d, const Byte* const* rows, std::size_t at) {
    if constexpr (hn::MaxLanes(d) == 16) {
        return hn::LoadU(d, rows[0] + at);
    } else {
        const hn::Half<D> half;
        return hn::Combine(d, LoadBlocks(half, rows + hn::MaxLanes(d) / 32, at), LoadBlocks(half, rows, at));
    }
}

template <class D>
HWY_INLINE void StoreBlocks(D d, hn::Vec<D> v, std::uint8_t* const* rows, std::size_t at) {
    if constexpr (hn::MaxLanes(d) == 16) {
        hn::StoreU(v, d, rows[0] + at);
    } else {
        const hn::Half<D> half;
        StoreBlocks(half, hn::LowerHalf(half, v), rows, at);
        StoreBlocks(half, hn::UpperHalf(half, v), rows + hn::MaxLanes(d) / 32, at);
    }
}

constexpr int kBlocks = static_cast<int>(hn::MaxLanes(dbytes) / 16);
static_assert(kBlocks <= kMostRowsAtOnce);

// Calls store(n, sums) for each four pixels of the destination, from n on. Sums are to be Rounded by so many bits.
template <int bits, class Store>
HWY_INLINE void ResampleBlocks(const FilterTable& table, const std::int16_t* const* rows, std::int16_t* pairs,
                               std::size_t pixels, const Store& store) {
    // Two neighbours component by component.
    alignas(16) static constexpr std::uint8_t kNeighbours[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    const Bytes neighbours = hn::LoadDup128(dbytes, kNeighbours);
    const std::uint8_t* bytes[kMostRowsAtOnce];
    for (int r = 0; r < kBlocks; ++r) {
        bytes[r] = reinterpret_cast<const std::uint8_t*>(rows[r]);
    }
    const std::size_t lanes = hn::Lanes(ds);
    const auto count = static_cast<std::size_t>(table.taps) / 2;
    const auto first = [&](std::size_t n) { return static_cast<std::size_t>(table.left[n]) / 2; };
    const std::int16_t* weights = table.words.data();
    std::size_t made = 0;
    for (std::size_t n = 0; n < pixels; n += kWordBlock, weights += 2 * kWordBlock * count) {
        for (const std::size_t wanted = first(n + 3) + count; made < wanted; ++made) {
            const Bytes both = hn::TableLookupBytes(LoadBlocks(dbytes, bytes, 16 * made), neighbours);
            hn::Store(hn::BitCast(ds, both), ds, pairs + lanes * made);
        }
        const std::int16_t* const from[kWordBlock] = {pairs + lanes * first(n), pairs + lanes * first(n + 1),
                                                      pairs + lanes * first(n + 2), pairs + lanes * first(n + 3)};
        Dwords sum0 = RoundingStart<bits>(), sum1 = sum0, sum2 = sum0, sum3 = sum0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::int16_t* const weight = weights + 2 * kWordBlock * i;
            const auto product = [&](std::size_t k) HWY_ATTR {
                return MulAddPairs(hn::Load(ds, from[k] + lanes * i), PairOfWeights(weight + 2 * k));
            };
            sum0 = hn::Add(sum0, product(0));
            sum1 = hn::Add(sum1, product(1));
            sum2 = hn::Add(sum2, product(2));
            sum3 = hn::Add(sum3, product(3));
        }
        store(n, sum0, sum1, sum2, sum3);
    }
}

void ResampleToWords(const FilterTable& table, const std::int16_t* const* rows, std::int16_t* pairs,
                     std::int16_t* const* destination, std::size_t pixels) noexcept {
    std::uint8_t* bytes[kMostRowsAtOnce];
    for (int r = 0; r < kBlocks; ++r) {
        bytes[r] = reinterpret_cast<std::uint8_t*>(destination[r]);
    }
    ResampleBlocks<kWordBits>(table, rows, pairs, pixels,
                              [&](std::size_t n, Dwords sum0, Dwords sum1, Dwords sum2, Dwords sum3) HWY_ATTR {
                                  const auto store = [&](Words words, std::size_t at) HWY_ATTR {
                                      StoreBlocks(dbytes, hn::BitCast(dbytes, words), bytes, at);
                                  };
                                  store(Rounded<kWordBits>(sum0, sum1), 8 * n);
                                  store(Rounded<kWordBits>(sum2, sum3), 8 * n + 16);
                              });
}

void ResampleToBytes(const FilterTable& table, const std::int16_t* const* rows, std::int16_t* pairs,
                     std::uint8_t* const* destination, std::size_t pixels, const PixelOrder& order) noexcept {
    constexpr int kBits = kWordBits + kFractionBits;
    const Bytes shuffle = hn::LoadDup128(dbytes, order.order);
    const Bytes opaque = hn::BitCast(dbytes, hn::Set(du, order.opaque));
    ResampleBlocks<kBits>(table, rows, pairs, pixels,
                          [&](std::size_t n, Dwords sum0, Dwords sum1, Dwords sum2, Dwords sum3) HWY_ATTR {
                              const Bytes codes = PackToBytes(Rounded<kBits>(sum0, sum1), Rounded<kBits>(sum2, sum3));
                              const Bytes four = hn::Or(hn::TableLookupBytes(codes, shuffle), opaque);
                              if (n + kWordBlock <= pixels) {
                                  StoreBlocks(dbytes, four, destination, 4 * n);
                                  return;
                              }
                              alignas(64) std::uint8_t rest[4 * kMaxLanes];
                              hn::Store(four, dbytes, rest);
                              for (int r = 0; r < kBlocks; ++r) {
                                  std::memcpy(destination[r] + 4 * n, rest + 16 * r, 4 * (pixels - n));
                              }
                          });
}

void CopyPixels(const std::uint8_t* row, std::uint8_t* destination, std::size_t pixels,
                const Transfer& transfer) noexcept {
    RunPixels(row, destination, pixels, transfer, [](Bytes v) HWY_ATTR { return v; });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
