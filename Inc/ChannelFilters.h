#pragma once

/// Operations on the separate bytes of 32-bit pixels (blue, green, red, alpha): a map of values and a convolution. C
/// and C++. No state is shared: functions may be called from any thread. None throws.

#include "VFExport.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Maps red, green and blue of every pixel through tables of 256 bytes; alpha is copied. Both pictures have rows of
/// inRowBytes; source and destination may be the same. Null pointers are nothing to do.
VF_API void bn_DoIndexMap(const void* inSource, void* outDestination, uint16_t inRowBytes, uint16_t inWidth,
                          uint16_t inHeight, const uint8_t* inRedMap, const uint8_t* inGreenMap,
                          const uint8_t* inBlueMap);

/// Numbers of a kernel.
enum {
    kConvolveKernel_Bias = 9,     ///< is added to the weighted sum
    kConvolveKernel_Divisor = 10, ///< divides it; 0 makes every byte 0
    kConvolveKernel_Numbers = 11,
};

/// Convolves all four bytes of every pixel with 3 x 3 weights, given row by row, the first row for the pixels one row
/// earlier in memory. Beyond an edge the nearest pixel counts. The result is (sum of weights times bytes + bias) * (1 /
/// divisor) in floats, the sum in the order of the kernel, truncated toward zero and clamped to 0..255: the reciprocal
/// is rounded to a float before it is multiplied with, so 61 * 100 / 61 gives 99. Both pictures have rows of
/// inRowBytes, and may be the same. Work buffers come from KxNewPtr; without memory, with rows too short for inWidth
/// pixels, a width or height of 0 or less, or null pointers nothing happens.
VF_API void DoConvolve(const void* inSource, void* outDestination, const int16_t* inKernel, int32_t inRowBytes,
                       int32_t inWidth, int32_t inHeight);

#if defined(__cplusplus)
}
#endif
