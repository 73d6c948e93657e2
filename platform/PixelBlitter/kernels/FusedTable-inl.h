// The fused kernels of one CPU target.
#if defined(PIXELBLITTER_FUSED_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_FUSED_TABLE_INL_H
#undef PIXELBLITTER_FUSED_TABLE_INL_H
#else
#define PIXELBLITTER_FUSED_TABLE_INL_H
#endif

#include "FusedHalving-inl.h"
#include "PairMatrix-inl.h"
#include "PlanePairs-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const FusedKernels kFusedKernels;
const FusedKernels kFusedKernels{
    .premultiply = PremultiplyBytes,
    .unpremultiply = UnpremultiplyBytes,
    .mixComponents = MixComponents,
    .pixelsToPairs = PixelsToPairs,
    .pixelsToLuma = PixelsToLuma,
    .sumsToChroma = SumsToChroma,
    .chromaOfPairs = ChromaOfPairs,
    .chromaOfPlanes = ChromaOfPlanes,
    .chromaToPixels = {ChromaToPixels<LumaLayout::Plane>, ChromaToPixels<LumaLayout::PairsBelow>,
                       ChromaToPixels<LumaLayout::PairsAbove>},
    .planesToPairs = PlanesToPairs,
    .centredPlanesToPairs = CentredPlanesToPairs,
    .mixPairs = MixPairs,
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
