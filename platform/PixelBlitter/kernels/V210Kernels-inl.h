// 10-bit 4:2:2 in groups: 6 pixels in four little-endian words of three 10-bit codes,
// Cb0 Y0 Cr0 | Y1 Cb1 Y2 | Cr1 Y3 Cb2 | Y4 Cr2 Y5, lowest bits first.
#if defined(PIXELBLITTER_V210_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_V210_KERNELS_INL_H
#undef PIXELBLITTER_V210_KERNELS_INL_H
#else
#define PIXELBLITTER_V210_KERNELS_INL_H
#endif

#include "Kernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Samples of one tile as 16-bit codes between the groups and the planes. Groups are stored 8 codes at a time, so a few
// codes beyond the last are touched.
constexpr std::size_t kMaxGroups = kTilePixels / 6 + 4;
struct GroupCodes {
    alignas(64) std::uint16_t luma[kMaxGroups * 6 + 2 * kMaxLanes];
    alignas(64) std::uint16_t u[kMaxGroups * 3 + 2 * kMaxLanes];
    alignas(64) std::uint16_t v[kMaxGroups * 3 + 2 * kMaxLanes];
};

HWY_INLINE void DequantiseCodes(const std::uint16_t* codes, float* samples, std::size_t count,
                                const Dequantiser& range) {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(Dequantise(hn::PromoteTo(du, hn::LoadU(d16, codes + i)), range), df, samples + i);
    }
}

HWY_INLINE void QuantiseCodes(const float* samples, std::uint16_t* codes, std::size_t count, const Quantiser& range) {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(QuantiseToWords(samples + i, range), d16, codes + i);
    }
}

void UnpackGroups(const std::uint8_t* source, float* luma, float* u, float* v, std::size_t groups,
                  const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept {
    // Two bytes hold each code: it is moved to the top of a 16-bit lane by a product and then down.
    alignas(16) static constexpr std::uint8_t kLumaBytes[16] = {1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kLumaLift[8] = {16, 64, 4, 16, 64, 4, 0, 0};
    alignas(16) static constexpr std::uint8_t kChromaBytes[16] = {0, 1, 5, 6, 10, 11, 0, 0, 2, 3, 8, 9, 13, 14, 0, 0};
    alignas(16) static constexpr std::uint16_t kChromaLift[8] = {64, 16, 4, 0, 4, 64, 16, 0};
    const hn::CappedTag<std::uint8_t, 16> dg;
    const hn::CappedTag<std::uint16_t, 8> dc;
    const hn::CappedTag<std::uint16_t, 4> dh;
    const auto lumaBytes = hn::Load(dg, kLumaBytes);
    const auto lumaLift = hn::Load(dc, kLumaLift);
    const auto chromaBytes = hn::Load(dg, kChromaBytes);
    const auto chromaLift = hn::Load(dc, kChromaLift);
    GroupCodes codes;
    for (std::size_t g = 0; g < groups; ++g) {
        const auto group = hn::LoadU(dg, source + 16 * g);
        const auto y = hn::ShiftRight<6>(hn::Mul(hn::BitCast(dc, hn::TableLookupBytes(group, lumaBytes)), lumaLift));
        const auto c =
            hn::ShiftRight<6>(hn::Mul(hn::BitCast(dc, hn::TableLookupBytes(group, chromaBytes)), chromaLift));
        hn::StoreU(y, dc, codes.luma + 6 * g);
        hn::StoreU(hn::LowerHalf(dh, c), dh, codes.u + 3 * g);
        hn::StoreU(hn::UpperHalf(dh, c), dh, codes.v + 3 * g);
    }
    DequantiseCodes(codes.luma, luma, 6 * groups, lumaRange);
    DequantiseCodes(codes.u, u, 3 * groups, chromaRange);
    DequantiseCodes(codes.v, v, 3 * groups, chromaRange);
}

void PackGroups(const float* luma, const float* u, const float* v, std::uint8_t* destination, std::size_t groups,
                const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept {
    constexpr std::uint8_t no = 0x80; // leaves the byte 0
    // Which of the 16-bit codes (luma 0 to 5; U 0 to 2, V 4 to 6) stand lowest, in the middle and highest in each word.
    alignas(16) static constexpr std::uint8_t kLowLuma[16] = {no, no, no, no, 2, 3, no, no,
                                                              no, no, no, no, 8, 9, no, no};
    alignas(16) static constexpr std::uint8_t kLowChroma[16] = {0,  1,  no, no, no, no, no, no,
                                                                10, 11, no, no, no, no, no, no};
    alignas(16) static constexpr std::uint8_t kMidLuma[16] = {0, 1, no, no, no, no, no, no,
                                                              6, 7, no, no, no, no, no, no};
    alignas(16) static constexpr std::uint8_t kMidChroma[16] = {no, no, no, no, 2,  3,  no, no,
                                                                no, no, no, no, 12, 13, no, no};
    alignas(16) static constexpr std::uint8_t kHighLuma[16] = {no, no, no, no, 4,  5,  no, no,
                                                               no, no, no, no, 10, 11, no, no};
    alignas(16) static constexpr std::uint8_t kHighChroma[16] = {8, 9, no, no, no, no, no, no,
                                                                 4, 5, no, no, no, no, no, no};
    const hn::CappedTag<std::uint8_t, 16> dg;
    const hn::CappedTag<std::uint16_t, 8> dc;
    const hn::CappedTag<std::uint32_t, 4> dw;
    const hn::CappedTag<std::uint16_t, 4> dh;
    const auto lowLuma = hn::Load(dg, kLowLuma), lowChroma = hn::Load(dg, kLowChroma);
    const auto midLuma = hn::Load(dg, kMidLuma), midChroma = hn::Load(dg, kMidChroma);
    const auto highLuma = hn::Load(dg, kHighLuma), highChroma = hn::Load(dg, kHighChroma);
    GroupCodes codes;
    QuantiseCodes(luma, codes.luma, 6 * groups, lumaRange);
    QuantiseCodes(u, codes.u, 3 * groups, chromaRange);
    QuantiseCodes(v, codes.v, 3 * groups, chromaRange);
    for (std::size_t g = 0; g < groups; ++g) {
        const auto y = hn::BitCast(dg, hn::LoadU(dc, codes.luma + 6 * g));
        const auto c = hn::BitCast(dg, hn::Combine(dc, hn::LoadU(dh, codes.v + 3 * g), hn::LoadU(dh, codes.u + 3 * g)));
        const auto low = hn::Or(hn::TableLookupBytesOr0(y, lowLuma), hn::TableLookupBytesOr0(c, lowChroma));
        const auto mid = hn::Or(hn::TableLookupBytesOr0(y, midLuma), hn::TableLookupBytesOr0(c, midChroma));
        const auto high = hn::Or(hn::TableLookupBytesOr0(y, highLuma), hn::TableLookupBytesOr0(c, highChroma));
        const auto words = hn::Or(hn::BitCast(dw, low), hn::Or(hn::ShiftLeft<10>(hn::BitCast(dw, mid)),
                                                               hn::ShiftLeft<20>(hn::BitCast(dw, high))));
        hn::StoreU(hn::BitCast(dg, words), dg, destination + 16 * g);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
