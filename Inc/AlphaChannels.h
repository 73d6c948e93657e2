#pragma once

/// The alpha channel of flat pixel maps and separate 8-bit channels: moves between them, and the edges of mattes. C and
/// C++.
///
/// Pixels are 32-bit, bytes blue, green, red, alpha. A channel buffer has one byte a pixel and inWidth bytes a row,
/// without gaps, in the order of the picture's stored rows. Functions that take a TPixHand work on the picture that the
/// record shows: right - left by bottom - top pixels, from `pixels` on. Rows that the frame behind a record does not
/// have, as a field's record claims one, are left out, in the buffer too. They do nothing for null and disposed handles
/// and records without pixels; those that write pixels do nothing where the frame's may not be written. They may throw
/// what a frame's accessors throw. Elsewhere null pointers, and a width or height of 0 or less, are nothing to do; that
/// rows of inRowBytes lie in the caller's memory is for the caller to see to, and nothing is thrown.
///
/// No state is shared: functions may be called from any thread, on different pictures at once.

#include "TPix.h"
#include "VFExport.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Sets blue, green and red of every pixel to its alpha; or to 255 - alpha.
VF_API void AlphaToRGB(TPixHand ioPixels);
VF_API void AlphaToInverseRGB(TPixHand ioPixels);

/// Copies every pixel's alpha into a channel buffer.
VF_API void AlphaToGreyBuffer(TPixHand inPixels, uint8_t* outBuffer);

/// Copies a channel buffer into the pixels' alpha.
VF_API void GreyBufferToAlpha(TPixHand ioPixels, const uint8_t* inBuffer);

/// Every byte of a channel buffer that equals inValue becomes 31, every other 0.
VF_API void ReplaceChannel(uint8_t* ioBuffer, int32_t inWidth, int32_t inHeight, uint8_t inValue);

/// Smooths the fringe of a matte. Where a pixel of the mask and its four neighbours add up to 1 to 127, the pixel
/// becomes half of itself and half of the mean of its four neighbours, in halves of bytes that drop their remainder,
/// and its mask byte 255. All sums are those of the picture and the mask before the call; beyond an edge the nearest
/// row and column count. Two work buffers of (inRowBytes + 2) * 16 bytes are taken with KxNewPtr; without them nothing
/// happens. inRowBytes must hold a row.
VF_API void EdgeAliasChannel(void* ioPixels, int32_t inRowBytes, int32_t inWidth, int32_t inHeight, uint8_t* ioMask);

/// Paints the fringe of a matte. Where a pixel of the mask and its four neighbours (the pixel itself for one that is
/// missing at an edge) add up to 1 to 127, the whole 32-bit pixel becomes inColour and its mask byte 31; every other
/// mask byte becomes 0. outScratch, of inWidth * inHeight bytes, ends up as a copy of the mask. Pictures of less than 3
/// pixels in either direction are left alone.
VF_API void EdgePaintChannel(void* ioPixels, int32_t inRowBytes, int32_t inWidth, int32_t inHeight, uint32_t inColour,
                             uint8_t* ioMask, uint8_t* outScratch);

/// Each pixel's alpha becomes inA's byte where inSelector's is not 0, else inB's.
VF_API void EdgeReconstructAlphas(const uint8_t* inA, const uint8_t* inB, void* ioPixels, const uint8_t* inSelector,
                                  int32_t inWidth, int32_t inHeight, int32_t inRowBytes);

#if defined(__cplusplus)
}
#endif
