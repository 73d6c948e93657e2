// 8-bit 4:2:2 to and from planes of 8-bit 4:2:0 without leaving integers.
#if defined(PIXELBLITTER_PAIR_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PAIR_KERNELS_INL_H
#undef PIXELBLITTER_PAIR_KERNELS_INL_H
#else
#define PIXELBLITTER_PAIR_KERNELS_INL_H
#endif

#include "Kernels-inl.h"

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
HWY_INLINE Bytes LumaOf(const std::uint8_t* source) {
    const Bytes a = hn::LoadU(dbytes, source);
    const Bytes b = hn::LoadU(dbytes, source + hn::Lanes(dbytes));
    return lumaFirst ? hn::ConcatEven(dbytes, b, a) : hn::ConcatOdd(dbytes, b, a);
}

template <bool lumaFirst>
void TakeLuma(const std::uint8_t* source, std::uint8_t* luma, std::size_t pixels) noexcept {
    const std::size_t step = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + step <= pixels; i += step) {
        hn::StoreU(LumaOf<lumaFirst>(source + 2 * i), dbytes, luma + i);
    }
    if (i < pixels) {
        alignas(64) std::uint8_t rest[2 * kMaxBytes] = {};
        std::memcpy(rest, source + 2 * i, 4 * ((pixels - i + 1) / 2));
        hn::Store(LumaOf<lumaFirst>(rest), dbytes, rest);
        std::memcpy(luma + i, rest, pixels - i);
    }
}

void SplitLuma(const std::uint8_t* source, bool lumaFirst, std::uint8_t* luma, std::size_t pixels) noexcept {
    if (lumaFirst) {
        TakeLuma<true>(source, luma, pixels);
    } else {
        TakeLuma<false>(source, luma, pixels);
    }
}

template <bool lumaFirst>
struct MixChromaOp {
    Lanes16 weights[4];
    HWY_INLINE Lanes16 Weighted(const std::uint8_t* const rows[4], int tap, std::size_t at) const {
        const Bytes bytes = hn::LoadU(dbytes, rows[tap] + at);
        return hn::Mul(lumaFirst ? HighBytes(bytes) : LowBytes(bytes), weights[tap]);
    }
    HWY_INLINE Lanes16 Mix(const std::uint8_t* const rows[4], std::size_t at) const {
        const Lanes16 outer = hn::Add(Weighted(rows, 0, at), Weighted(rows, 3, at));
        const Lanes16 inner = hn::Add(Weighted(rows, 1, at), Weighted(rows, 2, at));
        return hn::ShiftRight<4>(hn::Add(hn::Add(outer, inner), hn::Set(dw, std::uint16_t{8})));
    }
    // As many samples of either plane as a vector has bytes.
    HWY_INLINE void Run(const std::uint8_t* const rows[4], std::size_t at, std::uint8_t* u, std::uint8_t* v) const {
        const std::size_t step = hn::Lanes(dbytes);
        const Bytes a = JoinLowBytes(Mix(rows, at), Mix(rows, at + step));
        const Bytes b = JoinLowBytes(Mix(rows, at + 2 * step), Mix(rows, at + 3 * step));
        hn::StoreU(hn::ConcatEven(dbytes, b, a), dbytes, u);
        hn::StoreU(hn::ConcatOdd(dbytes, b, a), dbytes, v);
    }
};

template <bool lumaFirst>
void MixChroma(const std::uint8_t* const rows[4], const std::uint16_t weights[4], std::uint8_t* u, std::uint8_t* v,
               std::size_t pairs) noexcept {
    const MixChromaOp<lumaFirst> op{
        {hn::Set(dw, weights[0]), hn::Set(dw, weights[1]), hn::Set(dw, weights[2]), hn::Set(dw, weights[3])}};
    const std::size_t step = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + step <= pairs; i += step) {
        op.Run(rows, 4 * i, u + i, v + i);
    }
    if (i < pairs) {
        alignas(64) std::uint8_t rest[4][4 * kMaxBytes] = {};
        for (int tap = 0; tap < 4; ++tap) {
            std::memcpy(rest[tap], rows[tap] + 4 * i, 4 * (pairs - i));
        }
        const std::uint8_t* const restRows[4] = {rest[0], rest[1], rest[2], rest[3]};
        alignas(64) std::uint8_t restU[kMaxBytes], restV[kMaxBytes];
        op.Run(restRows, 0, restU, restV);
        std::memcpy(u + i, restU, pairs - i);
        std::memcpy(v + i, restV, pairs - i);
    }
}

void MixPairChroma(const std::uint8_t* const rows[4], bool lumaFirst, const std::uint16_t weights[4], std::uint8_t* u,
                   std::uint8_t* v, std::size_t pairs) noexcept {
    if (lumaFirst) {
        MixChroma<true>(rows, weights, u, v, pairs);
    } else {
        MixChroma<false>(rows, weights, u, v, pairs);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
