#include "BlockHeader.h"

#include "VideoFrameGeometry.h"

namespace VF::Details {
namespace {

// What both kinds of header have in common.
SharedMemoryVideoFrameHeader MakeHeader(std::uint64_t blockSize, zynmediatypes::PixelFormat format, std::int32_t width,
                                        std::int32_t height,
                                        const zynmediatypes::PixelAspectRatio& aspectRatio) noexcept {
    SharedMemoryVideoFrameHeader header{};
    header.headerSize = kSharedMemoryHeaderSize;
    header.version = kSharedMemoryVersion;
    header.blockSize = static_cast<std::uint32_t>(blockSize);
    header.pixelFormat = format;
    header.width = width;
    header.height = height;
    header.alphaType = zynmediatypes::kAlphaType_Straight;
    header.aspectRatio = aspectRatio;
    return header;
}

} // namespace

SharedMemoryVideoFrameHeader MakeFreshHeader(std::uint64_t blockSize, zynmediatypes::PixelFormat format,
                                             std::int32_t width, std::int32_t height,
                                             const zynmediatypes::PixelAspectRatio& aspectRatio) noexcept {
    SharedMemoryVideoFrameHeader header = MakeHeader(blockSize, format, width, height, aspectRatio);
    header.originX = -1;
    header.originY = -1;
    header.fieldType = zynmediatypes::kFieldType_NotSet;
    header.alphaBounds = {0, 0, width, height};
    header.rowBytes = IsInterleaved(format)
                          ? zynmediatypes::UncompressedPixelFormatRowBytes(format, width)
                          : static_cast<std::int32_t>(static_cast<std::uint32_t>(blockSize - kSharedMemoryHeaderSize));
    header.userRect = {0, 0, width, height};
    return header;
}

SharedMemoryVideoFrameHeader MakeCopyHeader(const CopyLayout& layout, const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
    SharedMemoryVideoFrameHeader header =
        MakeHeader(layout.blockSize, layout.format, layout.width, layout.height, frame->GetPixelAspectRatio());
    const BRT::ParamPoint<BRT::CPoint> origin = frame->GetOrigin();
    header.originX = origin.x;
    header.originY = origin.y;
    header.fieldType = static_cast<std::uint32_t>(frame->GetFieldType());
    // A frame that does not know its bounds may still have filled the rectangle, and that is what travels.
    BRT::ParamRect<BRT::CRect> alphaBounds;
    static_cast<void>(frame->GetAlphaBounds(alphaBounds));
    header.alphaBounds = ToHeaderRect(alphaBounds);
    header.rowBytes = layout.rowBytes;
    header.userRect = ToHeaderRect(frame->GetUserRect());
    return header;
}

} // namespace VF::Details
