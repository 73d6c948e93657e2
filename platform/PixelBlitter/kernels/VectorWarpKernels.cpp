#include "VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/WarpTable-inl.h"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "WarpTable-inl.h"
