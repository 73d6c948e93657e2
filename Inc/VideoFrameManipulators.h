#pragma once

/// Operations that move pixels between frames. All may run on any thread and hold their own references for the call;
/// two operations that write one frame at once are the caller's business. A null frame, or a frame without the access
/// that a path needs, throws BRT::NullInterfaceException after the failed checks have been reported. A destination that
/// is published, wrapped or a view of such a frame is never written: the operation then reports and answers success.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "zynmediatypes.h"

namespace VF::VideoFrameManipulators {

/// Copies a rectangle of one frame onto a rectangle of another, converting and scaling. Rectangles count rows from the
/// top of the picture; each is clamped into its own frame, and the clamped parts are scaled onto each other.
///
/// inFieldSelector: 0 copies from the source's field that starts at row 1 of its memory, 1 from the one at row 0, any
/// other value copies whole rows. An empty destination rectangle is nothing to do. Qualities below 3 scale fast.
/// Returns 0, or kResult_BufferTooSmall when the converter ran out of memory; no other failure is reported.
VF_API int CopyRect(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, const BRT::ParamRect<BRT::CRect>& inSourceRect,
                    BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, const BRT::ParamRect<BRT::CRect>& inDestRect,
                    zynmediatypes::RenderQuality inQuality, int inFieldSelector);

/// Copies a whole frame onto another, converting, scaling and carrying alpha type, origin, field type and, for equal
/// sizes, alpha bounds. inSourceFieldType replaces the source's own field type unless it is kFieldType_OfSource (-1).
/// Returns 0, kResult_BufferTooSmall when the converter ran out of memory, kResult_Failed for every other failure.
VF_API int CopyFrameWithFields(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                               BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, zynmediatypes::RenderQuality inQuality,
                               zynmediatypes::FieldType inSourceFieldType);

/// CopyFrameWithFields with the source's own field type.
VF_API int CopyFrame(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, BRT::InterfaceRef<RK::IVideoFrame> inDestFrame,
                     zynmediatypes::RenderQuality inQuality);

/// The frame itself when it is 4:4:4:4 in rows, else a converted copy that is. The copy takes the precision of
/// inPreferredFormat where that is smaller and the quality is below 5. outFrame is left alone on failure: a negative
/// result, or BRT::NullInterfaceException when no frame could be made.
VF_API int MakeAddressableVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                                     BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                     zynmediatypes::PixelFormat inPreferredFormat,
                                     zynmediatypes::RenderQuality inQuality);

/// Copies one field of the source into the same field of the destination, converting and scaling the width; the other
/// field stays. Fields are counted by each frame's own field type (field 0 is 0, every other value field 1), and those
/// of unequal height are scaled onto each other after a report. inQuality chooses the format through which a source
/// without addressable pixels goes. Returns 0, kResult_BufferTooSmall when the converter ran out of memory,
/// kResult_Failed for every other failure of it, and what MakeAddressableVideoFrame answers.
VF_API int CopyField(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, BRT::InterfaceRef<RK::IVideoFrame> inDestFrame,
                     int inField, zynmediatypes::RenderQuality inQuality);

/// CopyField, then DeinterlaceVideoFrame of the destination. Returns what CopyField does.
VF_API int InterpFieldToFrame(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                              BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, int inField);

/// Keeps one field and rebuilds each row of the other as the mean of the rows above and below it, at the edge as a copy
/// of the nearest row; the frame is progressive then. Formats that are not 4:4:4:4 in rows are left as they are.
VF_API void DeinterlaceVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inVideoFrame, int inField);

/// Blurs vertically: each row becomes a quarter of the row above, half of itself and a quarter of the row below, an
/// edge row the mean of itself and its neighbour. Means are rounded half up, twice. The destination must be another
/// frame of the source's size, format and row bytes. Formats that are not 4:4:4:4 in rows are left as they are.
VF_API void VerticalConvolve(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                             BRT::InterfaceRef<RK::IVideoFrame> inDestFrame);

/// Exchanges the fields by moving the picture down by one row into another frame: its top row appears twice and its
/// bottom row is lost. Converts and scales like CopyRect.
VF_API void SwapFields(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                       BRT::InterfaceRef<RK::IVideoFrame> inDestFrame);

/// Gives frame A the field 1 of frame B. DV frames are decoded, woven and encoded again; frames that cannot be, and
/// 720p, keep A. Returns what CopyField does, for DV always 0.
VF_API int MergePulldownFrames(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrameA,
                               BRT::InterfaceRef<RK::IVideoFrame> inSourceFrameB);

/// Replaces every pixel's alpha by its complement, or by full opacity. Colours, alpha type and alpha bounds stay.
/// Frames without rows or alpha are left as they are.
VF_API void InvertAlpha(BRT::InterfaceRef<RK::IVideoFrame> inDestFrame);
VF_API void OpaqueAlpha(BRT::InterfaceRef<RK::IVideoFrame> inDestFrame);

/// The smallest rectangle that holds every pixel whose alpha is not 0, in picture coordinates; (0, 0, 0, 0) when there
/// is none. Knows straight BGRA and VUYA in 8, 16 (full range) and 32 bits, gamma-encoded; every other frame gives its
/// bounds. Reads only.
VF_API void CalculateAlphaBounds(BRT::InterfaceRef<RK::IVideoFrame> inFrame, BRT::ParamRect<BRT::CRect>& outBounds);

/// Moves a whole frame into, or fills it from, a block of the caller's with pixels of the frame's format, scaling when
/// the sizes differ. The block has rows in the frame's memory order, inRowBytes apart (negative: at decreasing
/// addresses), and the frame's own width and height where none are given; the caller answers for its size. What the
/// converter cannot do leaves the target as it is.
VF_API void StoreExternal(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, void* outBlock, int inWidth, int inHeight,
                          int inRowBytes);
VF_API void StoreExternal(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, void* outBlock, int inRowBytes);
VF_API void LoadExternal(BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, void* inBlock, int inWidth, int inHeight,
                         int inRowBytes);
VF_API void LoadExternal(BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, void* inBlock, int inRowBytes);

} // namespace VF::VideoFrameManipulators
