// 8-bit 4:2:2 and 4:2:0 to pixels of four components.
#if defined(PIXELBLITTER_FUSED_WIDENING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_FUSED_WIDENING_INL_H
#undef PIXELBLITTER_FUSED_WIDENING_INL_H
#else
#define PIXELBLITTER_FUSED_WIDENING_INL_H
#endif

#include "FusedPixels-inl.h"
#include "WidenedPixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

void RepeatEnds(std::int16_t* chroma, std::size_t pairs) noexcept {
    std::memcpy(chroma - 2, chroma, 2 * sizeof(std::int16_t));
    std::memcpy(chroma + 2 * pairs, chroma + 2 * pairs - 2, 2 * sizeof(std::int16_t));
}

// Chroma of a vector of 4:2:2, (code - 128) * 64.
HWY_INLINE Words ChromaOfVector(Bytes pairs, bool lumaFirst) {
    const auto words = hn::BitCast(dw, pairs);
    const auto codes = lumaFirst ? hn::ShiftRight<8>(words) : hn::And(words, hn::Set(dw, std::uint16_t{0xFF}));
    return hn::Sub(hn::BitCast(ds, hn::ShiftLeft<6>(codes)), hn::Set(ds, std::int16_t{128 * 64}));
}

void ChromaOfPairs(const std::uint8_t* source, bool lumaFirst, std::int16_t* chroma, std::size_t pairs) noexcept {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= pairs; i += lanes) {
        hn::StoreU(ChromaOfVector(hn::LoadU(dbytes, source + 4 * i), lumaFirst), ds, chroma + 2 * i);
    }
    if (i < pairs) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        std::memcpy(rest, source + 4 * i, 4 * (pairs - i));
        hn::StoreU(ChromaOfVector(hn::Load(dbytes, rest), lumaFirst), ds, chroma + 2 * i);
    }
    RepeatEnds(chroma, pairs);
}

// 8 times the codes of as many samples as a vector has words.
class MixedRows {
public:
    explicit MixedRows(const std::uint16_t weights[2])
        : mWeight0(hn::Set(ds, static_cast<std::int16_t>(weights[0]))),
          mWeight1(hn::Set(ds, static_cast<std::int16_t>(weights[1]))) {}
    HWY_INLINE Words operator()(const std::uint8_t* a, const std::uint8_t* b) const {
        return hn::Add(hn::Mul(WordsOf(a), mWeight0), hn::Mul(WordsOf(b), mWeight1));
    }

private:
    Words mWeight0, mWeight1;
};

// Samples [first, first + count) of a mix, followed by whatever fills a step.
struct MixFrom {
    alignas(64) std::uint8_t rest[4][4 * kMaxLanes] = {};
    const std::uint8_t* u[2];
    const std::uint8_t* v[2];
    HWY_INLINE MixFrom(const ChromaMix& mix, std::size_t first, std::size_t count) {
        for (int row = 0; row < 2; ++row) {
            std::memcpy(rest[row], mix.u[row] + first, count);
            std::memcpy(rest[2 + row], mix.v[row] + first, count);
            u[row] = rest[row];
            v[row] = rest[2 + row];
        }
    }
};

void ChromaOfPlanes(const ChromaMix& mix, std::int16_t* chroma, std::size_t pairs) noexcept {
    const MixedRows mixed(mix.weights);
    const std::size_t step = hn::Lanes(ds);
    const auto run = [&](const std::uint8_t* const u[2], const std::uint8_t* const v[2], std::size_t from,
                         std::size_t to) HWY_ATTR {
        const auto value = [&](const std::uint8_t* const rows[2]) HWY_ATTR {
            const Words codes = mixed(rows[0] + from, rows[1] + from);
            return hn::BitCast(dbytes, hn::ShiftLeft<3>(hn::Sub(codes, hn::Set(ds, std::int16_t{128 * 8}))));
        };
        const Words first = hn::BitCast(ds, Pieces::Spread(value(u)));
        const Words second = hn::BitCast(ds, Pieces::Spread(value(v)));
        hn::StoreU(hn::InterleaveLower(ds, first, second), ds, chroma + 2 * to);
        hn::StoreU(hn::InterleaveUpper(ds, first, second), ds, chroma + 2 * to + step);
    };
    std::size_t i = 0;
    for (; i + step <= pairs; i += step) {
        run(mix.u, mix.v, i, i);
    }
    if (i < pairs) {
        const MixFrom rest(mix, i, pairs - i);
        run(rest.u, rest.v, 0, i);
    }
    RepeatEnds(chroma, pairs);
}

template <LumaLayout layout, bool centred, bool reorder>
void ChromaToPixelsBy(const std::uint8_t* luma, const std::int16_t* chroma, std::uint8_t* destination,
                      std::size_t pixels, const PixelWidening& widening, const Transfer& transfer) noexcept {
    const ChromaToPixelsOp<layout, centred, reorder> op{luma, chroma, destination, pixels,
                                                        WidenedPixels<layout, centred, reorder>(widening)};
    RunSteps(op, 0, pixels / 2, destination, 8, transfer);
    if (pixels % 2 != 0) {
        op.Rest(pixels / 2, 1);
    }
}

template <LumaLayout layout>
void ChromaToPixels(const std::uint8_t* luma, const std::int16_t* chroma, std::uint8_t* destination, std::size_t pixels,
                    const PixelWidening& widening, const Transfer& transfer) noexcept {
    const auto run =
        widening.centred
            ? (widening.reorder ? ChromaToPixelsBy<layout, true, true> : ChromaToPixelsBy<layout, true, false>)
            : (widening.reorder ? ChromaToPixelsBy<layout, false, true> : ChromaToPixelsBy<layout, false, false>);
    run(luma, chroma, destination, pixels, widening, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
