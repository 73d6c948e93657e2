#pragma once

/// What the library asks its own frames before it touches their pixels. Other modules' frames do not answer; their
/// pixels may be written and are taken to be as large as they say.

#include "BRTFoundation.h"
#include "PixelBlitter.h"
#include "RenderKit.h"

#include <cstdint>

namespace VF::Details {

/// The bytes behind a frame as the allocator or the broker knows them, not as a header claims.
struct BlockExtent {
    const void* start = nullptr;
    std::uint64_t sizeInBytes = 0;
};

/// Answered by the library's own frames.
class IFrameBlock : public BRT::BRTUnknown {
public:
    /// {8C5D3B1E-6F0A-4B57-9E43-21D7A90C6E14}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x8C5D3B1E, 0x6F0A, 0x4B57, {0x9E, 0x43, 0x21, 0xD7, 0xA9, 0x0C, 0x6E, 0x14}};

    /// False for published and wrapped blocks, which other processes read, whatever their read-only flag says.
    virtual bool MayWritePixels() = 0;

    /// The block; of a view the part of it that the parent's rows take. May throw what a parent's accessors throw.
    virtual BlockExtent GetBlockExtent() = 0;

protected:
    ~IFrameBlock() = default;
};

/// Whether an operation may write the frame's pixels and properties. The one question for all frames; a read-only flag
/// is a report, not a wall.
bool MayWritePixels(const BRT::InterfaceRef<RK::IVideoFrame>& frame) noexcept;

/// An image in memory as an operation is about to hand it to the pixel converter.
struct PixelImage {
    void* data = nullptr;
    std::int32_t rowBytes = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    PB_PixelFormat format = kPB_NoFormat;
};

/// Whether every byte of the image lies in the block. The image holds copies of what the header said, so nothing that
/// another process writes afterwards changes the answer.
bool LiesInBlock(const PixelImage& image, const BlockExtent& block) noexcept;

/// The same for the block behind a frame; true for frames that are not the library's own. A view asks its parent, so it
/// may throw what a frame's accessors throw.
bool LiesInFrame(const PixelImage& image, const BRT::InterfaceRef<RK::IVideoFrame>& frame);

/// Rows as an operation addresses them by itself; usedRowBytes of each are touched.
struct PixelRows {
    const void* data = nullptr;
    std::int32_t rowBytes = 0;
    std::int32_t height = 0;
    std::uint64_t usedRowBytes = 0;
};

/// Whether every byte of the rows lies in the block behind a frame; as above.
bool LiesInFrame(const PixelRows& rows, const BRT::InterfaceRef<RK::IVideoFrame>& frame);

/// The bytes that a frame's own rows take, cut to the block behind it: what may be addressed by somebody who does not
/// go by the frame's size, such as a view. Empty for frames without rows. Throws what the frame's accessors throw.
BlockExtent RowsExtent(const BRT::InterfaceRef<RK::IVideoFrame>& frame);

/// Whether every byte of the rows lies in the extent.
bool LiesInBlock(const PixelRows& rows, const BlockExtent& extent) noexcept;

/// Those of the rows that lie in the extent with every byte, lowest address first; height 0 for none.
PixelRows RowsInBlock(const PixelRows& rows, const BlockExtent& extent) noexcept;

} // namespace VF::Details
