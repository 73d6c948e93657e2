// The table of one CPU target.
#if defined(PIXELBLITTER_KERNEL_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_KERNEL_TABLE_INL_H
#undef PIXELBLITTER_KERNEL_TABLE_INL_H
#else
#define PIXELBLITTER_KERNEL_TABLE_INL_H
#endif

#include "ByteKernels-inl.h"
#include "ColourKernels-inl.h"
#include "ComponentKernels-inl.h"
#include "DepthKernels-inl.h"
#include "FusedHalving-inl.h"
#include "PairKernels-inl.h"
#include "PlaneKernels-inl.h"
#include "PlanePairs-inl.h"
#include "TransferKernels-inl.h"
#include "V210Kernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {

const Kernels* TableOfTarget() {
    using enum Element;
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
        // Equal element types are a shuffle unless ranges differ, which they never do in the formats there are.
        .changeDepth = {{nullptr, ChangeDepth<Byte, Word>, ChangeDepth<Byte, Float>},
                        {ChangeDepth<Word, Byte>, nullptr, ChangeDepth<Word, Float>},
                        {ChangeDepth<Float, Byte>, ChangeDepth<Float, Word>, nullptr}},
        .streamCopy = StreamCopy,
        .copyAhead = CopyAhead,
        .finishStreaming = FinishStreaming,
        .fused = kFusedKernels,
    };
    return &table;
}

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
