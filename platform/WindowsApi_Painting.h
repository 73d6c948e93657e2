#pragma once

/// Windows' brushes and stock objects, and fills of a memory context's bitmap.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

#define WHITE_BRUSH 0
#define LTGRAY_BRUSH 1
#define GRAY_BRUSH 2
#define DKGRAY_BRUSH 3
#define BLACK_BRUSH 4
#define NULL_BRUSH 5 /* paints nothing */
#define HOLLOW_BRUSH NULL_BRUSH
#define DEFAULT_PALETTE 15 /* the 20 static colours */

#if defined(__cplusplus)
extern "C" {
#endif

/// One of the objects above. It belongs to the system; deleting it does nothing. Null for other numbers, and when
/// memory is exhausted.
WINDOWSAPI_API HGDIOBJ GetStockObject(int inObject);

/// A brush of one colour. Null when memory is exhausted. DeleteObject takes it back.
WINDOWSAPI_API HBRUSH CreateSolidBrush(COLORREF inColour);

/// Fills a rectangle, a region, in pixels from the bitmap's top left corner, clipped to the bitmap and to the region
/// that is selected into the context. A pixel of 32 bits gets the colour and an unused byte of 0; one of 1 bit is set
/// by a colour that is nearer to white than to black, without dithering. An inverted rectangle is empty. Success is not
/// 0; the context must be a memory context.
WINDOWSAPI_API int FillRect(HDC inContext, const RECT* inRectangle, HBRUSH inBrush);
WINDOWSAPI_API BOOL FillRgn(HDC inContext, HRGN inRegion, HBRUSH inBrush);

#if defined(__cplusplus)
}
#endif

#endif
