#pragma once

/// Windows' device contexts: the screen's, and memory contexts that draw into a bitmap.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

/// What GetDeviceCaps tells.
#define TECHNOLOGY 2  /* DT_RASDISPLAY */
#define HORZSIZE 4    /* width in millimetres */
#define VERTSIZE 6    /* height in millimetres */
#define HORZRES 8     /* width in pixels */
#define VERTRES 10    /* height in pixels */
#define BITSPIXEL 12  /* bits of a pixel in one plane */
#define PLANES 14     /* colour planes */
#define NUMCOLORS 24  /* entries of the device's colour table; -1 for more than 8 bits */
#define RASTERCAPS 38 /* RC_ bits */
#define LOGPIXELSX 88 /* pixels of a logical inch */
#define LOGPIXELSY 90
#define SIZEPALETTE 104 /* entries of the system palette, where RC_PALETTE is set */
#define NUMRESERVED 106 /* how many of them are static, where RC_PALETTE is set */
#define COLORRES 108    /* bits of colour resolution, where RC_PALETTE is set */

#define DT_RASDISPLAY 1
#define RC_BITMAP64 0x0008 /* bitmaps may be larger than 64 KiB */
#define RC_PALETTE 0x0100  /* the colours are a palette that programs can set */

#if defined(__cplusplus)
extern "C" {
#endif

/// The context of a window (WindowsApi_Windows.h) or, for null, of the screen, on which nothing can be drawn. That one
/// needs no display: without one, GetDeviceCaps describes a screen of 1024 x 768 pixels of 32-bit true colour at 96
/// dots per inch. Null for every other handle. ReleaseDC takes it back, also after the window has gone.
WINDOWSAPI_API HDC GetDC(HWND inWindow);

/// 1 when the context was one of GetDC and is released, else 0. The window is not looked at.
WINDOWSAPI_API int ReleaseDC(HWND inWindow, HDC inContext);

/// A property of the context's device; 0 for an index that is not listed above. The screen's come from the X server
/// that DISPLAY names, and are looked up once in the life of a context. A memory context has its bitmap's depth.
WINDOWSAPI_API int GetDeviceCaps(HDC inContext, int inIndex);

/// A context that draws into the bitmap that is selected into it, at first a monochrome one of one pixel, which nothing
/// changes. The argument is null, for the screen, or any context. Null when it is neither or memory is exhausted.
/// DeleteDC takes it back.
WINDOWSAPI_API HDC CreateCompatibleDC(HDC inContext);

/// Deletes a context of CreateCompatibleDC, whose bitmap is free then. FALSE for every other handle.
WINDOWSAPI_API BOOL DeleteDC(HDC inContext);

/// Makes an object the context's current one of its kind; a region becomes the one that fills are clipped to. The
/// object that it replaces, or for a region what that is. Null when there is no such object or context, for palettes,
/// for a bitmap and a context of the screen, and for a bitmap that another context has.
WINDOWSAPI_API HGDIOBJ SelectObject(HDC inContext, HGDIOBJ inObject);

/// Deletes a palette, bitmap, brush or region; its handle is good for nothing from now on, while a context that has it
/// selected goes on drawing. TRUE without an effect for stock objects, FALSE for contexts and other handles.
WINDOWSAPI_API BOOL DeleteObject(HGDIOBJ inObject);

#if defined(__cplusplus)
}
#endif

#endif
