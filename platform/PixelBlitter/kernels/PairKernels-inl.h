// 8-bit 4:2:2 to and from planes of 8-bit 4:2:0 without leaving integers.
#if defined(PIXELBLITTER_PAIR_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PAIR_KERNELS_INL_H
#undef PIXELBLITTER_PAIR_KERNELS_INL_H
#else
#define PIXELBLITTER_PAIR_KERNELS_INL_H
#endif

#include "PairSums-inl.h"
#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Each 16-bit lane of a row holds a luma and a chroma byte.
using Lanes16 = hn::Vec<DW>;
constexpr std::size_t kMaxBytes = 4 * kMaxLanes;

HWY_INLINE Lanes16 LowBytes(Bytes bytes) {
    return hn::And(hn::BitCast(dw, bytes), hn::Set(dw, std::uint16_t{0xFF}));
}
HWY_INLINE Lanes16 HighBytes(Bytes bytes) {
    return hn::ShiftRight<8>(hn::BitCast(dw, bytes));
}
// The lower bytes of all lanes, those of a first. Every lane is below 256.
HWY_INLINE Bytes JoinLowBytes(Lanes16 a, Lanes16 b) {
    return hn::ConcatEven(dbytes, hn::BitCast(dbytes, b), hn::BitCast(dbytes, a));
}

template <bool lumaFirst>
struct LumaOfPairsOp {
    const std::uint8_t* source;
    std::uint8_t* luma;

    static HWY_INLINE std::size_t Step() { return hn::Lanes(dbytes); } // pixels
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<2>(source + 2 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Codes(source + 2 * i), luma + i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[2 * kMaxBytes] = {};
        std::memcpy(rest, source + 2 * i, 2 * count);
        hn::Store(Codes(rest), dbytes, rest);
        std::memcpy(luma + i, rest, count);
    }

    // Two vectors of luma and chroma to one of luma.
    static HWY_INLINE Bytes Codes(const std::uint8_t* from) {
        const auto luma16 = [](Bytes pairs)
                                HWY_ATTR { return hn::BitCast(ds, lumaFirst ? LowBytes(pairs) : HighBytes(pairs)); };
        return Pieces::Gather(
            PackToBytes(luma16(hn::LoadU(dbytes, from)), luma16(hn::LoadU(dbytes, from + hn::Lanes(dbytes)))));
    }
};

void SplitLuma(const std::uint8_t* source, bool lumaFirst, std::uint8_t* luma, std::size_t pixels,
               const Transfer& transfer) noexcept {
    if (lumaFirst) {
        RunSteps(LumaOfPairsOp<true>{source, luma}, 0, pixels, luma, 1, transfer);
    } else {
        RunSteps(LumaOfPairsOp<false>{source, luma}, 0, pixels, luma, 1, transfer);
    }
}

// Weighted sums of the chroma of four rows, 16 times the codes: U and V alternate.
template <bool lumaFirst>
struct SumChroma {
    Lanes16 weights[4];
    HWY_INLINE Lanes16 Weighted(const std::uint8_t* const rows[4], int tap, std::size_t at) const {
        const Bytes bytes = hn::LoadU(dbytes, rows[tap] + at);
        return hn::Mul(lumaFirst ? HighBytes(bytes) : LowBytes(bytes), weights[tap]);
    }
    HWY_INLINE Lanes16 operator()(const std::uint8_t* const rows[4], std::size_t at) const {
        return hn::Add(hn::Add(Weighted(rows, 0, at), Weighted(rows, 3, at)),
                       hn::Add(Weighted(rows, 1, at), Weighted(rows, 2, at)));
    }
};

// Four rows from pair first on; where fewer pairs are left than are going to be read, their bytes in a buffer.
struct RowsFrom {
    alignas(64) std::uint8_t rest[4][4 * kMaxBytes];
    const std::uint8_t* rows[4];
    HWY_INLINE RowsFrom(const std::uint8_t* const all[4], std::size_t first, std::size_t pairs, std::size_t wanted) {
        for (int tap = 0; tap < 4; ++tap) {
            rows[tap] = all[tap] + 4 * first;
            if (pairs - first < wanted) {
                std::memcpy(rest[tap], rows[tap], 4 * (pairs - first));
                rows[tap] = rest[tap];
            }
        }
    }
};

