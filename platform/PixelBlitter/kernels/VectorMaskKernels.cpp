#include "VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/MaskTable-inl.h"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "MaskTable-inl.h"
