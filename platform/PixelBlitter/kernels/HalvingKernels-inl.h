// 8-bit pixels to luma and half-width chroma planes of another model.
#if defined(PIXELBLITTER_HALVING_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_HALVING_KERNELS_INL_H
#undef PIXELBLITTER_HALVING_KERNELS_INL_H
#else
#define PIXELBLITTER_HALVING_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

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

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
