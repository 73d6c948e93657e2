// 8-bit 4:2:2 to 8-bit 4:2:2 of another matrix.
#if defined(PIXELBLITTER_PAIR_MATRIX_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PAIR_MATRIX_INL_H
#undef PIXELBLITTER_PAIR_MATRIX_INL_H
#else
#define PIXELBLITTER_PAIR_MATRIX_INL_H
#endif

#include "FusedPixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

template <bool lumaFirst>
class MixedPairs {
public:
    explicit MixedPairs(const MatrixOfPairs& matrix)
        : mLuma(SetWords(matrix.luma[0], matrix.luma[1])), mU(SetWords(matrix.u[0], matrix.u[1])),
          mV(SetWords(matrix.v[0], matrix.v[1])), mOrder(hn::LoadDup128(dbytes, matrix.order)) {}

    HWY_INLINE Bytes operator()(Bytes pairs, const std::int16_t* chroma) const {
        const Words here = hn::LoadU(ds, chroma);
        const Words next = hn::LoadU(ds, chroma + 2);
        // Luma takes the chroma of its own column, which comes doubled; it counts 15 + 6 + 1 bits behind the point.
        const auto shift = [&](Words doubled) HWY_ATTR {
            return hn::ShiftRight<22>(hn::Add(MulAddPairs(doubled, mLuma), hn::Set(di, 1 << 21)));
        };
        const auto words = hn::BitCast(dw, pairs);
        const auto codes = lumaFirst ? hn::And(words, hn::Set(dw, std::uint16_t{0xFF})) : hn::ShiftRight<8>(words);
        const Words luma =
            hn::Add(hn::BitCast(ds, codes), Join(shift(hn::Add(here, here)), shift(hn::Add(here, next))));
        // Interpolation to full width and the triangle back add up to (1 6 1) / 8; chroma divides by 64.
        const Words outer = hn::Add(Eighth(hn::LoadU(ds, chroma - 2)), Eighth(next));
        const Words eighth = Eighth(here);
        const Words filtered = hn::Add(outer, hn::Add(hn::ShiftLeft<2>(eighth), hn::ShiftLeft<1>(eighth)));
        const auto code = [&](Words weights) HWY_ATTR { // 14 + 6 bits behind the point
            return hn::ShiftRight<20>(hn::Add(MulAddPairs(filtered, weights), hn::Set(di, (128 << 20) + (1 << 19))));
        };
        return hn::TableLookupBytes(PackToBytes(Join(code(mU), code(mV)), luma), mOrder);
    }

private:
    static HWY_INLINE Words Eighth(Words chroma) { return hn::ShiftRight<3>(chroma); }
    // The lower words of both in turn.
    static HWY_INLINE Words Join(Dwords low, Dwords high) {
        return hn::OddEven(hn::BitCast(ds, hn::ShiftLeft<16>(high)), hn::BitCast(ds, low));
    }
    Words mLuma, mU, mV;
    Bytes mOrder;
};

template <bool lumaFirst>
struct MixPairsOp {
    const std::uint8_t* source;
    const std::int16_t* chroma;
    std::uint8_t* destination;
    std::size_t width;
    MixedPairs<lumaFirst> pairs;

    static HWY_INLINE std::size_t Step() { return LaneCount(); } // pairs
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<1>(source + 4 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(pairs(hn::LoadU(dbytes, source + 4 * i), chroma + 2 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        std::memcpy(rest, source + 4 * i, 4 * count);
        if (width < 2 * (i + count)) { // the second pixel of a pair that only one pixel uses
            const std::size_t first = 4 * (count - 1) + (lumaFirst ? 0 : 1);
            rest[first + 2] = rest[first];
        }
        hn::Store(pairs(hn::Load(dbytes, rest), chroma + 2 * i), dbytes, rest);
        std::memcpy(destination + 4 * i, rest, 4 * count);
    }
};

void MixPairs(const std::uint8_t* source, const std::int16_t* chroma, std::uint8_t* destination, std::size_t pixels,
              const MatrixOfPairs& matrix, const Transfer& transfer) noexcept {
    const auto run = [&](const auto& op) HWY_ATTR {
        RunSteps(op, 0, pixels / 2, destination, 4, transfer);
        if (pixels % 2 != 0) {
            op.Rest(pixels / 2, 1);
        }
    };
    if (matrix.lumaFirst) {
        run(MixPairsOp<true>{source, chroma, destination, pixels, MixedPairs<true>(matrix)});
    } else {
        run(MixPairsOp<false>{source, chroma, destination, pixels, MixedPairs<false>(matrix)});
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
