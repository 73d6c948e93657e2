#pragma once

/// Frames in the memory of a device and in page-locked host memory (DeviceKit.h has devices, copies and events).
///
/// Both kinds keep their rows without gaps: GetRowBytes is the size of one row, GetDataSize and GetBufferSize that of
/// the image. They hold no lock; concurrent setters on one frame are the caller's business. Setters work on read-only
/// frames, too. The alpha type is part of the pixel format, so setting it changes the format where there is such a
/// variant. A frame keeps its device. When its last reference goes, its memory is freed together with the completion
/// event that it has then, and is used again only after that.

#include "BRTFoundation.h"
#include "DeviceKit.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "zynmediatypes.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace VF {

/// Makes a frame in device memory. It offers IGPUVideoFrame, IGPUVideoFrameMemoryAccess, ICompletionEventVideoFrame,
/// clearing while it is not read-only, and IGPUVideoFrame2DPixelMemoryAccess for row formats; never the CPU's access
/// interfaces, so operations on pixels refuse it: copy it to host memory first. Its fills run on the device and answer
/// 0 or kResult_Failed; transparent white is transparent black there.
///
/// The frame has origin (-1, -1), user rectangle and alpha bounds (0, 0, width, height) and no completion event; its
/// pixels are undefined. Returns 0, or kResult_BufferTooSmall, with outFrame untouched, when there is no device or the
/// device has no memory: also for formats and sizes that have no bytes.
VF_API std::int32_t CreateGPUVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                        const boost::shared_ptr<DK::Device>& inDevice,
                                        zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                        std::uint32_t inHeight, zynmediatypes::PixelAspectRatio inAspectRatio,
                                        zynmediatypes::FieldType inFieldType);

/// Makes a frame in host memory that the device copies to and from at full speed, with the same arguments, state and
/// results. It offers the CPU's access interfaces and ICompletionEventVideoFrame, so every operation on pixels takes
/// it. Its fills are the converter's and answer 0 or -1.
VF_API std::int32_t CreatePinnedMemoryVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                                 const boost::shared_ptr<DK::Device>& inDevice,
                                                 zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                                 std::uint32_t inHeight, zynmediatypes::PixelAspectRatio inAspectRatio,
                                                 zynmediatypes::FieldType inFieldType);

} // namespace VF
