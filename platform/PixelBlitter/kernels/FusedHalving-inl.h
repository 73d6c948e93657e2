// 8-bit pixels of four components to 8-bit 4:2:2 and 4:2:0.
#if defined(PIXELBLITTER_FUSED_HALVING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_FUSED_HALVING_INL_H
#undef PIXELBLITTER_FUSED_HALVING_INL_H
#else
#define PIXELBLITTER_FUSED_HALVING_INL_H
#endif

#include "FusedPixels-inl.h"
#include "HalvedPixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

template <WeightScale scale>
struct PixelsToPairsOp {
    const std::uint8_t* row;
    std::uint8_t* destination;
    std::size_t width;
    HalvedPixels<scale> pixels;
    ChromaOfSums chroma;
    bool lumaAbove;

    static HWY_INLINE std::size_t Step() { return LaneCount(); } // pairs: two vectors of pixels
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<2>(row + 8 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Codes(row + 8 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        const PaddedPixels<2 * kMaxLanes> padded(row, width, 2 * i, 2 * count);
        alignas(64) std::uint8_t codes[4 * kMaxLanes];
        hn::Store(Codes(padded.get()), dbytes, codes);
        std::memcpy(destination + 4 * i, codes, 4 * count);
    }

    HWY_INLINE Bytes Codes(const std::uint8_t* source) const {
        const auto words = hn::BitCast(dbytes, PackToWords(Vector(source), Vector(source + 4 * LaneCount())));
        // The luma codes come 128 too low, which makes words of both codes signed and the pack lossless.
        const Bytes codes = hn::Xor(Pieces::Gather(words), hn::BitCast(dbytes, hn::Set(dw, std::uint16_t{0x8000})));
        const auto both = hn::BitCast(dw, codes);
        return lumaAbove ? codes : hn::BitCast(dbytes, hn::Or(hn::ShiftLeft<8>(both), hn::ShiftRight<8>(both)));
    }
    // Luma above chroma in the lower half of every dword, the former's sign above.
    HWY_INLINE Dwords Vector(const std::uint8_t* source) const {
        const Bytes in = hn::LoadU(dbytes, source);
        const Dwords luma = pixels.Luma(in);
        const Dwords codes = hn::ShiftRight<BitsOf(scale) + 2>(chroma(pixels.template Sums<false>(source, in)));
        return hn::OrAnd(codes, hn::ShiftRight<BitsOf(scale) - 8>(luma), hn::Set(di, ~0xFF));
    }
};

template <WeightScale scale>
void PixelsToPairsAt(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                     const PixelHalving& halving, const Transfer& transfer) noexcept {
    const PixelsToPairsOp<scale> op{source,
                                    destination,
                                    pixels,
                                    HalvedPixels<scale>(halving, 128),
                                    ChromaOfSums(halving, BitsOf(scale) + 2),
                                    halving.lumaAbove};
    const std::size_t pairs = (pixels + 1) / 2;
    // The first pixel has none before it. What is left of a row that is streamed then begins aligned.
    const std::size_t head = transfer.stream ? UnitsToAlignment(destination, 4) : 0;
    const std::size_t first = std::min(pairs, head == 0 || head > op.Step() ? op.Step() : head);
    op.Rest(0, first);
    // A row of odd width ends on a pair whose second pixel does not exist.
    RunSteps(op, first, std::max(first, pixels / 2), destination, 4, transfer);
    if (pixels % 2 != 0 && first < pairs) {
        op.Rest(pairs - 1, 1);
    }
}

void PixelsToPairs(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                   const PixelHalving& halving, const Transfer& transfer) noexcept {
    const auto run =
        halving.scale == WeightScale::Fine ? PixelsToPairsAt<WeightScale::Fine> : PixelsToPairsAt<WeightScale::Coarse>;
    run(source, destination, pixels, halving, transfer);
}

template <WeightScale scale, bool centred>
struct PixelsToLumaOp {
    const std::uint8_t* row;
    std::uint8_t* luma;
    std::int16_t* sums;
    std::size_t width;
    HalvedPixels<scale> pixels;

    static HWY_INLINE std::size_t Step() { return 2 * LaneCount(); } // pairs: four vectors of pixels
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<4>(row + 8 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Codes(row + 8 * i, sums + kSumWords * i), luma + 2 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        const PaddedPixels<4 * kMaxLanes> padded(row, width, 2 * i, 2 * count);
        alignas(64) std::uint8_t codes[4 * kMaxLanes];
        alignas(64) std::int16_t restSums[2 * kMaxLanes * kSumWords];
        hn::Store(Codes(padded.get(), restSums), dbytes, codes);
        std::memcpy(luma + 2 * i, codes, std::min(2 * count, width - 2 * i));
        std::memcpy(sums + kSumWords * i, restSums, sizeof(std::int16_t) * kSumWords * count);
    }

