// 8-bit pixels of four components to others of the same kind.
#if defined(PIXELBLITTER_FUSED_PIXELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_FUSED_PIXELS_INL_H
#undef PIXELBLITTER_FUSED_PIXELS_INL_H
#else
#define PIXELBLITTER_FUSED_PIXELS_INL_H
#endif

#include "FusedKernels.h"
#include "PairSums-inl.h"
#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

class PremultiplyPixels {
public:
    explicit PremultiplyPixels(const AlphaProduct& product)
        : mOrder(hn::LoadDup128(dbytes, product.order)), mEvenAlpha(hn::LoadDup128(dbytes, product.evenAlpha)),
          mOddAlpha(hn::LoadDup128(dbytes, product.oddAlpha)),
          mEvenOpaque(hn::BitCast(dbytes, hn::Set(du, product.evenOpaque))),
          mOddOpaque(hn::BitCast(dbytes, hn::Set(du, product.oddOpaque))),
          mEvenZero(hn::BitCast(dw, hn::Set(du, product.evenZero))),
          mOddZero(hn::BitCast(dw, hn::Set(du, product.oddZero))) {}

    HWY_INLINE Bytes operator()(Bytes source) const {
        const Bytes pixels = hn::TableLookupBytes(source, mOrder);
        const auto even = hn::And(hn::BitCast(dw, pixels), hn::Set(dw, std::uint16_t{0xFF}));
        const auto odd = hn::ShiftRight<8>(hn::BitCast(dw, pixels));
        const auto evenAlpha = hn::Or(hn::TableLookupBytesOr0(pixels, mEvenAlpha), mEvenOpaque);
        const auto oddAlpha = hn::Or(hn::TableLookupBytesOr0(pixels, mOddAlpha), mOddOpaque);
        const auto evenCodes = Product(even, hn::BitCast(dw, evenAlpha), mEvenZero);
        const auto oddCodes = Product(odd, hn::BitCast(dw, oddAlpha), mOddZero);
        return hn::BitCast(dbytes, hn::Or(evenCodes, hn::ShiftLeft<8>(oddCodes)));
    }

private:
    // The nearest integer to (code * alpha + zero * (255 - alpha)) / 255, which is never halfway: 257 / 65536 is so
    // close to 1 / 255 that no sum below 2^16 tells them apart.
    static HWY_INLINE hn::Vec<DW> Product(hn::Vec<DW> code, hn::Vec<DW> alpha, hn::Vec<DW> zero) {
        const auto rest = hn::Sub(hn::Set(dw, std::uint16_t{255}), alpha);
        const auto sum = hn::Add(hn::Mul(code, alpha), hn::Mul(zero, rest));
        return hn::MulHigh(hn::Add(sum, hn::Set(dw, std::uint16_t{128})), hn::Set(dw, std::uint16_t{257}));
    }
    Bytes mOrder, mEvenAlpha, mOddAlpha, mEvenOpaque, mOddOpaque;
    hn::Vec<DW> mEvenZero, mOddZero;
};

void PremultiplyBytes(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                      const AlphaProduct& product, const Transfer& transfer) noexcept {
    RunPixels(source, destination, pixels, transfer, PremultiplyPixels(product));
}

template <bool alphaFirst>
class UnpremultiplyPixels {
public:
    explicit UnpremultiplyPixels(const AlphaQuotient& quotient) : mOrder(hn::LoadDup128(dbytes, quotient.order)) {
        // A bit more than a code's own place, so that halves go up when 2^23 is added.
        constexpr float kLift = 0x1p-16F;
        for (int i = 0; i < 3; ++i) {
            mZero[i] = hn::Set(df, kMagic + quotient.zero[i]);
            mOffset[i] = hn::Set(df, quotient.zero[i] + kLift);
        }
    }

