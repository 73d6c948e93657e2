#pragma once

/// Windows' bitmaps, of 1 or 32 bits for a pixel. Rows go from the top down and have an even number of bytes. A pixel
/// of 1 bit is set for white, the leftmost one is the highest bit of its byte; one of 32 bits holds blue, green, red
/// and an unused byte.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

typedef struct tagBITMAP {
    LONG bmType; /* 0 */
    LONG bmWidth;
    LONG bmHeight;
    LONG bmWidthBytes; /* of one row */
    WORD bmPlanes;
    WORD bmBitsPixel;
    LPVOID bmBits; /* null: GetBitmapBits copies them */
} BITMAP;

#if defined(__cplusplus)
static_assert(sizeof(BITMAP) == 32);

extern "C" {
#endif

/// A bitmap with a copy of these rows; black for null. Sizes may be negative, and are taken without their sign; a size
/// of 0 gives the stock bitmap of one monochrome pixel. Null for more than one plane, for other depths, and when memory
/// is exhausted. DeleteObject takes it back.
WINDOWSAPI_API HBITMAP CreateBitmap(int inWidth, int inHeight, UINT inPlanes, UINT inBitsPerPixel, const void* inBits);

/// Copies the first inSize bytes of the rows, fewer when there are fewer. How many were copied; with null for outBits
/// the bytes of all rows; 0 for what is no bitmap.
WINDOWSAPI_API LONG GetBitmapBits(HBITMAP inBitmap, LONG inSize, LPVOID outBits);

/// Replaces the first inSize bytes of the rows. How many were replaced.
WINDOWSAPI_API LONG SetBitmapBits(HBITMAP inBitmap, DWORD inSize, const void* inBits);

/// Describes a bitmap by a BITMAP, a palette by its number of entries as a WORD. The bytes written, or with null for
/// outDescription the bytes there are; 0 for other objects and where there is not room for all.
WINDOWSAPI_API int GetObject(HGDIOBJ inObject, int inSize, LPVOID outDescription);

#if defined(__cplusplus)
}
#endif

#endif
