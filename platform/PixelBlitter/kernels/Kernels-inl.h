// Included once per CPU target, so the guard follows the toggle of hwy/foreach_target.h.
#if defined(PIXELBLITTER_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_KERNELS_INL_H
#undef PIXELBLITTER_KERNELS_INL_H
#else
#define PIXELBLITTER_KERNELS_INL_H
#endif

#include "Kernels.h"

#include <algorithm>
#include <cstring>

#include <hwy/cache_control.h>
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

struct UnpackBytesOp {
    float* planes[4];
    Dequantiser range[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::Vec<DU> b0, b1, b2, b3;
        SplitPixels(source, b0, b1, b2, b3);
        hn::StoreU(Dequantise(b0, range[0]), df, planes[0] + i);
        hn::StoreU(Dequantise(b1, range[1]), df, planes[1] + i);
        hn::StoreU(Dequantise(b2, range[2]), df, planes[2] + i);
        hn::StoreU(Dequantise(b3, range[3]), df, planes[3] + i);
    }
};

void UnpackBytes(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                 const Dequantiser components[4]) noexcept {
    ReadUnits<4>(source, pixels,
                 UnpackBytesOp{{planes[0], planes[1], planes[2], planes[3]},
                               {components[0], components[1], components[2], components[3]}});
}

struct PackBytesOp {
    const float* planes[4];
    Quantiser range[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        JoinPixels(Quantise(hn::LoadU(df, planes[0] + i), range[0]), Quantise(hn::LoadU(df, planes[1] + i), range[1]),
                   Quantise(hn::LoadU(df, planes[2] + i), range[2]), Quantise(hn::LoadU(df, planes[3] + i), range[3]),
                   destination);
    }
};

void PackBytes(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
               const Quantiser components[4]) noexcept {
    WriteUnits<4>(destination, pixels,
                  PackBytesOp{{planes[0], planes[1], planes[2], planes[3]},
                              {components[0], components[1], components[2], components[3]}});
}

// Chroma is filtered along the row as sums of codes, which are exact in 16 bits, and then taken through the matrix:
// half as many products as the other way round.
template <bool alphaFirst, bool centred>
class HalveBytesOp {
public:
    explicit HalveBytesOp(const ByteMatrix& matrix) {
        for (int i = 0; i < 3; ++i) {
            mLuma[i] = hn::Set(df, matrix.luma[i]);
            mLumaBias[i] = hn::Set(df, kMagic + matrix.bias[i]);
            mV[i] = hn::Set(df, matrix.chroma[0][i] / kGain);
            mU[i] = hn::Set(df, matrix.chroma[1][i] / kGain);
            mChromaBias[i] = hn::Set(df, kMagic + matrix.bias[i] * kGain);
        }
    }

    // source addresses the first of as many pixels as two vectors hold; the pixels before and behind them are looked
    // at.
    HWY_INLINE void Run(const std::uint8_t* source, float* luma, float* v, float* u) const {
        const std::size_t lanes = LaneCount();
        const auto low = LoadPixels(source), high = LoadPixels(source + 4 * lanes);
        hn::StoreU(Luma(low), df, luma);
        hn::StoreU(Luma(high), df, luma + lanes);

        const auto even = hn::BitCast(dw, hn::ConcatEven(du, high, low));
        const auto odd = hn::BitCast(dw, hn::ConcatOdd(du, high, low));
        const auto before =
            hn::BitCast(dw, hn::ConcatEven(du, LoadPixels(source + 4 * lanes - 4), LoadPixels(source - 4)));
        const auto after =
            centred ? hn::BitCast(dw, hn::ConcatOdd(du, LoadPixels(source + 4 * lanes + 4), LoadPixels(source + 4)))
                    : odd;
        const auto mask = hn::Set(dw, std::uint16_t{0xFF});
        const auto sums02 =
            Filter(hn::And(before, mask), hn::And(even, mask), hn::And(odd, mask), hn::And(after, mask));
        const auto sums13 = Filter(hn::ShiftRight<8>(before), hn::ShiftRight<8>(even), hn::ShiftRight<8>(odd),
                                   hn::ShiftRight<8>(after));
        const hn::Vec<DU> lower = hn::Set(du, 0xFFFFU);
        const auto c0 = alphaFirst ? ToMagic(hn::ShiftRight<16>(sums13)) : ToMagic(sums02, lower);
        const auto c1 = alphaFirst ? ToMagic(hn::ShiftRight<16>(sums02)) : ToMagic(sums13, lower);
        const auto c2 = alphaFirst ? ToMagic(sums13, lower) : ToMagic(hn::ShiftRight<16>(sums02));
        const VF s0 = hn::Sub(hn::BitCast(df, c0), mChromaBias[0]);
        const VF s1 = hn::Sub(hn::BitCast(df, c1), mChromaBias[1]);
        const VF s2 = hn::Sub(hn::BitCast(df, c2), mChromaBias[2]);
        hn::StoreU(Row(mV, s0, s1, s2), df, v);
        hn::StoreU(Row(mU, s0, s1, s2), df, u);
    }

private:
    static constexpr float kGain = centred ? 8 : 4;

