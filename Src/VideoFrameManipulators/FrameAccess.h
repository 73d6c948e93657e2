#pragma once

#include "../FrameBlock.h"
#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VideoFrameInterfaces.h"

#include <cstdint>

namespace VF::Details {

inline constexpr const char* kManipulatorsSource = "Src/VideoFrameManipulators";

/// The check of the operations on fields, rows and alpha.
inline constexpr const char* kWritableCondition = "inDestFrame->GetReadOnly() == false";

/// The converter's own result for memory exhausted.
inline constexpr int kConverterOutOfMemory = kPB_OutOfMemory;

/// A frame with the accesses that a copy needs. Either access may be empty; using an empty one throws.
struct FrameAccess {
    explicit FrameAccess(const BRT::InterfaceRef<RK::IVideoFrame>& inFrame)
        : memory(BRT::QueryInterface<IVideoFrameMemoryAccess>(inFrame)),
          rows(BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(inFrame)) {}

    /// Bytes from row to row; for formats without rows the image's size, cut to 32 bits.
    std::int32_t Stride() const;

    /// Bytes per pixel of a frame whose pixels can be mixed one by one, that is, 4:4:4:4 in rows; else 0. Needs rows.
    std::uint32_t MixablePixelSize(zynmediatypes::PixelFormat format) const;

    BRT::InterfaceRef<IVideoFrameMemoryAccess> memory;
    BRT::InterfaceRef<IVideoFrame2DPixelMemoryAccess> rows;
};

/// Bytes per pixel of an interleaved 4:4:4:4 format, 0 for every other.
std::uint32_t BytesPerAddressablePixel(zynmediatypes::PixelFormat format) noexcept;

/// Whether the format is interleaved 4:4:4:4, so that its pixels can be reached one by one.
bool IsAddressable(zynmediatypes::PixelFormat format) noexcept;

/// Bytes that the pixels of a row take, 0 without a width.
constexpr std::uint64_t UsedRowBytes(std::int32_t width, std::uint32_t pixelSize) noexcept {
    return width > 0 ? static_cast<std::uint64_t>(width) * pixelSize : 0;
}

/// Fetches bytes that are about to be used. For loops over rows against the order of memory, which the processor does
/// not foresee beyond a page.
inline void FetchAhead(const void* data, std::uint64_t bytes) noexcept {
    constexpr std::uint64_t kCacheLine = 64;
    for (std::uint64_t i = 0; i < bytes; i += kCacheLine) {
        __builtin_prefetch(static_cast<const std::uint8_t*>(data) + i);
    }
}

/// The converter's format for a frame as a whole: straight 8u, 15u and float formats follow the frame's alpha type.
PB_PixelFormat AlphaAwareConverterFormat(const BRT::InterfaceRef<RK::IVideoFrame>& frame);

} // namespace VF::Details
