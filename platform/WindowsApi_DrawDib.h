#pragma once

/// Video for Windows' drawing of bitmaps.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

typedef HANDLE HDRAWDIB;

#if defined(__cplusplus)
extern "C" {
#endif

/// A handle to draw with. Null when memory is exhausted. DrawDibClose takes it back.
WINDOWSAPI_API HDRAWDIB DrawDibOpen(void);
WINDOWSAPI_API BOOL DrawDibClose(HDRAWDIB inDrawDib);

/// Draws a rectangle of a bitmap into one of a window, or of a memory context with a bitmap of 32 bits, clipped to it
/// and to the context's clip region. When it returns the pixels are there. Other sizes are stretched: shrunk by area,
/// enlarged bilinearly. The bitmap has 32 bits for a pixel, the fourth byte of which is not looked at, is uncompressed,
/// and stores its bottom row first (a positive height); its rows follow each other without gaps, whatever biSizeImage
/// says. The source's y counts from the top row. A destination size of -1 is the source's, a source size of -1 the
/// bitmap's. FALSE, and nothing drawn, for other bitmaps and flags other than 0, for sizes below 1, for a source that
/// is not within the bitmap, for an enlarged destination that is not within 2^24 pixels of what is shown of it, for
/// other contexts, for a window that is closed, and when memory is exhausted.
WINDOWSAPI_API BOOL DrawDibDraw(HDRAWDIB inDrawDib, HDC inContext, int inX, int inY, int inWidth, int inHeight,
                                BITMAPINFOHEADER* inHeader, LPVOID inPixels, int inSourceX, int inSourceY,
                                int inSourceWidth, int inSourceHeight, UINT inFlags);

#if defined(__cplusplus)
}
#endif

#endif
