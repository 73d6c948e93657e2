#pragma once

#include "RenderKit.h"
#include "SharedMemoryFormat.h"

#include <cstdint>

namespace VF::Details {

/// A rectangle as the header keeps it: extents instead of far edges.
constexpr SharedMemoryRect ToHeaderRect(const BRT::ParamRect<BRT::CRect>& rect) noexcept {
    return {rect.left, rect.top, rect.Width(), rect.Height()};
}

/// The header of a new frame on a block of blockSize bytes. The pixel offset is 0.
SharedMemoryVideoFrameHeader MakeFreshHeader(std::uint64_t blockSize, zynmediatypes::PixelFormat format,
                                             std::int32_t width, std::int32_t height,
                                             const zynmediatypes::PixelAspectRatio& aspectRatio) noexcept;

/// What the caller has asked a frame for, and has laid the copy of its pixels out by.
struct CopyLayout {
    std::uint64_t blockSize = 0;
    zynmediatypes::PixelFormat format;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t rowBytes = 0;
};

/// The header of a copy of a frame. The rest of the properties is the frame's own, except alpha type and render time,
/// which start anew. The pixel offset is 0.
SharedMemoryVideoFrameHeader MakeCopyHeader(const CopyLayout& layout, const BRT::InterfaceRef<RK::IVideoFrame>& frame);

} // namespace VF::Details