    HWY_INLINE Bytes operator()(Bytes source) const {
        const auto pixels = hn::BitCast(du, hn::TableLookupBytes(source, mOrder));
        const auto mask = hn::Set(du, 0xFFU);
        const auto b0 = ToMagic(pixels, mask);
        const auto b1 = ToMagic(hn::ShiftRight<8>(pixels), mask);
        const auto b2 = ToMagic(hn::ShiftRight<16>(pixels), mask);
        const auto b3 = ToMagic(hn::ShiftRight<24>(pixels));
        const VF alpha = hn::Sub(hn::BitCast(df, alphaFirst ? b0 : b3), hn::Set(df, kMagic));
        const VF factor = hn::IfThenZeroElse(hn::Eq(alpha, hn::Zero(df)), hn::Div(hn::Set(df, 255.0F), alpha));
        const auto c0 = Quotient(alphaFirst ? b1 : b0, factor, 0);
        const auto c1 = Quotient(alphaFirst ? b2 : b1, factor, 1);
        const auto c2 = Quotient(alphaFirst ? b3 : b2, factor, 2);
        const auto low = hn::OrAnd(hn::ShiftLeft<8>(alphaFirst ? c0 : c1), alphaFirst ? b0 : c0, mask);
        const auto high = hn::Or(hn::ShiftLeft<16>(alphaFirst ? c1 : c2), hn::ShiftLeft<24>(alphaFirst ? c2 : b3));
        return hn::BitCast(dbytes, hn::Or(low, high));
    }

private:
    HWY_INLINE hn::Vec<DU> Quotient(hn::Vec<DU> magic, VF factor, int i) const {
        const VF colour = hn::Mul(hn::Sub(hn::BitCast(df, magic), mZero[i]), factor);
        const VF clamped = hn::Min(hn::Max(hn::Add(colour, mOffset[i]), hn::Zero(df)), hn::Set(df, 255.0F));
        return hn::BitCast(du, hn::Add(clamped, hn::Set(df, kMagic)));
    }
    Bytes mOrder;
    VF mZero[3], mOffset[3];
};

void UnpremultiplyBytes(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                        const AlphaQuotient& quotient, const Transfer& transfer) noexcept {
    if (quotient.alphaFirst) {
        RunPixels(source, destination, pixels, transfer, UnpremultiplyPixels<true>(quotient));
    } else {
        RunPixels(source, destination, pixels, transfer, UnpremultiplyPixels<false>(quotient));
    }
}

template <WeightScale scale>
class MixPixels {
public:
    explicit MixPixels(const ComponentMatrix& matrix)
        : mFirst(hn::LoadDup128(dbytes, matrix.first)), mSecond(hn::LoadDup128(dbytes, matrix.second)),
          mAlpha(hn::LoadDup128(dbytes, matrix.alpha)), mOrder(hn::LoadDup128(dbytes, matrix.order)),
          mOpaque(hn::Set(du, matrix.opaque)) {
        for (int i = 0; i < 3; ++i) {
            const SplitWeights& w = matrix.weights[i];
            mWeights[i][0] = SetWords(w.first[0], w.first[1]);
            mWeights[i][1] = SetWords(w.second[0], w.second[1]);
            mOffset[i] = hn::Set(di, matrix.offset[i]);
        }
    }

    HWY_INLINE Bytes operator()(Bytes source) const {
        const Words first = hn::BitCast(ds, hn::TableLookupBytesOr0(source, mFirst));
        const Words second = hn::BitCast(ds, hn::TableLookupBytesOr0(source, mSecond));
        const auto alpha = hn::Or(hn::BitCast(du, hn::TableLookupBytesOr0(source, mAlpha)), mOpaque);
        const Words c01 = PackToWords(Sum(first, second, 0), Sum(first, second, 1));
        const Words c2a = PackToWords(Sum(first, second, 2), hn::BitCast(di, alpha));
        return hn::TableLookupBytes(PackToBytes(c01, c2a), mOrder);
    }

private:
    HWY_INLINE Dwords Sum(Words first, Words second, int i) const {
        const Dwords sum = hn::Add(MulAddPairs(first, mWeights[i][0]), MulAddPairs(second, mWeights[i][1]));
        return hn::ShiftRight<BitsOf(scale)>(hn::Add(sum, mOffset[i]));
    }
    Bytes mFirst, mSecond, mAlpha, mOrder;
    hn::Vec<DU> mOpaque;
    Words mWeights[3][2];
    Dwords mOffset[3];
};

void MixComponents(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                   const ComponentMatrix& matrix, const Transfer& transfer) noexcept {
    if (matrix.scale == WeightScale::Fine) {
        RunPixels(source, destination, pixels, transfer, MixPixels<WeightScale::Fine>(matrix));
    } else {
        RunPixels(source, destination, pixels, transfer, MixPixels<WeightScale::Coarse>(matrix));
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
