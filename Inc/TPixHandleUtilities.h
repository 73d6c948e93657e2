#pragma once

/// Video frames lent to host plug-ins as pixel maps (TPix.h): handles around frames, and the frame behind a handle.
///
/// A handle's record points straight into the pixels of its frame (or raw block), which the library keeps alive until
/// the handle is disposed of. Handles that were never given back are named in the trace, category "TPix", at the last
/// VF::Shutdown; their frames are released then and their records point nowhere.
///
/// All functions may be called from any thread. The record belongs to one caller at a time; other threads may find its
/// frame by the handle from the moment that the creating function returns it.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "TPix.h"
#include "VFExport.h"
#include "VideoFrameInterfaces.h"
#include "zynmediatypes.h"

#include <cstdint>

namespace VF {

// Creation. The handle belongs to the caller, who gives it back with DisposeTPixFromVideoFrame. Null when memory is
// exhausted: then nothing was lent and nothing is kept. Exceptions of a frame's accessors pass through, and keep
// nothing either.

/// Lends a frame. Without inAsField the record shows the whole picture.
///
/// With inAsField it shows one field: inWhichField 0 is field 0, everything else field 1 (only 1 counts as field 1 for
/// kFieldType_UpperFirst). inFieldType says how the rows are meant, whatever the frame's own field type is: with
/// kFieldType_LowerFirst field 0 starts at stored row 0, with every other value at stored row 1. The field that starts
/// at row 0 has one line more in pictures of odd height. field0Base and field1Base go by inFieldType alone: with
/// kFieldType_LowerFirst row 0 and row 1, else row 1 and row 0.
///
/// pixelAspectRatio holds the ratio in thousandths, cut to a whole number, over 1000. A frame without memory access,
/// as one on a device, gives null pixels with the device's row bytes and depth; a frame without rows gives row bytes
/// and depth 0. An empty reference is reported and throws BRT::NullInterfaceException.
VF_API TPixHand NewTPixFromVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame, bool inAsField,
                                      zynmediatypes::FieldType inFieldType, int inWhichField);

/// Lends the whole picture of a frame.
VF_API TPixHand NewTPixFromVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame);

/// Makes a frame of a rectangle's width and height, its pixels undefined, and lends it. inA, inB and inC are alignment,
/// block size and prefix as CreateDiskAlignedVideoFrame takes them; 0 turns each off.
///
/// The frame's field type becomes the record's fieldMode: 0; with inAsField 1 for inWhichField 0 and 2 for others. With
/// inAsField the record shows h / 2 lines for inWhichField 0, from the stored row where the new frame, whose field type
/// was not set yet, has its field 1; and h - h / 2 lines from that of field 0 for others. In pictures of odd height
/// that is stored row 1, so the last of these lines lies behind the picture: it must not be touched.
///
/// pixelAspectRatio holds numerator and denominator as they are. A null rectangle is reported and gives null; an
/// inverted one, or one that is too large for memory, gives null.
VF_API TPixHand NewTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, bool inAsField,
                                      int inWhichField, const zynmediatypes::PixelAspectRatio& inPixelAspectRatio,
                                      int inA, int inB, int inC);

/// Lends a fresh block of inSize bytes whose address is a multiple of inAlignment (a power of two, or 0 for any). The
/// record has pixels, and bounds, row bytes and depth 0. A size of 0 is reported and makes a block without bytes that
/// may be used. Null also for other alignments.
VF_API TPixHand NewTPixWithRawFrame(std::uint64_t inSize, std::uint64_t inAlignment);

/// Lends what offers memory access: a raw block as NewTPixWithRawFrame does, a frame as NewTPixFromVideoFrame does.
/// Null for an empty reference and for everything else.
VF_API TPixHand NewTPixFromVideoMemoryAccess(BRT::InterfaceRef<IVideoFrameMemoryAccess> inMemoryAccess);

/// Makes a frame of inCustomArg bytes in a format that only the caller understands (CreateCustomVideoFrame) and lends
/// it. A null rectangle is reported and gives null, an inverted one null. A byte count for which no frame can exist
/// throws BRT::NullInterfaceException after a report.
VF_API TPixHand NewCustomTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, int inCustomArg,
                                            const zynmediatypes::PixelAspectRatio& inPixelAspectRatio);

/// Takes a handle back: frees the record and releases the frame. Null is reported; a handle that was disposed of
/// already, or a pointer that is no handle, is left alone. Saved field states (TPixFieldsPrep) are the caller's to
/// clean up first.
VF_API void DisposeTPixFromVideoFrame(TPixHand inTPixHand);

// Questions about the frame behind a handle. Null is reported and answered like a handle with no frame. The handle is
// not followed, so any value may be asked about. A handle that the library does not know counts as lent from then on,
// and in the report at the last Shutdown, except where a question says otherwise. A raw block is no frame.

/// Whether the frame, or the raw block, is read-only; true without either.
VF_API bool GetUnderlyingVideoFrameReadOnly(TPixHand inTPixHand);

/// The render time; 0 without a frame.
VF_API unsigned int GetUnderlyingVideoFrameRenderTime(TPixHand inTPixHand);

/// The pixel aspect ratio; 0 and 0 without a frame. A null output is reported, and nothing is written then.
VF_API void GetUnderlyingVideoFrameAspectRatio(TPixHand inTPixHand, unsigned int* outAspectNum,
                                               unsigned int* outAspectDen);

/// The pixel format; kPixelFormat_BGRA_4444_8u without a frame. An unknown handle stays unknown.
VF_API zynmediatypes::PixelFormat GetUnderlyingVideoFramePixelFormat(TPixHand inTPixHand);

/// The field type; kFieldType_NotSet without a frame. An unknown handle stays unknown.
VF_API zynmediatypes::FieldType GetUnderlyingVideoFrameFieldType(TPixHand inTPixHand);

/// A reference on the frame; empty without one.
VF_API BRT::InterfaceRef<RK::IVideoFrame> GetVideoFrameFromTPix(TPixHand inTPixHand);

/// A reference on what is behind the handle, frame or raw block; empty without either.
VF_API BRT::InterfaceRef<BRT::BRTUnknown> GetTPixHandFrameMapping(TPixHand inTPixHand);

} // namespace VF
