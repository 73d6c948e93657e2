#include "VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/FusedTable-inl.h"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "FusedTable-inl.h"
