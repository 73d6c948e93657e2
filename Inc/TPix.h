#pragma once

/// The host SDK's pixel map: the record that plug-ins read, the functions on it, its field views, and the table of
/// offscreen worlds. C and C++.
///
/// Every record that this library makes lies in a handle (HandleMemory.h), has a video frame behind it
/// (TPixHandleUtilities.h), and points straight into that frame's pixels. Rows are stored bottom-up: `pixels` is the
/// picture's bottom line, and line y from the top of a picture of height h lies at pixels + (h - 1 - y) * rowbytes.
/// A record belongs to one caller at a time; functions on different records may run at once.

#include "HandleMemory.h"
#include "VFExport.h"
#include "WindowsApi_Types.h"

#include <stddef.h>
#include <stdint.h>

/// The record, 288 bytes. Other modules read it: its layout is fixed.
typedef struct TPix {
    RECT bounds;          ///< the picture's edges, right and bottom exclusive
    int32_t rowbytes;     ///< from one stored row to the next, in bytes; doubled while a field is viewed
    int32_t bitsPerPixel; ///< 8 times the bytes of a pixel; 32 for the library's own records
    uint8_t* pixels;      ///< stored row 0 of the current view; null where the CPU has no access
    uint8_t* fieldsBase;  ///< stored row 0 of the whole picture while field views are prepared, else null
    uint8_t* field0Base;  ///< first stored row of field 0
    uint8_t* field1Base;  ///< first stored row of field 1
    int64_t fieldMode;    ///< 0: the whole picture is viewed; 1: field 0; 2: field 1
    KxHandle fieldsStack; ///< saved field states (TPixFieldsPrep), or null
    uint8_t reserved72[32];
    uint64_t pixelAspectRatio; ///< (numerator << 16) | denominator in the low 32 bits
    uint64_t reserved112;      ///< 0; the library never reads it
    uint8_t reserved120[168];
} TPix;

typedef TPix** TPixHand;

#if defined(__cplusplus)
static_assert(sizeof(TPix) == 288);
static_assert(offsetof(TPix, bounds) == 0 && offsetof(TPix, rowbytes) == 16 && offsetof(TPix, bitsPerPixel) == 20);
static_assert(offsetof(TPix, pixels) == 24 && offsetof(TPix, fieldsBase) == 32 && offsetof(TPix, field0Base) == 40);
static_assert(offsetof(TPix, field1Base) == 48 && offsetof(TPix, fieldMode) == 56 && offsetof(TPix, fieldsStack) == 64);
static_assert(offsetof(TPix, reserved72) == 72 && offsetof(TPix, pixelAspectRatio) == 104);
static_assert(offsetof(TPix, reserved112) == 112 && offsetof(TPix, reserved120) == 120);
#endif

