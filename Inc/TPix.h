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
