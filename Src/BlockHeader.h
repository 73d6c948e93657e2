#pragma once

#include "SharedMemoryFormat.h"

#include <cstdint>

namespace VF::Details {

/// The header of a new frame on a block of blockSize bytes. The pixel offset is 0.
SharedMemoryVideoFrameHeader MakeFreshHeader(std::uint64_t blockSize, zynmediatypes::PixelFormat format,
                                             std::int32_t width, std::int32_t height,
                                             const zynmediatypes::PixelAspectRatio& aspectRatio) noexcept;

} // namespace VF::Details
