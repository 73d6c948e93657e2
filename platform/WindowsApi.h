#pragma once

/// Windows' functions for memory, device contexts, palettes, bitmaps, regions and fills, under their own names and as
/// Windows documents them, for the library's flat pixmap functions and the programs written against those. One header
/// per area; C and C++. On Windows these are the system's own.
///
/// Functions may be called from any thread. An object belongs to one caller at a time. A handle that is null, was freed
/// or deleted, or is one of another kind is answered with the function's failure; none is handed out twice. Nothing
/// throws.

#include "WindowsApi_Bitmaps.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_DrawDib.h"
#include "WindowsApi_Memory.h"
#include "WindowsApi_Painting.h"
#include "WindowsApi_Palettes.h"
#include "WindowsApi_Regions.h"
#include "WindowsApi_Resources.h"
#include "WindowsApi_Types.h"
#include "WindowsApi_Windows.h"