// Stores as many samples of either plane as a vector has bytes, or as are left. codes(i) gives vector i of four.
template <class Codes>
HWY_INLINE void StoreChroma(const Codes& codes, std::uint8_t* u, std::uint8_t* v, std::size_t left) {
    const Bytes a = JoinLowBytes(codes(0), codes(1));
    const Bytes b = JoinLowBytes(codes(2), codes(3));
    const Bytes allU = hn::ConcatEven(dbytes, b, a);
    const Bytes allV = hn::ConcatOdd(dbytes, b, a);
    if (left >= hn::Lanes(dbytes)) {
        hn::StoreU(allU, dbytes, u);
        hn::StoreU(allV, dbytes, v);
        return;
    }
    alignas(64) std::uint8_t rest[kMaxBytes];
    hn::Store(allU, dbytes, rest);
    std::memcpy(u, rest, left);
    hn::Store(allV, dbytes, rest);
    std::memcpy(v, rest, left);
}

template <bool lumaFirst>
void MixChroma(const std::uint8_t* const rows[4], const SumChroma<lumaFirst>& sum, std::uint8_t* u, std::uint8_t* v,
               std::size_t pairs) noexcept {
    const std::size_t step = hn::Lanes(dbytes);
    const auto half = hn::Set(dw, std::uint16_t{8});
    const auto mix = [&](const std::uint8_t* const from[4], std::size_t at, std::size_t i) HWY_ATTR {
        const auto code = [&](std::size_t n)
                              HWY_ATTR { return hn::ShiftRight<4>(hn::Add(sum(from, at + n * step), half)); };
        StoreChroma(code, u + i, v + i, pairs - i);
    };
    std::size_t i = 0;
    for (; i + step <= pairs; i += step) {
        mix(rows, 4 * i, i);
    }
    if (i < pairs) {
        const RowsFrom rest(rows, i, pairs, step);
        mix(rest.rows, 0, i);
    }
}

// From columns 2k to 2k + 1/2: interpolation to full width and the triangle back add up to (1 10 5) / 16.
template <bool lumaFirst>
void MixAndCentreChroma(const std::uint8_t* const rows[4], const SumChroma<lumaFirst>& sum, std::uint8_t* u,
                        std::uint8_t* v, std::size_t pairs) noexcept {
    constexpr std::size_t kPairs = 4 * kMaxBytes;
    // A pair on either side, and what whole vectors reach beyond.
    alignas(64) std::uint16_t sums[2 * (kPairs + 2) + 4 * kMaxBytes] = {};
    const std::size_t lanes = hn::Lanes(dw);
    const auto ten = hn::Set(dw, std::uint16_t{10}), five = hn::Set(dw, std::uint16_t{5});
    const auto half = hn::Set(dw, std::uint16_t{128});
    for (std::size_t first = 0; first < pairs; first += kPairs) {
        const std::size_t begin = first > 0 ? first - 1 : 0;
        const std::size_t end = std::min(pairs, first + kPairs + 1);
        std::uint16_t* const own = sums + 2; // of pair first
        std::size_t k = begin;
        for (; k < end && k + lanes / 2 <= pairs; k += lanes / 2) {
            hn::StoreU(sum(rows, 4 * k), dw, own + 2 * k - 2 * first);
        }
        if (k < end) {
            const RowsFrom rest(rows, k, pairs, lanes / 2);
            hn::StoreU(sum(rest.rows, 0), dw, own + 2 * k - 2 * first);
        }
        if (first == 0) {
            std::memcpy(sums, own, 4);
        }
        if (end == pairs) {
            std::memcpy(own + 2 * (end - first), own + 2 * (end - first) - 2, 4);
        }
        for (k = first; k < std::min(pairs, first + kPairs); k += 2 * lanes) {
            const auto code = [&](std::size_t n) HWY_ATTR {
                const std::uint16_t* const here = own + 2 * (k - first) + n * lanes;
                const auto outer = hn::Add(hn::LoadU(dw, here - 2), hn::Mul(hn::LoadU(dw, here + 2), five));
                const auto inner = hn::Add(hn::Mul(hn::LoadU(dw, here), ten), half);
                return hn::ShiftRight<8>(hn::Add(outer, inner));
            };
            StoreChroma(code, u + k, v + k, pairs - k);
        }
    }
}

void MixPairChroma(const std::uint8_t* const rows[4], bool lumaFirst, const std::uint16_t weights[4], bool centre,
                   std::uint8_t* u, std::uint8_t* v, std::size_t pairs) noexcept {
    const auto run = [&](const auto& sum) {
        if (centre) {
            MixAndCentreChroma(rows, sum, u, v, pairs);
        } else {
            MixChroma(rows, sum, u, v, pairs);
        }
    };
    const Lanes16 w0 = hn::Set(dw, weights[0]), w1 = hn::Set(dw, weights[1]);
    const Lanes16 w2 = hn::Set(dw, weights[2]), w3 = hn::Set(dw, weights[3]);
    if (lumaFirst) {
        run(SumChroma<true>{{w0, w1, w2, w3}});
    } else {
        run(SumChroma<false>{{w0, w1, w2, w3}});
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
