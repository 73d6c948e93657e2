#pragma once

/// Conversions between the packed depths of flat pixel maps, and a plain copy. C and C++.
///
/// Pixels of 24 and 32 bits are bytes in the order blue, green, red(, alpha), as in Windows' device-independent
/// bitmaps; pixels of 16 bits are little-endian words 0RRRRRGGGGGBBBBB. Every function walks inHeight rows of inWidth
/// pixels in memory order, advancing each pointer by its own row bytes, which may be negative. A width or height of 0
/// or less and null pointers are nothing to do. Row bytes are taken as they are: that each row lies in the caller's
/// memory is for the caller to see to.
///
/// Source and destination may be the same picture where rows begin at the same addresses and a destination pixel has no
/// more bytes than a source pixel; other overlaps give no defined pixels. Functions keep no state and may be called
/// from any thread. None throws.

#include "VFExport.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Copy pictures of 32-bit pixels, through PB_ScaleConvert between equal sizes. The first answers 0, Copy32 the
/// converter's status. KxCopy32 is another name of _KxCopy32.
VF_API int32_t _KxCopy32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                         int32_t inSourceRowBytes, int32_t inDestinationRowBytes);
VF_API int32_t KxCopy32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                        int32_t inSourceRowBytes, int32_t inDestinationRowBytes);
VF_API int32_t Copy32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                      int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// 32 to 16 bits: the upper five bits of each colour; alpha is dropped.
VF_API void DepthCon32To16(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                           int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// 32 to 24 bits: alpha is dropped. 0.
VF_API int32_t _KxDepthCon32To24(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                                 int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// The same through the current base suite, which VF::Initialize sets; without one nothing is done, and 0.
VF_API int32_t DepthCon32To24(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                              int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// 8-bit indexes to 32 bits: the palette's entry as it is stored. Of the palette only entries up to the largest index
/// that occurs are read.
VF_API void DepthCon8To32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                          int32_t inSourceRowBytes, int32_t inDestinationRowBytes, const uint32_t* inPalette);

/// 16 to 32 bits: five bits become the upper five of a byte whose other bits are 0; the word's top bit is ignored;
/// alpha is 255.
VF_API void DepthCon16To32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                           int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// 24 to 32 bits with alpha 255. 0.
VF_API int32_t _KxDepthCon24To32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                                 int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// The same through the current base suite, as DepthCon32To24.
VF_API int32_t DepthCon24To32(const void* inSource, void* outDestination, int32_t inWidth, int32_t inHeight,
                              int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

/// 32-bit BGRA to 32-bit ARGB, with alpha in byte 0, through PB_Convert, whose status is the result. Mind the order of
/// arguments, and that the rows change theirs: outDestination is the row that receives the first source row, and the
/// following ones are written at decreasing addresses, inDestinationRowBytes apart.
VF_API int32_t Con32ToQ32(const void* inSource, void* outDestination, int32_t inSourceRowBytes,
                          int32_t inDestinationRowBytes, int32_t inWidth, int32_t inHeight);

/// Sets blue, green and red of every 32-bit pixel of a buffer to its alpha, which is kept.
VF_API void A_AlphaToRGB(void* ioPixels, int32_t inWidth, int32_t inHeight, int32_t inRowBytes);

#if defined(__cplusplus)
}
#endif
