#include "FrameBlock.h"

#include <cstdlib>

namespace VF::Details {
namespace {

// Bytes before and behind the data pointer that the image reaches.
struct Reach {
    std::uint64_t before = 0;
    std::uint64_t behind = 0;
};

Reach ReachOf(const PixelImage& image) noexcept {
    const auto stride = static_cast<std::int64_t>(image.rowBytes);
    if (image.format == kPB_CustomFormat) {
        return {0, static_cast<std::uint64_t>(std::abs(stride))};
    }
    if ((static_cast<std::uint32_t>(image.format) & 0xFF000000U) != 0) {
        return {0, PB_PixelFormatSize(image.format, image.width, image.height)};
    }
    const std::uint64_t rowBytes = PB_PixelFormatSize(image.format, image.width, 1);
    const auto steps = static_cast<std::uint64_t>(std::abs(stride)) * (static_cast<std::uint64_t>(image.height) - 1);
    return stride < 0 ? Reach{steps, rowBytes} : Reach{0, steps + rowBytes};
}

} // namespace

bool MayWritePixels(const BRT::InterfaceRef<RK::IVideoFrame>& frame) noexcept {
    const auto block = BRT::QueryInterface<IFrameBlock>(frame);
    return !block || block->MayWritePixels();
}

bool LiesInBlock(const PixelImage& image, const BlockExtent& block) noexcept {
    if (image.width <= 0 || image.height <= 0) {
        return true; // nothing to do, so nothing is touched
    }
    const auto start = reinterpret_cast<std::uintptr_t>(block.start);
    const auto data = reinterpret_cast<std::uintptr_t>(image.data);
    if (data < start || data - start > block.sizeInBytes) {
        return false;
    }
    const Reach reach = ReachOf(image);
    return reach.before <= data - start && reach.behind <= block.sizeInBytes - (data - start);
}

bool LiesInFrame(const PixelImage& image, const BRT::InterfaceRef<RK::IVideoFrame>& frame) noexcept {
    const auto block = BRT::QueryInterface<IFrameBlock>(frame);
    return !block || LiesInBlock(image, block->GetBlockExtent());
}

} // namespace VF::Details