    HWY_INLINE static VF Row(const VF* m, VF c0, VF c1, VF c2) {
        return hn::Add(hn::Add(hn::Mul(m[0], c0), hn::Mul(m[1], c1)), hn::Mul(m[2], c2));
    }
    HWY_INLINE VF Luma(hn::Vec<DU> pixels) const {
        const hn::Vec<DU> mask = hn::Set(du, 0xFFU);
        const auto b0 = alphaFirst ? ToMagic(hn::ShiftRight<24>(pixels)) : ToMagic(pixels, mask);
        const auto b1 = ToMagic(hn::ShiftRight < alphaFirst ? 16 : 8 > (pixels), mask);
        const auto b2 = ToMagic(hn::ShiftRight < alphaFirst ? 8 : 16 > (pixels), mask);
        return Row(mLuma, hn::Sub(hn::BitCast(df, b0), mLumaBias[0]), hn::Sub(hn::BitCast(df, b1), mLumaBias[1]),
                   hn::Sub(hn::BitCast(df, b2), mLumaBias[2]));
    }
    // The filter on two bytes of every pixel: those that stand in the lower halves of 16-bit lanes.
    HWY_INLINE static hn::Vec<DU> Filter(hn::Vec<DW> before, hn::Vec<DW> even, hn::Vec<DW> odd, hn::Vec<DW> after) {
        if (centred) {
            const auto inner = hn::Add(even, odd);
            return hn::BitCast(du, hn::Add(hn::Add(before, after), hn::Add(inner, hn::Add(inner, inner))));
        }
        return hn::BitCast(du, hn::Add(hn::Add(before, odd), hn::Add(even, even)));
    }

    VF mLuma[3], mLumaBias[3], mV[3], mU[3], mChromaBias[3];
};

template <bool alphaFirst, bool centred>
void HalveRow(const std::uint8_t* row, std::size_t left, std::size_t right, std::size_t width, float* luma,
              float* const chroma[2], const ByteMatrix& matrix) noexcept {
    const HalveBytesOp<alphaFirst, centred> op(matrix);
    float* v = chroma[0];
    float* u = chroma[1];
    const std::size_t step = 2 * LaneCount();
    constexpr std::size_t kBehind = centred ? 1 : 0; // pixels that the filter wants behind a vector's last
    // The row's ends repeat their pixel.
    const auto runAtEnd = [&](std::size_t x) HWY_ATTR {
        alignas(64) std::uint8_t pixels[4 * (2 * kMaxLanes + 2)];
        const std::size_t first = x > 0 ? x - 1 : 0;
        const std::size_t filled = std::min(x + step + 1, width) - first;
        std::memcpy(pixels, row, 4);
        std::uint8_t* end = pixels + (x > 0 ? 0 : 4);
        std::memcpy(end, row + 4 * first, 4 * filled);
        for (end += 4 * filled; end < pixels + 4 * (step + 2); end += 4) {
            std::memcpy(end, end - 4, 4);
        }
        op.Run(pixels + 4, luma, v, u);
    };
    const auto advance = [&] {
        luma += step;
        v += step / 2;
        u += step / 2;
    };
    std::size_t x = left;
    if (x == 0) {
        runAtEnd(0);
        advance();
        x = step;
    }
    for (; x < right && x + step + kBehind <= width; x += step) {
        op.Run(row + 4 * x, luma, v, u);
        advance();
    }
    for (; x < right; x += step) {
        runAtEnd(x);
        advance();
    }
}

