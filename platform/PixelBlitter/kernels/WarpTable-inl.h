// The projecting kernels of one CPU target.
#if defined(PIXELBLITTER_WARP_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_WARP_TABLE_INL_H
#undef PIXELBLITTER_WARP_TABLE_INL_H
#else
#define PIXELBLITTER_WARP_TABLE_INL_H
#endif

#include "WarpKernels-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const WarpKernels kWarpKernels;
const WarpKernels kWarpKernels{
    .sampleRow = SampleRow,
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
