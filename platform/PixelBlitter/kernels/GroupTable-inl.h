// The kernels of 10-bit 4:2:2 of one CPU target.
#if defined(PIXELBLITTER_GROUP_TABLE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_TABLE_INL_H
#undef PIXELBLITTER_GROUP_TABLE_INL_H
#else
#define PIXELBLITTER_GROUP_TABLE_INL_H
#endif

#include "GroupFloats-inl.h"
#include "GroupPairs-inl.h"
#include "GroupPixels-inl.h"
#include "GroupPlanes-inl.h"

namespace PixelBlitter {
namespace HWY_NAMESPACE {

extern const GroupKernels kGroupKernels;
const GroupKernels kGroupKernels{
    .groupsToPixels = GroupsToPixels,
    .pixelsToGroups = PixelsToGroups,
    .groupsToPairs = GroupsToPairs,
    .pairsToGroups = PairsToGroups,
    .planesToGroups = PlanesToGroups,
    .groupsToFloats = GroupsToFloats,
    .floatsToGroups = FloatsToGroups,
};

} // namespace HWY_NAMESPACE
} // namespace PixelBlitter

#endif
