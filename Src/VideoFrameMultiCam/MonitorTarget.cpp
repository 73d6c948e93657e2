#include "MonitorTarget.h"

#include "../ContractReport.h"
#include "PixelFormatUtilities.h"

#include <algorithm>
#include <cstddef>

namespace VF::Details {
namespace {

using Frame = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr const char* kSource = "Src/VideoFrameMultiCam";
constexpr int kCellQuality = 2;
constexpr int kColourQuality = 4;

PixelImage ImageOf(const Frame& frame, const FrameAccess& access) {
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    return {access.memory->GetData(), access.Stride(), bounds.Width(), bounds.Height(),
            BEPixelFormatToPBPixelFormat(frame->GetPixelType())};
}

} // namespace

MonitorTarget::MonitorTarget(const Frame& frame) : mFrame(frame) {
    const FrameAccess access(frame);
    mImage = ImageOf(frame, access);
    mHasRows = access.rows != nullptr;
    mPixelSize = mHasRows ? access.rows->GetPixelSize() : 0;
    mPairsColumns = mHasRows && !IsAddressable(frame->GetPixelType());
}

MonitorTarget::Area MonitorTarget::AreaOf(const Cell& cell) const {
    const std::int64_t width = mImage.width;
    const std::int64_t height = mImage.height;
    std::int64_t left = std::min<std::int64_t>(cell.x, width);
    std::int64_t right = std::min<std::int64_t>(std::int64_t{cell.x} + cell.width, width);
    const std::int64_t top = std::min<std::int64_t>(cell.y, height);
    const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{cell.y} + cell.height, height);
    if (!mHasRows) {
        const bool whole = left == 0 && top == 0 && right == width && bottom == height;
        return whole ? Area{mImage.data, mImage.width, mImage.height} : Area{};
    }
    // Neighbours that would share a pair share none: each begins and ends on one, but for the picture's edge.
    if (mPairsColumns) {
        left -= left % 2;
        right -= right == width ? 0 : right % 2;
    }
    if (left >= right || top >= bottom) {
        return {};
    }
    // The last row of the cell is the first in memory.
    const std::int64_t row = PB_IsOriginBottomLeft(mImage.format) ? height - bottom : top;
    auto* const start = static_cast<std::byte*>(mImage.data) + row * mImage.rowBytes + left * mPixelSize;
    return {start, static_cast<int>(right - left), static_cast<int>(bottom - top)};
}

void MonitorTarget::DrawCamera(const Frame& camera, const Cell& cell) const {
    const BRT::ParamRect<BRT::CRect> wanted{0, 0, static_cast<std::int32_t>(cell.width),
                                            static_cast<std::int32_t>(cell.height)};
    if (camera->IsRectNative(wanted)) {
        PlaceFrame(camera, cell);
        return;
    }
    const BRT::ParamRect<BRT::CRect> bounds = camera->GetBounds();
    if (bounds.Width() <= 0 || bounds.Height() <= 0) {
        FillBlack(cell);
        return;
    }
    const double scaleX = cell.width / static_cast<double>(bounds.Width());
    const double scaleY = cell.height / static_cast<double>(bounds.Height());
    const double scale = scaleX <= scaleY ? scaleX : scaleY;
    const auto width = static_cast<std::uint32_t>(bounds.Width() * scale);
    const auto height = static_cast<std::uint32_t>(bounds.Height() * scale);
    const std::uint32_t marginX = (cell.width - width) / 2;
    const std::uint32_t marginY = (cell.height - height) / 2;
    if (marginX != 0) {
        FillBlack({cell.x, cell.y, marginX, cell.height});
        FillBlack({cell.x + marginX + width, cell.y, cell.width - marginX - width, cell.height});
    }
    if (marginY != 0) {
        FillBlack({cell.x, cell.y, cell.width, marginY});
        FillBlack({cell.x, cell.y + marginY + height, cell.width, cell.height - marginY - height});
    }
    PlaceFrame(camera, {cell.x + marginX, cell.y + marginY, width, height});
}

void MonitorTarget::PlaceFrame(const Frame& camera, const Cell& cell) const {
    CheckContract(mImage.rowBytes != 0, "rowbytes != 0", kSource);
    const PixelImage source = ImageOf(camera, FrameAccess(camera));
    const Area area = AreaOf(cell);
    if (area.start == nullptr) {
        return;
    }
    const bool shown = LiesInFrame(source, camera) &&
                       PB_ScaleConvert(source.data, source.rowBytes, source.width, source.height, source.format,
                                       camera->GetFieldType(), area.start, mImage.rowBytes, area.width, area.height,
                                       mImage.format, zynmediatypes::kFieldType_Progressive, kCellQuality) == 0;
    if (!shown) {
        FillBlack(cell); // instead of what happened to be in memory
    }
}

void MonitorTarget::FillBlack(const Cell& cell) const {
    if (const Area area = AreaOf(cell); area.start != nullptr) {
        PB_FillWithOpaqueBlack(area.start, mImage.rowBytes, area.width, area.height, mImage.format);
    }
}

void MonitorTarget::DrawBorder(const Cell& cell, std::uint32_t lineWidth, bool red) const {
    const std::uint32_t rows = std::min(lineWidth, cell.height);
    // Formats that pair columns cannot colour half a pair.
    const std::uint32_t line = std::min(lineWidth, cell.width);
    const std::uint32_t columns = std::min(mPairsColumns ? line + line % 2 : line, cell.width);
    const std::uint32_t inside = cell.height > 2 * rows ? cell.height - 2 * rows : 0;
    const std::uint8_t bgra[4] = {0x00, static_cast<std::uint8_t>(red ? 0x00 : 0xFF), 0xFF, 0xFF};
    alignas(16) std::uint8_t pixel[16] = {}; // of any row format
    const PB_PixelFormat colourFormat = BEPixelFormatToPBPixelFormat(zynmediatypes::kPixelFormat_BGRA_4444_8u);
    if (!mHasRows || PB_Convert(bgra, 0, colourFormat, pixel, 0, mImage.format, 1, 1, kColourQuality) != 0) {
        return;
    }
    const Cell sides[] = {
        {cell.x, cell.y, cell.width, rows},
        {cell.x, cell.y + rows, columns, inside},
        {cell.x + cell.width - columns, cell.y + rows, columns, inside},
        {cell.x, cell.y + cell.height - rows, cell.width, rows},
    };
    for (const Cell& side : sides) {
        if (const Area area = AreaOf(side); area.start != nullptr) {
            PB_FillWithColor(area.start, mImage.rowBytes, area.width, area.height, mImage.format, pixel, mImage.format);
        }
    }
}

} // namespace VF::Details