void HalveBytes(const std::uint8_t* row, std::size_t left, std::size_t right, std::size_t width, bool centred,
                float* luma, float* const chroma[2], const ByteMatrix& matrix) noexcept {
    const auto halve = matrix.alphaFirst ? centred ? HalveRow<true, true> : HalveRow<true, false>
                       : centred ? HalveRow<false, true>
                                         : HalveRow<false, false>;
    halve(row, left, right, width, luma, chroma, matrix);
}

// Picture rows may start at any address. The vectors are loaded and stored byte-wise through aligned scratch where the
// interleaving operations want typed pointers.
struct UnpackWordsOp {
    float* planes[4];
    Dequantiser range[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        alignas(64) std::uint16_t words[4 * kMaxLanes];
        std::memcpy(words, source, 8 * LaneCount());
        hn::Vec<D16> w0, w1, w2, w3;
        hn::LoadInterleaved4(d16, words, w0, w1, w2, w3);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w0)), range[0]), df, planes[0] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w1)), range[1]), df, planes[1] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w2)), range[2]), df, planes[2] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w3)), range[3]), df, planes[3] + i);
    }
};

void UnpackWords(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                 const Dequantiser components[4]) noexcept {
    ReadUnits<8>(source, pixels,
                 UnpackWordsOp{{planes[0], planes[1], planes[2], planes[3]},
                               {components[0], components[1], components[2], components[3]}});
}

HWY_INLINE hn::Vec<D16> QuantiseToWords(const float* samples, const Quantiser& range) {
    return hn::TruncateTo(d16, Quantise(hn::LoadU(df, samples), range));
}

struct PackWordsOp {
    const float* planes[4];
    Quantiser range[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        alignas(64) std::uint16_t words[4 * kMaxLanes];
        hn::StoreInterleaved4(QuantiseToWords(planes[0] + i, range[0]), QuantiseToWords(planes[1] + i, range[1]),
                              QuantiseToWords(planes[2] + i, range[2]), QuantiseToWords(planes[3] + i, range[3]), d16,
                              words);
        std::memcpy(destination, words, 8 * LaneCount());
    }
};

void PackWords(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
               const Quantiser components[4]) noexcept {
    WriteUnits<8>(destination, pixels,
                  PackWordsOp{{planes[0], planes[1], planes[2], planes[3]},
                              {components[0], components[1], components[2], components[3]}});
}

struct UnpackFloatsOp {
    float* planes[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        alignas(64) float floats[4 * kMaxLanes];
        std::memcpy(floats, source, 16 * LaneCount());
        VF f0, f1, f2, f3;
        hn::LoadInterleaved4(df, floats, f0, f1, f2, f3);
        hn::StoreU(f0, df, planes[0] + i);
        hn::StoreU(f1, df, planes[1] + i);
        hn::StoreU(f2, df, planes[2] + i);
        hn::StoreU(f3, df, planes[3] + i);
    }
};

void UnpackFloats(const std::uint8_t* source, float* const planes[4], std::size_t pixels) noexcept {
    ReadUnits<16>(source, pixels, UnpackFloatsOp{{planes[0], planes[1], planes[2], planes[3]}});
}

struct PackFloatsOp {
    const float* planes[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        alignas(64) float floats[4 * kMaxLanes];
        hn::StoreInterleaved4(hn::LoadU(df, planes[0] + i), hn::LoadU(df, planes[1] + i), hn::LoadU(df, planes[2] + i),
                              hn::LoadU(df, planes[3] + i), df, floats);
        std::memcpy(destination, floats, 16 * LaneCount());
    }
};

