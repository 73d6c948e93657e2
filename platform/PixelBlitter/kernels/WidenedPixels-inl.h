// Pixels of four 8-bit components from luma and half-width chroma.
#if defined(PIXELBLITTER_WIDENED_PIXELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_WIDENED_PIXELS_INL_H
#undef PIXELBLITTER_WIDENED_PIXELS_INL_H
#else
#define PIXELBLITTER_WIDENED_PIXELS_INL_H
#endif

#include "FusedKernels.h"
#include "PairSums-inl.h"
#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

using DHalf = hn::Rebind<std::uint8_t, DW>;

HWY_INLINE Words WordsOf(const std::uint8_t* bytes) {
    return hn::BitCast(ds, hn::PromoteTo(dw, hn::LoadU(DHalf(), bytes)));
}

template <LumaLayout layout>
constexpr std::size_t kLumaBytesOfPair = layout == LumaLayout::Plane ? 2 : 4;

template <LumaLayout layout, bool centred, bool reorder>
class WidenedPixels {
public:
    explicit WidenedPixels(const PixelWidening& widening)
        : mFromV(SetWords(widening.fromV[0], widening.fromV[1])),
          mFromU(SetWords(widening.fromU[0], widening.fromU[1])),
          mBothV(SetWords(widening.fromBoth[0], widening.fromBoth[1])),
          mBothU(SetWords(widening.fromBoth[2], widening.fromBoth[3])),
          mLumaZero(hn::Set(ds, static_cast<std::int16_t>(widening.lumaZero * 64))),
          mOuterZero(SetWords(static_cast<std::int16_t>(widening.zero[0] * 16 + 8),
                              static_cast<std::int16_t>(widening.zero[2] * 16 + 8))),
          mBothZero(hn::Set(ds, static_cast<std::int16_t>(widening.zero[1] * 32 + 16))),
          mJoinOuter(hn::LoadDup128(dbytes, kJoinOuter)), mJoinBoth(hn::LoadDup128(dbytes, kJoinBoth)),
          mOrder(hn::LoadDup128(dbytes, widening.order)) {}

    // Two vectors of pixels from a vector of pairs.
    HWY_INLINE void operator()(const std::uint8_t* luma, const std::int16_t* chroma, Bytes& low, Bytes& high) const {
        const Words here = hn::LoadU(ds, chroma);
        const Words next = hn::LoadU(ds, chroma + 2);
        // Twice the chroma of the first and of the second column of each pair. Chroma divides by 8, so halves are
        // exact.
        Words even = hn::Add(here, here);
        Words odd = hn::Add(here, next);
        if (centred) {
            even = hn::Add(here, hn::ShiftRight<1>(hn::Add(here, hn::LoadU(ds, chroma - 2))));
            odd = hn::Add(here, hn::ShiftRight<1>(odd));
        }
        const Words y =
            hn::Sub(hn::ShiftLeft < layout == LumaLayout::Codes ? 4 : 6 > (Luma(luma)), mLumaZero); // first, second
        const Words evenYV = hn::OddEven(even, y);
        const Words evenUY = hn::OddEven(hn::BitCast(ds, hn::ShiftLeft<16>(hn::BitCast(di, y))), even);
        const Words oddYV = hn::OddEven(odd, hn::BitCast(ds, hn::ShiftRight<16>(hn::BitCast(di, y))));
        const Words oddUY = hn::OddEven(y, odd);
        const Words evenOuter = Upper(MulAddPairs(evenUY, mFromU), MulAddPairs(evenYV, mFromV));
        const Words oddOuter = Upper(MulAddPairs(oddUY, mFromU), MulAddPairs(oddYV, mFromV));
        const Words both = Upper(hn::Add(MulAddPairs(evenYV, mBothV), MulAddPairs(evenUY, mBothU)),
                                 hn::Add(MulAddPairs(oddYV, mBothV), MulAddPairs(oddUY, mBothU)));
        const Bytes outerCodes = PackToBytes(hn::ShiftRight<4>(hn::Add(evenOuter, mOuterZero)),
                                             hn::ShiftRight<4>(hn::Add(oddOuter, mOuterZero)));
        const Bytes bothCodes =
            PackToBytes(hn::ShiftRight<5>(hn::Add(both, mBothZero)), hn::Set(ds, std::int16_t{255}));
        const Bytes outer = Pieces::Spread(hn::TableLookupBytes(outerCodes, mJoinOuter));
        const Bytes inner = Pieces::Spread(hn::TableLookupBytes(bothCodes, mJoinBoth));
        low = InOrder(hn::InterleaveLower(dbytes, outer, inner));
        high = InOrder(hn::InterleaveUpper(dbytes, outer, inner));
    }

private:
    HWY_INLINE static Words Luma(const std::uint8_t* luma) {
        if constexpr (layout == LumaLayout::Plane) {
            return WordsOf(luma);
        } else if constexpr (layout == LumaLayout::Codes) {
            return hn::BitCast(ds, hn::LoadU(dbytes, luma));
        } else {
            const auto pairs = hn::BitCast(dw, hn::LoadU(dbytes, luma));
            return hn::BitCast(ds, layout == LumaLayout::PairsBelow ? hn::And(pairs, hn::Set(dw, std::uint16_t{0xFF}))
                                                                    : hn::ShiftRight<8>(pairs));
        }
    }
    // The upper words of both.
    HWY_INLINE static Words Upper(Dwords low, Dwords high) {
        return hn::OddEven(hn::BitCast(ds, high), hn::BitCast(ds, hn::ShiftRight<16>(low)));
    }
    HWY_INLINE Bytes InOrder(Bytes pixels) const { return reorder ? hn::TableLookupBytes(pixels, mOrder) : pixels; }

    // Of a block of four pairs: results of the first columns, then of the second ones, to the order of columns; and
    // single results of both, then opaque.
    alignas(16) static constexpr std::uint8_t kJoinOuter[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    alignas(16) static constexpr std::uint8_t kJoinBoth[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};

    Words mFromV, mFromU, mBothV, mBothU, mLumaZero, mOuterZero, mBothZero;
    Bytes mJoinOuter, mJoinBoth, mOrder;
};

template <LumaLayout layout, bool centred, bool reorder>
struct ChromaToPixelsOp {
    const std::uint8_t* luma;
    const std::int16_t* chroma;
    std::uint8_t* destination;
    std::size_t width;
    WidenedPixels<layout, centred, reorder> pixels;
    static constexpr std::size_t kLumaBytes = kLumaBytesOfPair<layout>;

    static HWY_INLINE std::size_t Step() { return LaneCount(); } // pairs
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<1>(luma + kLumaBytes * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Bytes low, high;
        pixels(luma + kLumaBytes * i, chroma + 2 * i, low, high);
        Stores::Store(low, destination + 8 * i);
        Stores::Store(high, destination + 8 * i + 4 * LaneCount());
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[8 * kMaxLanes] = {};
        const std::size_t columns = std::min(2 * count, width - 2 * i);
        std::memcpy(rest, luma + kLumaBytes * i, layout == LumaLayout::Plane ? columns : kLumaBytes * count);
        Bytes low, high;
        pixels(rest, chroma + 2 * i, low, high);
        hn::Store(low, dbytes, rest);
        hn::Store(high, dbytes, rest + 4 * LaneCount());
        std::memcpy(destination + 8 * i, rest, 4 * columns);
    }
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
