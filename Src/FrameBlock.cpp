#include "FrameBlock.h"

#include "VideoFrameInterfaces.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace VF::Details {
namespace {

// Bytes before and behind the data pointer that the image reaches.
struct Reach {
    std::uint64_t before = 0;
    std::uint64_t behind = 0;
};

Reach ReachOf(const PixelRows& rows) noexcept {
    const std::int64_t stride = rows.rowBytes;
    const auto steps = static_cast<std::uint64_t>(std::abs(stride)) * (static_cast<std::uint64_t>(rows.height) - 1);
    return stride < 0 ? Reach{steps, rows.usedRowBytes} : Reach{0, steps + rows.usedRowBytes};
}

Reach ReachOf(const PixelImage& image) noexcept {
    if (image.format == kPB_CustomFormat) {
        return {0, static_cast<std::uint64_t>(std::abs(static_cast<std::int64_t>(image.rowBytes)))};
    }
    if ((static_cast<std::uint32_t>(image.format) & 0xFF000000U) != 0) {
        return {0, PB_PixelFormatSize(image.format, image.width, image.height)};
    }
    return ReachOf(
        PixelRows{image.data, image.rowBytes, image.height, PB_PixelFormatSize(image.format, image.width, 1)});
}

bool LiesInBlock(const void* address, const Reach& reach, const BlockExtent& block) noexcept {
    const auto start = reinterpret_cast<std::uintptr_t>(block.start);
    const auto data = reinterpret_cast<std::uintptr_t>(address);
    if (data < start || data - start > block.sizeInBytes) {
        return false;
    }
    return reach.before <= data - start && reach.behind <= block.sizeInBytes - (data - start);
}

} // namespace

bool MayWritePixels(const BRT::InterfaceRef<RK::IVideoFrame>& frame) noexcept {
    const auto block = BRT::QueryInterface<IFrameBlock>(frame);
    return !block || block->MayWritePixels();
}

// An image or rows without a size are nothing to do, so nothing is touched.

bool LiesInBlock(const PixelImage& image, const BlockExtent& block) noexcept {
    return image.width <= 0 || image.height <= 0 || LiesInBlock(image.data, ReachOf(image), block);
}

bool LiesInBlock(const PixelRows& rows, const BlockExtent& block) noexcept {
    return rows.height <= 0 || rows.usedRowBytes == 0 || LiesInBlock(rows.data, ReachOf(rows), block);
}

PixelRows RowsInBlock(const PixelRows& rows, const BlockExtent& block) noexcept {
    PixelRows none = rows;
    none.height = 0;
    if (rows.height <= 0 || rows.usedRowBytes == 0 || rows.usedRowBytes > block.sizeInBytes) {
        return none;
    }
    // A plug-in may have stored any address, so all distances wrap and are compared as what they are modulo 2^64.
    const std::int64_t stride = rows.rowBytes;
    const auto step = static_cast<std::uint64_t>(std::abs(stride));
    const auto height = static_cast<std::uint64_t>(rows.height);
    const std::uintptr_t lowest = reinterpret_cast<std::uintptr_t>(rows.data) - (stride < 0 ? step * (height - 1) : 0);
    const auto start = reinterpret_cast<std::uintptr_t>(block.start);
    const std::uint64_t room = block.sizeInBytes - rows.usedRowBytes;
    const std::uint64_t before = lowest < start ? start - lowest : 0;
    const std::uint64_t skipped = step == 0 ? 0 : (before + step - 1) / step;
    const std::uint64_t offset = lowest + skipped * step - start;
    if (skipped >= height || (step == 0 && before != 0) || offset > room) {
        return none;
    }
    // A single row needs no stride, which may be one that only fits with its sign.
    const bool strideFits = step <= static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
    const std::uint64_t fitting = step == 0 ? height : strideFits ? (room - offset) / step + 1 : 1;
    return {reinterpret_cast<const void*>(lowest + skipped * step), // NOLINT(performance-no-int-to-ptr)
            static_cast<std::int32_t>(step), static_cast<std::int32_t>(std::min(height - skipped, fitting)),
            rows.usedRowBytes};
}

bool LiesInFrame(const PixelImage& image, const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
    const auto block = BRT::QueryInterface<IFrameBlock>(frame);
    return !block || LiesInBlock(image, block->GetBlockExtent());
}

bool LiesInFrame(const PixelRows& rows, const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
    const auto block = BRT::QueryInterface<IFrameBlock>(frame);
    return !block || LiesInBlock(rows, block->GetBlockExtent());
}

BlockExtent RowsExtent(const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
    const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(frame);
    const auto access = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(frame);
    if (!memory || !access) {
        return {};
    }
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    const PixelRows rows{memory->GetData(), access->GetRowBytes(), bounds.bottom,
                         zynmediatypes::PixelFormatSize(frame->GetPixelType(), bounds.right, 1)};
    if (rows.height <= 0 || rows.usedRowBytes == 0) {
        return {};
    }
    const Reach reach = ReachOf(rows);
    const auto data = reinterpret_cast<std::uintptr_t>(rows.data);
    std::uintptr_t first = data - std::min(reach.before, data);
    std::uintptr_t end = data + std::min(reach.behind, std::numeric_limits<std::uintptr_t>::max() - data);
    if (const auto block = BRT::QueryInterface<IFrameBlock>(frame)) {
        const BlockExtent extent = block->GetBlockExtent();
        const auto start = reinterpret_cast<std::uintptr_t>(extent.start);
        first = std::max(first, start);
        end = std::min(end, start + extent.sizeInBytes);
    }
    return first < end ? BlockExtent{reinterpret_cast<const void*>(first), end - first}
                       // NOLINT(performance-no-int-to-ptr)
                       : BlockExtent{};
}

} // namespace VF::Details