void PackFloats(const float* const planes[4], std::uint8_t* destination, std::size_t pixels) noexcept {
    WriteUnits<16>(destination, pixels, PackFloatsOp{{planes[0], planes[1], planes[2], planes[3]}});
}

template <bool lumaFirst>
struct UnpackPairsOp {
    float* luma;
    float* u;
    float* v;
    Dequantiser lumaRange;
    Dequantiser chromaRange;
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::Vec<DU> b0, b1, b2, b3;
        SplitPixels(source, b0, b1, b2, b3);
        hn::StoreU(Dequantise(lumaFirst ? b1 : b0, chromaRange), df, u + i);
        hn::StoreU(Dequantise(lumaFirst ? b3 : b2, chromaRange), df, v + i);
        hn::StoreInterleaved2(Dequantise(lumaFirst ? b0 : b1, lumaRange), Dequantise(lumaFirst ? b2 : b3, lumaRange),
                              df, luma + 2 * i);
    }
};

void UnpackPairs(const std::uint8_t* source, bool lumaFirst, float* luma, float* u, float* v, std::size_t pairs,
                 const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept {
    if (lumaFirst) {
        ReadUnits<4>(source, pairs, UnpackPairsOp<true>{luma, u, v, lumaRange, chromaRange});
    } else {
        ReadUnits<4>(source, pairs, UnpackPairsOp<false>{luma, u, v, lumaRange, chromaRange});
    }
}

template <bool lumaFirst>
struct PackPairsOp {
    const float* luma;
    const float* u;
    const float* v;
    Quantiser lumaRange;
    Quantiser chromaRange;
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        VF even, odd;
        hn::LoadInterleaved2(df, luma + 2 * i, even, odd);
        const auto y0 = Quantise(even, lumaRange);
        const auto y1 = Quantise(odd, lumaRange);
        const auto cb = Quantise(hn::LoadU(df, u + i), chromaRange);
        const auto cr = Quantise(hn::LoadU(df, v + i), chromaRange);
        if (lumaFirst) {
            JoinPixels(y0, cb, y1, cr, destination);
        } else {
            JoinPixels(cb, y0, cr, y1, destination);
        }
    }
};

void PackPairs(const float* luma, const float* u, const float* v, bool lumaFirst, std::uint8_t* destination,
               std::size_t pairs, const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept {
    if (lumaFirst) {
        WriteUnits<4>(destination, pairs, PackPairsOp<true>{luma, u, v, lumaRange, chromaRange});
    } else {
        WriteUnits<4>(destination, pairs, PackPairsOp<false>{luma, u, v, lumaRange, chromaRange});
    }
}

void UnpackPlane(const std::uint8_t* source, float* samples, std::size_t count, const Dequantiser& range) noexcept;

struct UnpackPlaneOp {
    float* samples;
    Dequantiser range;
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, hn::LoadU(d8, source))), range), df, samples + i);
    }
};

void UnpackPlane(const std::uint8_t* source, float* samples, std::size_t count, const Dequantiser& range) noexcept {
    ReadUnits<1>(source, count, UnpackPlaneOp{samples, range});
}

void UnpackMixedPlanes(const std::uint8_t* a, const std::uint8_t* b, float weightA, float weightB, float* samples,
                       std::size_t count, const Dequantiser& range) noexcept {
    // Weights are eighths, so the mix of two codes is exact.
    UnpackPlane(a, samples, count, {0, weightA});
    alignas(64) float other[kTilePixels + 8 * kPlanePadding];
    UnpackPlane(b, other, count, {0, weightB});
    const VF bias = hn::Set(df, range.bias);
    const VF scale = hn::Set(df, range.scale);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF mixed = hn::Add(hn::LoadU(df, samples + i), hn::LoadU(df, other + i));
        hn::StoreU(hn::Mul(hn::Sub(mixed, bias), scale), df, samples + i);
    }
}

