#pragma once

/// Windows' basic types under their own names and with their own widths: LONG and the members of RECT are 32-bit
/// wherever the library is built, also where long has 64 bits. C and C++. On Windows these are the system's own.

#if defined(_WIN32)
#include <windows.h>
#else

#include "SymbolVisibility.h"

#include <stddef.h>
#include <stdint.h>

#if defined(WindowsApi_EXPORTS)
#define WINDOWSAPI_API VF_SYMBOL_EXPORT
#else
#define WINDOWSAPI_API VF_SYMBOL_IMPORT
#endif

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t UINT;
typedef int32_t BOOL;
typedef size_t SIZE_T;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef uint32_t COLORREF; /* 0x00BBGGRR */

#define FALSE 0
#define TRUE 1

#define RGB(r, g, b) ((COLORREF)((BYTE)(r) | ((WORD)(BYTE)(g) << 8) | ((DWORD)(BYTE)(b) << 16)))

/// Edges in pixels; right and bottom are exclusive.
typedef struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
} RECT;

typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT;

typedef struct tagRGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
} RGBQUAD;

#define BI_RGB 0
#define BI_RLE8 1

/// The header of a device-independent bitmap; a positive height stores the bottom row first.
typedef struct tagBITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
} BITMAPINFOHEADER;

/// Handles to graphics objects and memory: opaque pointers, each a type of its own.
typedef struct HDC__* HDC;
typedef struct HWND__* HWND;
typedef struct HRGN__* HRGN;
typedef struct HBITMAP__* HBITMAP;
typedef struct HBRUSH__* HBRUSH;
typedef struct HPALETTE__* HPALETTE;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef void* HANDLE;
typedef void* HGDIOBJ;
typedef HANDLE HGLOBAL;
typedef HANDLE HLOCAL;

#if defined(__cplusplus)
static_assert(sizeof(RECT) == 16 && sizeof(POINT) == 8 && sizeof(RGBQUAD) == 4 && sizeof(BITMAPINFOHEADER) == 40);
#endif

#endif
