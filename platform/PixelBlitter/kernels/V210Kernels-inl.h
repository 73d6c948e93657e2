// 10-bit 4:2:2 in groups to and from planes of floats.
#if defined(PIXELBLITTER_V210_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_V210_KERNELS_INL_H
#undef PIXELBLITTER_V210_KERNELS_INL_H
#else
#define PIXELBLITTER_V210_KERNELS_INL_H
#endif

#include "GroupCodes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

constexpr std::size_t kMaxGroups = kTilePixels / 6 + 4;

void UnpackGroups(const std::uint8_t* source, float* luma, float* u, float* v, std::size_t groups,
                  const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept {
    const SplitGroups split;
    const Dequantiser forLuma = lumaRange;
    const Dequantiser forChroma = chromaRange;
    alignas(64) std::uint16_t lumaCodes[kMaxGroups * 6 + 4 * kMaxLanes];
    alignas(64) std::uint16_t chromaCodes[kMaxGroups * 6 + 4 * kMaxLanes];
    ForGroups(source, groups, {}, [&](Bytes vector, std::size_t g) HWY_ATTR {
        hn::StoreU(split.Luma(vector), dw, lumaCodes + 6 * g);
        hn::StoreU(split.Chroma(vector), dw, chromaCodes + 6 * g);
    });
    const hn::Vec<DU> low = hn::Set(du, 0xFFFFU);
    for (std::size_t k = 0; k < 3 * groups; k += LaneCount()) {
        const auto y = hn::BitCast(du, hn::LoadU(dw, lumaCodes + 2 * k));
        const auto c = hn::BitCast(du, hn::LoadU(dw, chromaCodes + 2 * k));
        hn::StoreInterleaved2(Dequantise(ToMagic(y, low), forLuma), Dequantise(ToMagic(hn::ShiftRight<16>(y)), forLuma),
                              df, luma + 2 * k);
        hn::StoreU(Dequantise(ToMagic(c, low), forChroma), df, u + k);
        hn::StoreU(Dequantise(ToMagic(hn::ShiftRight<16>(c)), forChroma), df, v + k);
    }
}

void PackGroups(const float* luma, const float* u, const float* v, std::uint8_t* destination, std::size_t groups,
                const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept {
    const JoinGroups join;
    const Quantiser forLuma = lumaRange;
    const Quantiser forChroma = chromaRange;
    alignas(64) std::uint32_t codes[kMaxGroups * 6 + 2 * kMaxLanes];
    const hn::Vec<DU> mask = hn::Set(du, 0x3FFU);
    for (std::size_t k = 0; k < 3 * groups; k += LaneCount()) {
        VF even, odd;
        hn::LoadInterleaved2(df, luma + 2 * k, even, odd);
        const auto first =
            hn::OrAnd(hn::ShiftLeft<10>(Quantise(even, forLuma)), Quantise(hn::LoadU(df, u + k), forChroma), mask);
        const auto second =
            hn::OrAnd(hn::ShiftLeft<10>(Quantise(odd, forLuma)), Quantise(hn::LoadU(df, v + k), forChroma), mask);
        hn::StoreInterleaved2(first, second, du, codes + 2 * k);
    }
    RunSteps(JoinGroupsOp{codes, destination, join}, 0, groups, destination, 16, {});
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
