#pragma once

/// The CPU targets that tables are made for. Included before hwy/foreach_target.h.
///
/// SSE4 adds nothing to SSSE3 that these kernels use, and every target costs compile time. Vectors of a length unknown
/// to the compiler cannot be members, which some of the kernels want.
#define HWY_DISABLED_TARGETS (HWY_SSE4 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
