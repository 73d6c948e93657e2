#pragma once

/// Video frames lent to effect plug-ins as worlds: the record that describes one, and the frame behind a world's
/// pixels. The record compiles as C.
///
/// A world is known by the address of its first line, EW_LayerDef::data. The library keeps the frame behind it alive
/// until the world is disposed of; worlds that were not are counted in the trace, category "TPix", at the last
/// VF::Shutdown and released. Two worlds that begin at the same address are one to the library: the later one's frame
/// is kept, and disposing of either forgets both.

#include "WindowsApi_Types.h"

#include <stddef.h>
#include <stdint.h>

/// A pixel in the format of its world.
typedef struct EW_Pixel EW_Pixel;

/// The effect SDK's record: its layout is fixed. The library writes the fields that have a comment, and leaves the
/// others to the SDK.
typedef struct EW_LayerDef {
    uint64_t reserved0; ///< 0
    uint64_t reserved8; ///< 0
    int32_t worldFlags; ///< 1 when components have 16 bits, else 0
    uint8_t sdk20[4];
    EW_Pixel* data;   ///< the world's first line
    int32_t rowbytes; ///< from one line of the world to the next, in bytes; negative where the top line is first
    int32_t width;    ///< in pixels
    int32_t height;   ///< lines of the world
    RECT frameRect;   ///< the frame's bounds; of a field's world the bottom is halved
    uint8_t sdk60[4];
    uint64_t reserved64; ///< 0
    uint8_t sdk72[16];
    uint32_t aspectNumerator; ///< pixel aspect ratio
    uint32_t aspectDenominator;
    uint8_t sdk96[16];
    uint32_t pixelFormat; ///< the host SDK's format code; of worlds over existing frames only
    uint32_t reserved116; ///< 0
} EW_LayerDef;

typedef EW_LayerDef EW_World;

#if defined(__cplusplus)

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "VideoFrameInterfaces.h"
#include "zynmediatypes.h"

static_assert(sizeof(EW_LayerDef) == 120 && offsetof(EW_LayerDef, reserved8) == 8);
static_assert(offsetof(EW_LayerDef, worldFlags) == 16 && offsetof(EW_LayerDef, data) == 24);
static_assert(offsetof(EW_LayerDef, rowbytes) == 32 && offsetof(EW_LayerDef, width) == 36);
static_assert(offsetof(EW_LayerDef, height) == 40 && offsetof(EW_LayerDef, frameRect) == 44);
static_assert(offsetof(EW_LayerDef, reserved64) == 64 && offsetof(EW_LayerDef, aspectNumerator) == 88);
static_assert(offsetof(EW_LayerDef, aspectDenominator) == 92 && offsetof(EW_LayerDef, pixelFormat) == 112);
static_assert(offsetof(EW_LayerDef, reserved116) == 116);

/// All functions may be called from any thread. The record is the caller's.
namespace VF {

/// Lends a frame as a world that runs from the picture's top line down: rowbytes is negative.
///
/// With inAsField it shows one field. The frame's own field type says which rows that are, or, when it is progressive
/// or not set, inFieldType: the lower field for kFieldType_LowerFirst and inWhichField 0, and for
/// kFieldType_UpperFirst and inWhichField 1; everything else is the upper field, which holds the picture's top line
/// and, in pictures of odd height, the one line more. A world of no lines, as the lower field of a one-line picture,
/// has an address that must not be touched.
///
/// A frame without memory access or rows, or an empty reference, is reported and throws BRT::NullInterfaceException;
/// the fields up to worldFlags may be written then. Throws std::bad_alloc when memory is exhausted. Nothing is lent in
/// both cases.
VF_API void NewEW_WorldFromExistingVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame, EW_LayerDef& outWorld,
                                              bool inAsField, zynmediatypes::FieldType inFieldType, int inWhichField);

/// Makes a frame, its pixels undefined, and lends it as a world that runs from the picture's bottom line up, as the
/// frame is stored: rowbytes is positive. pixelFormat is left alone. The world's disposal frees the frame.
///
/// False, with the record untouched and nothing kept, when the frame cannot be made, when memory is exhausted, and,
/// after a report, for formats that have no rows.
VF_API bool NewEW_WorldWithNewVideoFrame(unsigned int inWidth, unsigned int inHeight,
                                         zynmediatypes::PixelFormat inPixelFormat,
                                         const zynmediatypes::PixelAspectRatio& inPixelAspectRatio,
                                         EW_LayerDef& outWorld);

/// Forgets the world that begins at inData and releases its frame; an unknown address is ignored. The record is not
/// touched, its data points nowhere from here on. Null is reported.
VF_API void DisposeEW_WorldFromVideoFrame(EW_Pixel* inData);

/// The pixel format of the frame behind a world, and true; inDefault and false for an unknown address, and, after a
/// report, for null.
VF_API bool GetEWWorldVideoFramePixelType(EW_Pixel* inData, zynmediatypes::PixelFormat inDefault,
                                          zynmediatypes::PixelFormat& outPixelFormat);

/// The same, kPixelFormat_BGRA_4444_8u without a frame.
VF_API zynmediatypes::PixelFormat GetEWWorldVideoFramePixelType(EW_Pixel* inData);

/// The memory of the frame behind a world; empty for an unknown address, which counts as lent from then on, and in the
/// report at the last Shutdown.
VF_API BRT::InterfaceRef<IVideoFrameMemoryAccess> GetEWWorldFrameMapping(EW_Pixel* inData);

} // namespace VF

#endif
