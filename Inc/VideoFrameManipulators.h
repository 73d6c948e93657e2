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

} // namespace VF::VideoFrameManipulators
