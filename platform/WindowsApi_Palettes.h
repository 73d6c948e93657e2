#pragma once

/// Windows' logical palettes.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

#define PC_RESERVED 0x01
#define PC_EXPLICIT 0x02
#define PC_NOCOLLAPSE 0x04

#define CLR_INVALID 0xFFFFFFFFu

typedef struct tagPALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags; /* PC_ bits, which are kept and have no effect */
} PALETTEENTRY;

/// palNumEntries entries follow the header; the declared one is the first.
typedef struct tagLOGPALETTE {
    WORD palVersion; /* 0x300 */
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

#if defined(__cplusplus)
static_assert(sizeof(PALETTEENTRY) == 4 && sizeof(LOGPALETTE) == 8);

extern "C" {
#endif

/// A palette with a copy of these entries. Null for null and when memory is exhausted. DeleteObject takes it back.
WINDOWSAPI_API HPALETTE CreatePalette(const LOGPALETTE* inPalette);

/// Copies at most inCount entries from index inStart on. How many were copied; with null for outEntries, how many the
/// palette has; 0 on failure.
WINDOWSAPI_API UINT GetPaletteEntries(HPALETTE inPalette, UINT inStart, UINT inCount, PALETTEENTRY* outEntries);

/// Replaces at most inCount entries from index inStart on; never makes the palette longer. How many were set.
WINDOWSAPI_API UINT SetPaletteEntries(HPALETTE inPalette, UINT inStart, UINT inCount, const PALETTEENTRY* inEntries);

/// The entry with the smallest sum of the squared differences of red, green and blue, the first of equals; 0 for a
/// palette without entries, CLR_INVALID for what is no palette. The highest byte of the colour is ignored.
WINDOWSAPI_API UINT GetNearestPaletteIndex(HPALETTE inPalette, COLORREF inColour);

/// The system palette's entries from index inStart on: Windows' 20 static colours, ten at either end of 256 entries,
/// and black between them. It is the same for every context, also where RC_PALETTE is not set and Windows would answer
/// 0. How many entries were copied; with null for outEntries 256; 0 for what is no context.
WINDOWSAPI_API UINT GetSystemPaletteEntries(HDC inContext, UINT inStart, UINT inCount, PALETTEENTRY* outEntries);

#if defined(__cplusplus)
}
#endif

#endif
