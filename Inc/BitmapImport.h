#pragma once

/// Bitmap resources of modules as pixel maps. C and C++.

#include "TPix.h"
#include "WindowsApi_Resources.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// A new record of the bitmap resource (RT_BITMAP) of a number, 32 bits a pixel with alpha 255; tpixDispose takes it
/// back. Bitmaps of 4, 8 (plain or BI_RLE8) and 24 bits are converted, whichever version their header has; of other
/// depths only the size is taken, and the pixels are what tpixNew leaves. BI_RLE4 is read as if it were plain. With a
/// size of another width or height the picture is scaled, and the record's bounds begin at (0, 0) whatever the size's
/// origin is; the picture is put where the size says.
///
/// Null when there is no such resource, when it is no bitmap, when its width or height cut to 16 bits is negative, or
/// when memory is exhausted. A resource is not trusted: rows that are not there whole are opaque black,
/// and so are colours beyond the end of its table; what run-length data leave out has the first colour. May be called
/// from any thread.
VF_API TPixHand Bmp2TPix(unsigned short inResourceId, HMODULE inModule, const RECT* inSize);

#if defined(__cplusplus)
}
#endif
