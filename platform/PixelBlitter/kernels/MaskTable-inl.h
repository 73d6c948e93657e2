// The masking kernels of one CPU target.
#if defined(PIXELBLITTER_MASK_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_MASK_TABLE_INL_H
#undef PIXELBLITTER_MASK_TABLE_INL_H
#else
#define PIXELBLITTER_MASK_TABLE_INL_H
#endif

#include "MaskKernels-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const MaskKernels kMaskKernels;
const MaskKernels kMaskKernels{
    // In the order of MaskUnit.
    .select = {SelectUnits<SelectPixels<4>>, SelectUnits<SelectPixels<8>>, SelectUnits<SelectPixels<16>>,
               SelectUnits<SelectPairs<false>>, SelectUnits<SelectPairs<true>>, SelectUnits<SelectGroups>},
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
