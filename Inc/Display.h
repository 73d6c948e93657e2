#pragma once

/// Pixel maps (TPix.h) on the screen. C and C++.
///
/// Pictures are drawn into a window, or into a memory context with a bitmap of 32 bits, as DrawDibDraw does
/// (WindowsApi_DrawDib.h): clipped, and stretched where the rectangles' sizes differ. Rectangles are in picture
/// coordinates, line 0 at the top, and in the context's; right and bottom are exclusive. Handles that are null or were
/// disposed of, null rectangles, and pixels outside the block behind the frame draw nothing. No state is shared.

#include "TPix.h"
#include "VFExport.h"
#include "WindowsApi_Types.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Shows a rectangle of a picture in one of a context, destination first. 1 for a null context, else 0, drawn or not.
VF_API int32_t tpixToScreen(TPixHand inHand, HDC inContext, const RECT* inDestination, const RECT* inSource);

/// The same, source first. Sources of more than 800 columns or 600 rows are scaled (bicubic) into a temporary pixel map
/// first, when the sizes differ; others, and all when there is no memory for that, are stretched as they are drawn.
/// What lies beside the picture is black where the source is scaled first; else nothing is drawn. 0 without a picture,
/// else as ExecDrawDib. May throw what the frame throws.
VF_API int32_t DoDrawDib(TPixHand inHand, HDC inContext, const RECT* inSource, const RECT* inDestination);

/// Draws the record itself, taken as a bitmap of 32 bits that is rowbytes / 4 pixels wide and bounds.bottom high; of a
/// view of one field it is twice as wide and has both fields side by side. What is behind the record is not asked: the
/// rows of the source must be there. 0 when there is no memory to draw with, else 1, drawn or not.
VF_API int32_t ExecDrawDib(const TPix* inRecord, HDC inContext, const RECT* inSource, const RECT* inDestination);

#if defined(__cplusplus)
}
#endif
