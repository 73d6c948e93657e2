// The mixing kernels of one CPU target.
#if defined(PIXELBLITTER_MIX_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_MIX_TABLE_INL_H
#undef PIXELBLITTER_MIX_TABLE_INL_H
#else
#define PIXELBLITTER_MIX_TABLE_INL_H
#endif

#include "MixKernels-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const MixKernels kMixKernels;
const MixKernels kMixKernels{
    // In the order of MixElement.
    .average = {MixRows<AverageBytes>, MixRows<AverageWords>, MixRows<AverageGroups>, MixRows<MixFloats>},
    .mix = {MixRows<MixBytes>, MixRows<MixWords>, MixRows<MixGroups>, MixRows<MixFloats>},
    .invertAlpha = {ReplaceAlpha<InvertBytes>, ReplaceAlpha<InvertWords>, nullptr, ReplaceAlpha<InvertFloats>},
    .setAlpha = {ReplaceAlpha<SetTo<4>>, ReplaceAlpha<SetTo<8>>, nullptr, ReplaceAlpha<SetTo<16>>},
    .multiplyByAlpha = {nullptr, MultiplyByAlpha<MultiplyWords>, nullptr, MultiplyByAlpha<MultiplyFloats>},
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
