// The table of one CPU target.
#if defined(PIXELBLITTER_PIXEL_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PIXEL_TABLE_INL_H
#undef PIXELBLITTER_PIXEL_TABLE_INL_H
#else
#define PIXELBLITTER_PIXEL_TABLE_INL_H
#endif

#include "scale/HalvingKernels-inl.h"
#include "scale/PairHalving-inl.h"
#include "scale/SeparableKernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {

const PixelKernels* PixelTableOfTarget() {
    static constexpr PixelKernels table{
        .halveByBox = HalveByBox,
        .halveStraightByBox = HalveStraightByBox,
        .halvePairsByBox = HalvePairsByBox,
        .widen = Widen,
        .sumBytesToWords = SumBytesToWords,
        .sumBytesToBytes = SumToBytes<std::uint8_t>,
        .sumWordsToBytes = SumToBytes<std::int16_t>,
        .rowsAtOnce = kBlocks,
        .resampleToWords = ResampleToWords,
        .resampleToBytes = ResampleToBytes,
        .copy = CopyPixels,
        .hasAllBits = HasAllBits,
    };
    return &table;
}

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
