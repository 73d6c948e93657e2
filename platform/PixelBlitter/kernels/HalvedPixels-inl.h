// Luma and half-width chroma of 8-bit pixels of four components.
#if defined(PIXELBLITTER_HALVED_PIXELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_HALVED_PIXELS_INL_H
#undef PIXELBLITTER_HALVED_PIXELS_INL_H
#else
#define PIXELBLITTER_HALVED_PIXELS_INL_H
#endif

#include "FusedKernels.h"
#include "PairSums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// What both kinds of destination take from a vector of pixels.
template <WeightScale scale>
class HalvedPixels {
public:
    // lumaShift is taken off all luma codes.
    HalvedPixels(const PixelHalving& halving, std::int32_t lumaShift)
        : mFirst(hn::LoadDup128(dbytes, halving.first)), mSecond(hn::LoadDup128(dbytes, halving.second)),
          mPairs(hn::LoadDup128(dbytes, halving.pairs)), mLuma0(SetWords(halving.luma.first[0], halving.luma.first[1])),
          mLuma1(SetWords(halving.luma.second[0], halving.luma.second[1])),
          mLumaOffset(hn::Set(di, halving.lumaOffset - (lumaShift << BitsOf(scale)))) {}

    // One code for every pixel, with BitsOf(scale) bits below it.
    HWY_INLINE Dwords Luma(Bytes pixels) const {
        const Words first = hn::BitCast(ds, hn::TableLookupBytesOr0(pixels, mFirst));
        const Words second = hn::BitCast(ds, hn::TableLookupBytesOr0(pixels, mSecond));
        return hn::Add(hn::Add(MulAddPairs(first, mLuma0), MulAddPairs(second, mLuma1)), mLumaOffset);
    }
    // Four words (c0, c1, c2, c1) for every pair: sums of both pixels.
    HWY_INLINE Words PairSums(Bytes pixels) const { return AddBytePairs(hn::TableLookupBytes(pixels, mPairs)); }
    // Around the first column, 1 2 1; around the middle, 1 3 3 1. source addresses the pair's first pixel.
    template <bool centred>
    HWY_INLINE Words Sums(const std::uint8_t* source, Bytes pixels) const {
        const Words here = PairSums(pixels);
        const Words before = PairSums(hn::LoadU(dbytes, source - 4));
        if (!centred) {
            return hn::Add(here, before);
        }
        const Words behind = PairSums(hn::LoadU(dbytes, source + 4));
        return hn::Add(hn::Add(here, here), hn::Add(before, behind));
    }

private:
    Bytes mFirst, mSecond, mPairs;
    Words mLuma0, mLuma1;
    Dwords mLumaOffset;
};

// (U, V) of every pair from its four sums.
class ChromaOfSums {
public:
    // bits: behind the point of the products.
    ChromaOfSums(const PixelHalving& halving, int bits)
        : mStraight(hn::BitCast(ds, hn::OddEven(Dword(halving.v.second), Dword(halving.u.first)))),
          mCrossed(hn::BitCast(ds, hn::OddEven(Dword(halving.v.first), Dword(halving.u.second)))),
          mOffset(hn::OddEven(Offset(halving, 1, bits), Offset(halving, 0, bits))) {}

    HWY_INLINE Dwords operator()(Words sums) const {
        const Words crossed = hn::BitCast(ds, hn::Shuffle2301(hn::BitCast(di, sums)));
        return hn::Add(hn::Add(MulAddPairs(sums, mStraight), MulAddPairs(crossed, mCrossed)), mOffset);
    }

private:
    static HWY_INLINE Dwords Offset(const PixelHalving& halving, int i, int bits) {
        return hn::Set(di, (halving.chromaZero[i] << (bits - BitsOf(halving.scale))) + (1 << (bits - 1)));
    }
    static HWY_INLINE Dwords Dword(const std::int16_t words[2]) {
        return hn::BitCast(di, SetWords(words[0], words[1]));
    }
    Words mStraight, mCrossed;
    Dwords mOffset;
};

// The source of an op that looks at the pixels before and behind a step: at the ends of the row, a copy of its pixels
// that repeats the outermost ones.
template <std::size_t capacity, std::size_t pixelBytes = 4>
class PaddedPixels {
public:
    PaddedPixels(const std::uint8_t* row, std::size_t width, std::size_t first, std::size_t count) {
        const std::size_t from = first > 0 ? first - 1 : 0;
        const std::size_t end = std::min(width, first + count + 1);
        std::uint8_t* at = mPixels;
        if (first == 0) {
            std::memcpy(at, row, pixelBytes);
            at += pixelBytes;
        }
        std::memcpy(at, row + pixelBytes * from, pixelBytes * (end - from));
        at += pixelBytes * (end - from);
        for (const std::uint8_t* const wanted = mPixels + pixelBytes * (count + 3); at < wanted; at += pixelBytes) {
            std::memcpy(at, at - pixelBytes, pixelBytes);
        }
    }
    const std::uint8_t* get() const { return mPixels + pixelBytes; }

private:
    alignas(64) std::uint8_t mPixels[pixelBytes * (capacity + 4)] = {};
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