// The bytes of four vectors of samples, given as codes with magic bits above them, in order.
HWY_INLINE Bytes JoinCodes(hn::Vec<DU> a, hn::Vec<DU> b, hn::Vec<DU> c, hn::Vec<DU> d) {
    return hn::ConcatEven(dbytes, hn::BitCast(dbytes, hn::ConcatEven(dw, hn::BitCast(dw, d), hn::BitCast(dw, c))),
                          hn::BitCast(dbytes, hn::ConcatEven(dw, hn::BitCast(dw, b), hn::BitCast(dw, a))));
}

// Packs what samples(i) gives for the vector of samples from i on.
template <class Samples>
HWY_INLINE void PackSamples(const Samples& samples, std::uint8_t* destination, std::size_t count,
                            const Quantiser& range) {
    const std::size_t lanes = LaneCount();
    const auto code = [&](std::size_t i) HWY_ATTR { return Quantise(samples(i), range); };
    std::size_t i = 0;
    for (; i + 4 * lanes <= count; i += 4 * lanes) {
        hn::StoreU(JoinCodes(code(i), code(i + lanes), code(i + 2 * lanes), code(i + 3 * lanes)), dbytes,
                   destination + i);
    }
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(hn::TruncateTo(d8, code(i)), d8, destination + i);
    }
    if (i < count) {
        alignas(64) std::uint8_t rest[kMaxLanes];
        hn::StoreU(hn::TruncateTo(d8, code(i)), d8, rest);
        std::memcpy(destination + i, rest, count - i);
    }
}

void PackPlane(const float* samples, std::uint8_t* destination, std::size_t count, const Quantiser& range) noexcept {
    PackSamples([=](std::size_t i) HWY_ATTR { return hn::LoadU(df, samples + i); }, destination, count,
                Quantiser(range));
}

void PackMixedRows(const float* const rows[4], const float weights[4], std::uint8_t* destination, std::size_t count,
                   const Quantiser& range) noexcept {
    const VF w0 = hn::Set(df, weights[0]), w1 = hn::Set(df, weights[1]);
    const VF w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    const float* const r0 = rows[0];
    const float* const r1 = rows[1];
    const float* const r2 = rows[2];
    const float* const r3 = rows[3];
    const auto mix = [=](std::size_t i) HWY_ATTR {
        const VF outer = hn::Add(hn::Mul(w0, hn::LoadU(df, r0 + i)), hn::Mul(w3, hn::LoadU(df, r3 + i)));
        const VF inner = hn::Add(hn::Mul(w1, hn::LoadU(df, r1 + i)), hn::Mul(w2, hn::LoadU(df, r2 + i)));
        return hn::Add(outer, inner);
    };
    PackSamples(mix, destination, count, Quantiser(range));
}

void ApplyMatrix(float* c0, float* c1, float* c2, std::size_t count, const float matrix[9]) noexcept {
    const VF m00 = hn::Set(df, matrix[0]), m01 = hn::Set(df, matrix[1]), m02 = hn::Set(df, matrix[2]);
    const VF m10 = hn::Set(df, matrix[3]), m11 = hn::Set(df, matrix[4]), m12 = hn::Set(df, matrix[5]);
    const VF m20 = hn::Set(df, matrix[6]), m21 = hn::Set(df, matrix[7]), m22 = hn::Set(df, matrix[8]);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF a = hn::LoadU(df, c0 + i);
        const VF b = hn::LoadU(df, c1 + i);
        const VF c = hn::LoadU(df, c2 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m00, a), hn::Mul(m01, b)), hn::Mul(m02, c)), df, c0 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m10, a), hn::Mul(m11, b)), hn::Mul(m12, c)), df, c1 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m20, a), hn::Mul(m21, b)), hn::Mul(m22, c)), df, c2 + i);
    }
}

void Premultiply(float* const planes[4], std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF alpha = hn::LoadU(df, planes[3] + i);
        for (int c = 0; c < 3; ++c) {
            hn::StoreU(hn::Mul(hn::LoadU(df, planes[c] + i), alpha), df, planes[c] + i);
        }
    }
}