    HWY_INLINE Bytes Codes(const std::uint8_t* source, std::int16_t* out) const {
        const std::size_t lanes = LaneCount();
        const auto code = [&](std::size_t vector) HWY_ATTR {
            const std::uint8_t* const at = source + 4 * lanes * vector;
            const Bytes in = hn::LoadU(dbytes, at);
            hn::StoreU(pixels.template Sums<centred>(at, in), ds, out + 2 * lanes * vector);
            return hn::ShiftRight<BitsOf(scale)>(pixels.Luma(in));
        };
        const Words a = PackToWords(code(0), code(1));
        return Pieces::Transpose(PackToBytes(a, PackToWords(code(2), code(3))));
    }
};

template <WeightScale scale, bool centred>
void PixelsToLumaAt(const std::uint8_t* source, std::uint8_t* luma, std::int16_t* sums, std::size_t pixels,
                    const PixelHalving& halving, const Transfer& transfer) noexcept {
    const PixelsToLumaOp<scale, centred> op{source, luma, sums, pixels, HalvedPixels<scale>(halving, 0)};
    const std::size_t pairs = (pixels + 1) / 2;
    const std::size_t head = transfer.stream ? UnitsToAlignment(luma, 2) : 0;
    const std::size_t first = std::min(pairs, head == 0 || head > op.Step() ? op.Step() : head);
    op.Rest(0, first);
    // Pairs whose pixels and neighbours all exist.
    const std::size_t whole = centred ? (pixels - 1) / 2 : pixels / 2;
    RunSteps(op, first, std::max(first, whole), luma, 2, transfer);
    if (const std::size_t done = std::max(first, whole); done < pairs) {
        op.Rest(done, pairs - done);
    }
}

void PixelsToLuma(const std::uint8_t* source, std::uint8_t* luma, std::int16_t* sums, std::size_t pixels,
                  const PixelHalving& halving, const Transfer& transfer) noexcept {
    using enum WeightScale;
    const auto run = halving.scale == Fine
                         ? (halving.centred ? PixelsToLumaAt<Fine, true> : PixelsToLumaAt<Fine, false>)
                         : (halving.centred ? PixelsToLumaAt<Coarse, true> : PixelsToLumaAt<Coarse, false>);
    run(source, luma, sums, pixels, halving, transfer);
}

template <WeightScale scale>
void SumsToChromaAt(const std::int16_t* const rows[4], const std::uint16_t weights[4], std::uint8_t* u, std::uint8_t* v,
                    std::size_t pairs, const PixelHalving& halving) noexcept {
    // The filters along the row add up to 4 or 8, the rows to 16; doubled where it is 4.
    constexpr int kBits = BitsOf(scale) + 7;
    const ChromaOfSums chroma(halving, kBits);
    const auto weight = [&](int tap) HWY_ATTR {
        return hn::Set(ds, static_cast<std::int16_t>(halving.centred ? weights[tap] : 2 * weights[tap]));
    };
    const Words w0 = weight(0), w1 = weight(1), w2 = weight(2), w3 = weight(3);
    const std::size_t lanes = LaneCount();
    for (std::size_t i = 0; i < pairs; i += lanes) {
        const auto mixed = [&](std::size_t vector) HWY_ATTR {
            const std::size_t at = kSumWords * i + 2 * lanes * vector;
            const Words outer =
                hn::Add(hn::Mul(hn::LoadU(ds, rows[0] + at), w0), hn::Mul(hn::LoadU(ds, rows[3] + at), w3));
            const Words inner =
                hn::Add(hn::Mul(hn::LoadU(ds, rows[1] + at), w1), hn::Mul(hn::LoadU(ds, rows[2] + at), w2));
            return hn::ShiftRight<kBits>(chroma(hn::Add(outer, inner)));
        };
        const Dwords a = mixed(0);
        const Dwords b = mixed(1);
        hn::StoreU(hn::DemoteTo(d8, hn::ConcatEven(di, b, a)), d8, u + i);
        hn::StoreU(hn::DemoteTo(d8, hn::ConcatOdd(di, b, a)), d8, v + i);
    }
}

void SumsToChroma(const std::int16_t* const rows[4], const std::uint16_t weights[4], std::uint8_t* u, std::uint8_t* v,
                  std::size_t pairs, const PixelHalving& halving) noexcept {
    const auto run =
        halving.scale == WeightScale::Fine ? SumsToChromaAt<WeightScale::Fine> : SumsToChromaAt<WeightScale::Coarse>;
    run(rows, weights, u, v, pairs, halving);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
