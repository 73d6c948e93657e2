#pragma once

/// Copies of 32-bit pixels (bytes blue, green, red, alpha) through masks. C and C++.
///
/// Nothing is clipped: rectangles must lie inside their pictures and masks must cover them. A source that the
/// destination overlaps is copied first; without memory for that nothing is copied. No state is shared: functions may
/// be called from any thread. None throws.

#include "TPix.h"
#include "VFExport.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Copies inHeight rows of inWidth pixels through a mask of one byte a pixel, whose rows begin at inMaskRow and follow
/// each other at decreasing addresses, inMaskStep apart. Mask byte m = 0 keeps the destination and 255 copies the
/// source. Else, with k = 255 - m, blue, green and red become s + floor((d - s) * k / 256), and alpha d + (255 - d) * s
/// * k / 65536: alpha grows the less the larger the mask's byte is. A width or height of 0 or less and null pointers
/// are nothing to do.
VF_API void CopyMask8(const void* inSource, void* ioDestination, int32_t inWidth, int32_t inHeight,
                      int32_t inSourceRowBytes, int32_t inDestinationRowBytes, int32_t inMaskStep,
                      const uint8_t* inMaskRow);

/// Bits of a copy's mode.
enum {
    kPixelCopy_Blend = 0x8000,      ///< mix with the weight in the lower bits
    kPixelCopy_WeightBits = 0x00FF, ///< 0: copy nothing; 255: copy
};

/// Copies a rectangle through a one-bit mask of its size: rows of (((width - 1) / 16) + 1) * 2 bytes, most significant
/// bit first, the last mask row for the first stored row. A pixel whose bit is clear is kept. With a weight a of 1 to
/// 254, source and destination bytes s and d give s * a / 255 + d * (255 - a) / 255, both terms rounded down.
/// Rectangles of different sizes, empty ones, ones that do not lie in the bounds of their records, and a null mask copy
/// nothing. The arguments are the records themselves, so what stands behind them is not asked whether it may be
/// written.
VF_API void CopyMaskTPix(const TPix* inSource, TPix* ioDestination, const RECT* inSourceRect,
                         const RECT* inDestinationRect, int32_t inMode, const void* inMaskBits);

#if defined(__cplusplus)
}
#endif
