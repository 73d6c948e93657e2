// What all kernels share: vectors, rows that are no whole number of them, codes in floats. Included once per CPU
// target, so the guard follows the toggle of hwy/foreach_target.h.
#if defined(PIXELBLITTER_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_VECTORS_INL_H
#undef PIXELBLITTER_VECTORS_INL_H
#else
#define PIXELBLITTER_VECTORS_INL_H
#endif

#include "Kernels.h"

#include <algorithm>
#include <cstring>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// The widest vector that DepthChange's arrays can feed is 16 floats.
using DF = hn::CappedTag<float, 16>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using DBytes = hn::Repartition<std::uint8_t, DF>; // as many bytes as a float vector has
using DW = hn::Repartition<std::uint16_t, DF>;    // as many bytes as a float vector has, two by two
using D16 = hn::Rebind<std::uint16_t, DF>;        // as many words as a float vector has floats
using D8 = hn::Rebind<std::uint8_t, DF>;
using VF = hn::Vec<DF>;
using Bytes = hn::Vec<DBytes>;

constexpr DF df;
constexpr DI di;
constexpr DU du;
constexpr DBytes dbytes;
constexpr DW dw;
constexpr D16 d16;
constexpr D8 d8;

constexpr std::size_t kMaxLanes = 16;
static_assert(kMaxLanes <= kPlanePadding);

HWY_INLINE std::size_t LaneCount() {
    return hn::Lanes(df);
}

// Runs Op on whole vectors of units; what is left over passes through a buffer, so no byte beyond the row is touched.
template <std::size_t unitBytes, class Op>
HWY_INLINE void ReadUnits(const std::uint8_t* source, std::size_t units, const Op& op) {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= units; i += lanes) {
        op.Run(source + i * unitBytes, i);
    }
    if (i < units) {
        alignas(64) std::uint8_t rest[kMaxLanes * unitBytes] = {};
        std::memcpy(rest, source + i * unitBytes, (units - i) * unitBytes);
        op.Run(rest, i);
    }
}

template <std::size_t unitBytes, class Op>
HWY_INLINE void WriteUnits(std::uint8_t* destination, std::size_t units, const Op& op) {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= units; i += lanes) {
        op.Run(destination + i * unitBytes, i);
    }
    if (i < units) {
        alignas(64) std::uint8_t rest[kMaxLanes * unitBytes];
        op.Run(rest, i);
        std::memcpy(destination + i * unitBytes, rest, (units - i) * unitBytes);
    }
}

// Codes travel as the low bits of the float 2^23 + code, where no conversion between integers and floats is needed.
constexpr float kMagic = 8388608.0F;
constexpr std::uint32_t kMagicBits = 0x4B000000U;

HWY_INLINE hn::Vec<DU> ToMagic(hn::Vec<DU> codes) {
    return hn::Or(codes, hn::Set(du, kMagicBits));
}
HWY_INLINE hn::Vec<DU> ToMagic(hn::Vec<DU> bits, hn::Vec<DU> mask) {
    return hn::OrAnd(hn::Set(du, kMagicBits), bits, mask);
}

// Codes and biases are integers below 2^16, so the difference is exact.
HWY_INLINE VF Unbias(hn::Vec<DU> magic, float bias) {
    return hn::Sub(hn::BitCast(df, magic), hn::Set(df, kMagic + bias));
}

HWY_INLINE VF Dequantise(hn::Vec<DU> magic, const Dequantiser& range) {
    return hn::Mul(Unbias(magic, range.bias), hn::Set(df, range.scale));
}

// The code in the low 16 bits; the upper ones hold kMagicBits. Adding 2^23 leaves the integer nearest to the sum in the
// low bits of the mantissa; the quantiser's offset has made sure that no sum is exactly a half. Max before Min: NaN
// takes the second operand of Max, so it ends as code 0.
HWY_INLINE hn::Vec<DU> QuantiseScaled(VF scaled, float offset, float largest) {
    const VF sum = hn::Add(scaled, hn::Set(df, offset));
    const VF clamped = hn::Min(hn::Max(sum, hn::Zero(df)), hn::Set(df, largest));
    return hn::BitCast(du, hn::Add(clamped, hn::Set(df, kMagic)));
}

HWY_INLINE hn::Vec<DU> Quantise(VF value, const Quantiser& range) {
    return QuantiseScaled(hn::Mul(value, hn::Set(df, range.scale)), range.offset, range.largest);
}

HWY_INLINE hn::Vec<DU> LoadPixels(const std::uint8_t* source) {
    return hn::BitCast(du, hn::LoadU(dbytes, source));
}

HWY_INLINE void StorePixels(hn::Vec<DU> pixels, std::uint8_t* destination) {
    hn::StoreU(hn::BitCast(dbytes, pixels), dbytes, destination);
}

// The four bytes of each 32-bit pixel, with the magic bits above them.
HWY_INLINE void SplitPixels(const std::uint8_t* source, hn::Vec<DU>& b0, hn::Vec<DU>& b1, hn::Vec<DU>& b2,
                            hn::Vec<DU>& b3) {
    const hn::Vec<DU> pixels = LoadPixels(source);
    const hn::Vec<DU> mask = hn::Set(du, 0xFFU);
    b0 = ToMagic(pixels, mask);
    b1 = ToMagic(hn::ShiftRight<8>(pixels), mask);
    b2 = ToMagic(hn::ShiftRight<16>(pixels), mask);
    b3 = ToMagic(hn::ShiftRight<24>(pixels));
}

// Of codes below 256 with magic bits above them; the shifts drop those bits.
HWY_INLINE void JoinPixels(hn::Vec<DU> b0, hn::Vec<DU> b1, hn::Vec<DU> b2, hn::Vec<DU> b3, std::uint8_t* destination) {
    const auto low = hn::OrAnd(hn::ShiftLeft<8>(b1), b0, hn::Set(du, 0xFFU));
    const auto high = hn::Or(hn::ShiftLeft<16>(b2), hn::ShiftLeft<24>(b3));
    StorePixels(hn::Or(low, high), destination);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
