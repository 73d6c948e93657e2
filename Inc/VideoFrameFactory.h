#pragma once

/// Creation of frames that the CPU can address. All functions may be called from any thread.
///
/// Frames on broker blocks are not inherited by a fork: the child may release them and nothing else.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "zynmediatypes.h"

#include <cstdint>

namespace VF {

/// Makes a frame whose pixels can be read from a file straight into place.
///
/// inAlignment: alignment in bytes, a power of two, of the address at which a read of pixel data begins. inBlockSize:
/// unit of such a read in bytes, to a multiple of which the block's size is rounded, and the alignment when inAlignment
/// is 0. inPrefixBytes: bytes that the read delivers ahead of the first pixel. 0 or less turns a value off. GetData
/// minus inPrefixBytes is then aligned, and a read of whole units from there stays inside the block.
///
/// inClear fills the frame, with transparent black when inClearTransparent is set and the format has alpha, else with
/// opaque black; without it the pixels are undefined. With the publishable switch set the frame lives on a broker block
/// and can be published, else, or when the broker has no block, in recycled memory.
///
/// Returns 0, also when no frame could be made: test outFrame, which is emptied first. kResult_MemoryExhausted when
/// memory ran out. A width or height of 0 is reported and makes a frame without pixels; a side above 2^31 - 1 makes
/// none.
VF_API std::int32_t CreateDiskAlignedVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                                zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                                std::uint32_t inHeight,
                                                const zynmediatypes::PixelAspectRatio& inAspectRatio,
                                                std::int32_t inAlignment, std::int32_t inBlockSize,
                                                std::int32_t inPrefixBytes, bool inClear, bool inClearTransparent);

/// The same without placement: the pixels begin right behind the block's header.
VF_API std::int32_t CreateVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame, zynmediatypes::PixelFormat inFormat,
                                     std::uint32_t inWidth, std::uint32_t inHeight,
                                     const zynmediatypes::PixelAspectRatio& inAspectRatio, bool inClear,
                                     bool inClearTransparent);

/// Makes a frame of inDataSize bytes in a format that only the caller understands. The format is not tested for being
/// custom; a standard format with too small a size gives a frame whose pixels operations refuse.
VF_API std::int32_t CreateCustomVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                           zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                           std::uint32_t inHeight, std::int32_t inDataSize,
                                           const zynmediatypes::PixelAspectRatio& inAspectRatio);

/// The frame itself when it is not read-only, else a writable copy of it. Throws BRT::NullInterfaceException for an
/// empty reference and when no frame for the copy can be made.
VF_API BRT::InterfaceRef<RK::IVideoFrame> MakeWriteableVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inFrame,
                                                                  zynmediatypes::RenderQuality inQuality);

/// Thrown by what a view refuses: setting its read-only flag or its pixel aspect ratio.
class VF_API IllegalVideoSubFrameOperation : public BRT::Exception {
public:
    const char* what() const noexcept override { return "Illegal operation on a VideoSubFrame."; }
};

/// Makes a view of a rectangle of inParent, whose pixels, format, aspect ratio, field type, alpha type and read-only
/// state it shares and which it keeps alive. Origin, user rectangle and triple, render time and alpha bounds (these in
/// the parent's coordinates, unknown at first) are its own. A parent may be a view itself.
///
/// Unlike elsewhere, inSubRectBounds counts rows in memory order: its top is a row of the parent's memory, which starts
/// with the picture's bottom row. It should lie inside the parent and suit the format (RectIsValidForPixelFormat); it
/// is taken as it comes, and operations of this library then keep to the parent's rows. Fields count in the view's own
/// rows.
///
/// A view offers memory, rows and clearing whatever its parent offers; a call that the parent cannot serve reports and
/// throws BRT::NullInterfaceException. The fills cover the whole parent. SetFieldType does nothing.
///
/// Returns 0; -1, also with a view, when the parent has no memory access or cannot be cleared, as while it is
/// read-only; kResult_MemoryExhausted without one.
VF_API std::int32_t CreateVideoSubFrame(BRT::InterfaceRef<RK::IVideoFrame>& outSubFrame,
                                        BRT::InterfaceRef<RK::IVideoFrame> inParent,
                                        const BRT::ParamRect<BRT::CRect>& inSubRectBounds);

/// The process-wide switches: whether new frames, or new custom frames, live on broker blocks. Off at load. A change
/// affects frames created afterwards. Custom frames follow either switch, which is what the second getter answers.
VF_API void SetCreatePublishableVideoFrames(bool inPublishable);
VF_API bool GetCreatePublishableVideoFrames();
VF_API void SetCreatePublishableCustomVideoFrames(bool inPublishable);
VF_API bool GetCreatePublishableCustomVideoFrames();

/// Whether the format has no storage bits, that is, whether frames of it can offer rows.
VF_API bool PixelType2DMemoryAccessCapable(zynmediatypes::PixelFormat inFormat);

} // namespace VF