#if defined(__cplusplus)
extern "C" {
#endif

/// Functions that take a handle accept null and one that was disposed of: they change nothing and answer 0, or what
/// stands with them. Statuses are 0 for success and -108 (kKxMemoryFull) when memory or a slot is exhausted. Where a
/// frame is behind the handle, nothing is written outside its block whatever the record says, nor into one that other
/// processes read. Functions that make or dispose of a record may throw what a frame throws.

/// Bytes of one stored row of a packed picture, by its depth in bits: 32: width * 4. 24, 16, 8, 4 and 1: the bytes that
/// the pixels fill, rounded up to a multiple of 4 of which the part below the rounding is kept to 16 bits, so 30000
/// pixels of 24 bits answer 24464. 0 for every other depth.
VF_API int32_t CalcRowBytes(int32_t inWidth, int32_t inDepth);

/// A record with a new frame of 32-bit BGRA pixels, square and progressive, of the rectangle's size; its content is
/// undefined. A null rectangle is reported. Null when there is no such frame. The caller ends it with tpixDispose.
VF_API TPixHand tpixNew(const RECT* inBounds);

/// Disposes of a record and gives back the frame that it lends; a null handle is reported. 0.
VF_API int16_t tpixDispose(TPixHand inHand);

/// One function, which does nothing: pixels stay where they are. 0.
VF_API int16_t tpixLockPixels(TPixHand inHand);
VF_API int16_t tpixUnlockPixels(TPixHand inHand);

/// The record's fields. tpixGetBounds gives an empty rectangle, and the others 0, for a null handle.
VF_API void tpixGetBounds(TPixHand inHand, RECT* outBounds);
VF_API int32_t tpixGetRowbytes(TPixHand inHand);
VF_API uint8_t* tpixGetPixels(TPixHand inHand);

/// The frame's pixel aspect ratio as (numerator << 16) | denominator, which is stored in the record as well. Parts
/// beyond 16 bits run into each other. 0 without a frame. A null handle is reported.
VF_API uint32_t tpixGetPixelAspectRatio(TPixHand inHand);

/// Which field the record views: its fieldMode.
VF_API int64_t GetPixFieldbase(TPixHand inHand);

/// For walks over rows from the picture's top line down: the top line's address, where the product with the row bytes
/// wraps as a signed 32-bit word; the line below a line; and the step from behind a line's last 32-bit pixel to the
/// first one of the line below.
VF_API uint8_t* tpixTopLine(uint8_t* inBase, int32_t inRowBytes, int32_t inHeight);
VF_API uint8_t* tpixNextLine(uint8_t* inLine, int32_t inRowBytes);

/// Blue, green and red of the 32-bit pixel at column x of line y, counted from the top, as 0x00RRGGBB. 0xFFFFFF outside
/// the picture and where there are no pixels.
VF_API uint32_t tpixGetPixel(TPixHand inHand, int32_t inX, int32_t inY);

/// Writes the alpha of every pixel of the view, taken as 32-bit pixels whose fourth byte it is.
VF_API void tpixFillAlpha(TPixHand inHand, uint8_t inAlpha);

/// Fill a rectangle of the view, all of it for null, with an opaque or with a wholly transparent colour; the rectangle
/// is cut to the bounds. The colour's bytes are converted to the frame's format from BGRA. For a frame of a YUV format
/// blue, green and red are taken as V, U and Y instead. 0, also where nothing is left to fill; otherwise what
/// PB_FillWithColor answers, and -1 where the pixels must not be written.
VF_API int32_t tpixFillRect(TPixHand inHand, const RECT* inRect, COLORREF inColour);
VF_API int32_t tpixFillRectTransparent(TPixHand inHand, const RECT* inRect, COLORREF inColour);

/// The rectangle outside which the frame's alpha is known to be 0, or the one that it has instead of knowing; empty
/// without a frame. A null handle is reported.
VF_API void tpixGetAlphaBounds(TPixHand inHand, RECT* outBounds);

/// Colours that the screen shows: the entries of its palette where it has one, else GetDeviceCaps' NUMCOLORS, -1 for
/// more than 8 bits. Depth: its colour planes where they are two or more, else bits of a pixel.
VF_API int32_t GetScreenColors(void);
VF_API int16_t GetScreenDepth(void);

/// Field views. A record that is prepared can be pointed at one field, whose rows it then shows as its own: `pixels` is
/// the field's first stored row and `rowbytes` is doubled. The bounds stay those of the whole picture; whoever works on
/// a field halves them.

/// Prepares the field views of the picture that is viewed. With flag 1 field 0 holds the picture's top line, with every
/// other flag the line below it. What was prepared before is saved and comes back with TPixFieldsCleanup; a field that
/// was viewed becomes the whole picture until then. Without memory for saving it nothing changes.
VF_API void TPixFieldsPrep(TPixHand inHand, uint8_t inFlag);

/// Views field 0 or 1; any other number changes nothing. The record; null for a null handle.
VF_API TPix* TPixFields_PointAtField(TPixHand inHand, int8_t inWhich);

/// Views the whole picture again.
VF_API void TPixFields_PointAtFull(TPixHand inHand);

/// Ends the last TPixFieldsPrep: views the whole picture and brings back what was saved.
VF_API void TPixFieldsCleanup(TPixHand inHand);

/// A new record as tpixNew's, of the same size and, where the source views a field, prepared and pointed at that field.
/// Pixels are not copied. Null when it cannot be made. The caller ends it with TPixFieldsCloneFree, which accepts null.
VF_API TPixHand TPixFieldsClone(TPixHand inHand);
VF_API void TPixFieldsCloneFree(TPixHand inHand);

/// The table of offscreen worlds, which are numbered from 1 to 200. Any thread may call these.

/// Enters a record under the lowest free number; with a flag other than 0 twDispose disposes of it. 0 when all numbers
/// are in use.
VF_API int16_t RegTWorldBits(TPixHand inHand, uint8_t inDisposeWithWorld);

/// Makes a world and stores its number in outId.
/// Kind 0: of the record *ioWhat, or, where ioWhat is null, of a new one as tpixNew's. The world owns it. -108 without
/// a record; 1, and the number 0, when all numbers are in use: the record stays the caller's then, a new one is
/// disposed of. Other kinds keep the pointer *ioWhat for the caller and have no record. -108 when all numbers are in
/// use.
VF_API int16_t twNew(int16_t* outId, const RECT* inBounds, void** ioWhat, int32_t inKind);

/// Frees a number, and disposes of the record that belongs to the world unless inKeep is not 0. Numbers that are not in
/// use are ignored.
VF_API void twDispose(int16_t inId, int32_t inKeep);

/// The record under a number; null where there is none.
VF_API TPixHand twGetTPix(int16_t inId);

#if defined(__cplusplus)
} // extern "C"

/// See tpixTopLine; it has C++ linkage.
VF_API int tpixCalcNextSkip(int inRowBytes, int inWidth);
#endif