void Unpremultiply(float* const planes[4], std::size_t count) noexcept {
    const VF one = hn::Set(df, 1.0F);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF alpha = hn::LoadU(df, planes[3] + i);
        const auto transparent = hn::Eq(alpha, hn::Zero(df));
        const VF divisor = hn::IfThenElse(transparent, one, alpha);
        for (int c = 0; c < 3; ++c) {
            const VF colour = hn::Div(hn::LoadU(df, planes[c] + i), divisor);
            hn::StoreU(hn::IfThenZeroElse(transparent, colour), df, planes[c] + i);
        }
    }
}

void SetToOne(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(hn::Set(df, 1.0F), df, samples + i);
    }
}

void ClampToUnit(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF clamped = hn::Min(hn::Max(hn::LoadU(df, samples + i), hn::Zero(df)), hn::Set(df, 1.0F));
        hn::StoreU(clamped, df, samples + i);
    }
}

void WidenChroma(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept {
    const VF w1 = hn::Set(df, weights[1]), w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    if (weights[0] == 0) { // the even samples are the input itself
        for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
            const VF here = hn::LoadU(df, in + k);
            const VF next = hn::LoadU(df, in + k + 1);
            hn::StoreInterleaved2(here, hn::Add(hn::Mul(w2, here), hn::Mul(w3, next)), df, out + 2 * k);
        }
        return;
    }
    const VF w0 = hn::Set(df, weights[0]);
    for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
        const VF before = hn::LoadU(df, in + k - 1);
        const VF here = hn::LoadU(df, in + k);
        const VF next = hn::LoadU(df, in + k + 1);
        hn::StoreInterleaved2(hn::Add(hn::Mul(w0, before), hn::Mul(w1, here)),
                              hn::Add(hn::Mul(w2, here), hn::Mul(w3, next)), df, out + 2 * k);
    }
}

void NarrowChroma(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept {
    const VF w0 = hn::Set(df, weights[0]), w1 = hn::Set(df, weights[1]);
    const VF w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
        VF before, here, after, unused;
        hn::LoadInterleaved2(df, in + 2 * k - 1, before, unused);
        hn::LoadInterleaved2(df, in + 2 * k, here, after);
        VF sum = hn::Add(hn::Add(hn::Mul(w0, before), hn::Mul(w1, here)), hn::Mul(w2, after));
        if (weights[3] != 0) {
            VF last;
            hn::LoadInterleaved2(df, in + 2 * k + 1, unused, last);
            sum = hn::Add(sum, hn::Mul(w3, last));
        }
        hn::StoreU(sum, df, out + k);
    }
}

void Shuffle(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes,
             const ByteShuffle& move) noexcept {
    const auto order = hn::LoadDup128(dbytes, move.order);
    const auto keep = hn::LoadDup128(dbytes, move.keep);
    const auto set = hn::LoadDup128(dbytes, move.set);
    const std::size_t step = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + step <= bytes; i += step) {
        const auto moved = hn::TableLookupBytes(hn::LoadU(dbytes, source + i), order);
        hn::StoreU(hn::Or(hn::And(moved, keep), set), dbytes, destination + i);
    }
    if (i < bytes) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        std::memcpy(rest, source + i, bytes - i);
        const auto moved = hn::TableLookupBytes(hn::Load(dbytes, rest), order);
        hn::Store(hn::Or(hn::And(moved, keep), set), dbytes, rest);
        std::memcpy(destination + i, rest, bytes - i);
    }
}

void StreamCopy(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept {
    const std::size_t step = hn::Lanes(dbytes);
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(destination) % step;
    const std::size_t head = misaligned == 0 ? 0 : step - misaligned;
    if (bytes < head + step) {
        std::memcpy(destination, source, bytes);
        return;
    }
    std::memcpy(destination, source, head);
    std::size_t i = head;
    for (; i + step <= bytes; i += step) {
        hn::Stream(hn::LoadU(dbytes, source + i), dbytes, destination + i);
    }
    std::memcpy(destination + i, source + i, bytes - i);
}

void FinishStreaming() noexcept {
    hwy::FlushStream();
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
