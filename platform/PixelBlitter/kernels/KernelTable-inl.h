// The table of one CPU target, with the tables that are compiled on their own.
#if defined(PIXELBLITTER_KERNEL_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_KERNEL_TABLE_INL_H
#undef PIXELBLITTER_KERNEL_TABLE_INL_H
#else
#define PIXELBLITTER_KERNEL_TABLE_INL_H
#endif

#include "ByteKernels-inl.h"
#include "ColourKernels-inl.h"
#include "ComponentKernels-inl.h"
#include "PairKernels-inl.h"
#include "PlaneKernels-inl.h"
#include "V210Kernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {

// Tables that are compiled on their own.
extern const FusedKernels kFusedKernels;
extern const DepthKernels kDepthKernels;
extern const GroupKernels kGroupKernels;
extern const MixKernels kMixKernels;
extern const MaskKernels kMaskKernels;
extern const WarpKernels kWarpKernels;

const Kernels* TableOfTarget() {
    static constexpr Kernels table{
        .unpackBytes = UnpackBytes,
        .unpackWords = UnpackWords,
        .unpackFloats = UnpackFloats,
        .unpackPairs = UnpackPairs,
        .unpackGroups = UnpackGroups,
        .unpackPlane = UnpackPlane,
        .unpackMixedPlanes = UnpackMixedPlanes,
        .packBytes = PackBytes,
        .packWords = PackWords,
        .packFloats = PackFloats,
        .packPairs = PackPairs,
        .packGroups = PackGroups,
        .packPlane = PackPlane,
        .packMixedRows = PackMixedRows,
        .applyMatrix = ApplyMatrix,
        .toLinear = ToLinear,
        .fromLinear = FromLinear,
        .premultiply = Premultiply,
        .unpremultiply = Unpremultiply,
        .setToOne = SetToOne,
        .clampToUnit = ClampToUnit,
        .widenChroma = WidenChroma,
        .narrowChroma = NarrowChroma,
        .splitLuma = SplitLuma,
        .mixPairChroma = MixPairChroma,
        .shuffle = Shuffle,
        .streamCopy = StreamCopy,
        .copyAhead = CopyAhead,
        .finishStreaming = FinishStreaming,
        .fused = kFusedKernels,
        .depth = kDepthKernels,
        .groups = kGroupKernels,
        .mix = kMixKernels,
        .masks = kMaskKernels,
        .warp = kWarpKernels,
    };
    return &table;
}

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
