#pragma once

/// Windows' regions: sets of pixels, held as rectangles. Edges are in pixels, right and bottom exclusive.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

/// What a region is; ERROR where there is none.
#define ERROR 0
#define NULLREGION 1    /* empty */
#define SIMPLEREGION 2  /* one rectangle */
#define COMPLEXREGION 3 /* more than one */

#define RGN_AND 1
#define RGN_OR 2
#define RGN_XOR 3
#define RGN_DIFF 4
#define RGN_COPY 5

#define ALTERNATE 1
#define WINDING 2

#if defined(__cplusplus)
extern "C" {
#endif

/// New regions. Null when memory is exhausted, or as said. DeleteObject takes them back. Edges may come in either
/// order.
WINDOWSAPI_API HRGN CreateRectRgn(int inLeft, int inTop, int inRight, int inBottom);

/// The ellipse that fills the rectangle, which, as on Windows, is a pixel narrower and lower than its edges say. Null
/// for a side above 524,288 pixels.
WINDOWSAPI_API HRGN CreateEllipticRgn(int inLeft, int inTop, int inRight, int inBottom);

/// The same rectangle with corners that are quarters of an ellipse of this size. Null for an ellipse of more than
/// 524,288 pixels either way.
WINDOWSAPI_API HRGN CreateRoundRectRgn(int inLeft, int inTop, int inRight, int inBottom, int inEllipseWidth,
                                       int inEllipseHeight);

/// The pixels whose top left corner lies inside the polygon or on a left or top edge: inside by the even-odd rule for
/// ALTERNATE, by the non-zero winding rule for WINDING. The polygon is closed and may cross itself. Null for less than
/// two points, another mode, and more than 16,777,216 rectangles.
WINDOWSAPI_API HRGN CreatePolygonRgn(const POINT* inPoints, int inCount, int inMode);

/// Stores a combination of two regions, of the first alone for RGN_COPY, in an existing region, which may be one of
/// them. What that is now, or ERROR.
WINDOWSAPI_API int CombineRgn(HRGN outCombined, HRGN inFirst, HRGN inSecond, int inMode);

/// Moves a region. What it is, or ERROR, and nothing moved, when an edge would leave 32 bits.
WINDOWSAPI_API int OffsetRgn(HRGN inRegion, int inX, int inY);

/// What a region is, or ERROR; writes its bounds, all 0 for an empty region.
WINDOWSAPI_API int GetRgnBox(HRGN inRegion, RECT* outBounds);

WINDOWSAPI_API BOOL PtInRegion(HRGN inRegion, int inX, int inY);

/// Whether both are regions and hold the same pixels.
WINDOWSAPI_API BOOL EqualRgn(HRGN inFirst, HRGN inSecond);

#if defined(__cplusplus)
}
#endif

#endif
