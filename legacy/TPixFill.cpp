#include "LentPixmaps.h"
#include "LiveRecord.h"
#include "PixelBlitter.h"
#include "PixelFormatUtilities.h"
#include "TPix.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>

using namespace VF::Details;

namespace {

constexpr std::uint8_t kOpaque = 255;
constexpr std::uint8_t kTransparent = 0;

struct Edges {
    std::int64_t left, top, right, bottom;

    std::int64_t Width() const noexcept { return right - left; }
    std::int64_t Height() const noexcept { return bottom - top; }
};

Edges EdgesOf(const RECT& rect) noexcept {
    return {rect.left, rect.top, rect.right, rect.bottom};
}

Edges Common(const Edges& a, const Edges& b) noexcept {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

bool IsStoredInRows(PB_PixelFormat format) noexcept {
    return (static_cast<std::uint32_t>(format) & 0xFF000000U) == 0;
}

std::int32_t FillImage(const LentPixels& lent, const PixelImage& image, const void* colour,
                       PB_PixelFormat colourFormat) {
    if (lent.Contain(image)) {
        return PB_FillWithColor(image.data, image.rowBytes, image.width, image.height, image.format, colour,
                                colourFormat);
    }
    if (!IsStoredInRows(image.format)) {
        return kPB_BadArgument;
    }
    const PixelRows rows =
        lent.Contained({image.data, image.rowBytes, image.height, PB_PixelFormatSize(image.format, image.width, 1)});
    if (rows.height == 0) {
        return kPB_BadArgument;
    }
    return PB_FillWithColor(const_cast<void*>(rows.data), rows.rowBytes, image.width, rows.height, image.format, colour,
                            colourFormat);
}

std::int32_t Fill(TPixHand hand, const RECT* rect, COLORREF colour, std::uint8_t alpha) {
    const TPix* const record = LiveRecord(hand);
    if (!record) {
        return kPB_BadArgument;
    }
    const Edges bounds = EdgesOf(record->bounds);
    const Edges area = Common(rect ? EdgesOf(*rect) : Edges{0, 0, bounds.Width(), bounds.Height()}, bounds);
    if (area.Width() < 1 || area.Height() < 1) {
        return kPB_Success;
    }
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    const LentPixels lent(hand);
    if (!record->pixels || !lent.MayWrite() || area.Width() > kLongest || bounds.Height() > kLongest) {
        return kPB_BadArgument;
    }
    const zynmediatypes::PixelFormat format =
        lent.Frame() ? lent.Frame()->GetPixelType() : zynmediatypes::kPixelFormat_BGRA_4444_8u;
    const PixelImage image{OffsetPointer(record->pixels, (bounds.Height() - area.bottom) * record->rowbytes +
                                                             area.left * (record->bitsPerPixel / 8)),
                           record->rowbytes, static_cast<std::int32_t>(area.Width()),
                           static_cast<std::int32_t>(area.Height()), VF::BEToPBPixelFormat(format)};
    const std::array<std::uint8_t, 4> bytes{static_cast<std::uint8_t>(colour >> 16U),
                                            static_cast<std::uint8_t>(colour >> 8U), static_cast<std::uint8_t>(colour),
                                            alpha};
    const bool isYUV = (format.properties & zynmediatypes::kProperty_YUV) != 0;
    return FillImage(lent, image, bytes.data(),
                     VF::BEToPBPixelFormat(isYUV ? zynmediatypes::kPixelFormat_VUYA_4444_8u
                                                 : zynmediatypes::kPixelFormat_BGRA_4444_8u));
}

} // namespace

std::int32_t tpixFillRect(TPixHand inHand, const RECT* inRect, COLORREF inColour) {
    return Fill(inHand, inRect, inColour, kOpaque);
}

std::int32_t tpixFillRectTransparent(TPixHand inHand, const RECT* inRect, COLORREF inColour) {
    return Fill(inHand, inRect, inColour, kTransparent);
}

void tpixFillAlpha(TPixHand inHand, std::uint8_t inAlpha) {
    const TPix* const record = LiveRecord(inHand);
    if (!record || !record->pixels) {
        return;
    }
    const Edges bounds = EdgesOf(record->bounds);
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    if (bounds.Width() < 1 || bounds.Height() < 1 || bounds.Width() > kLongest || bounds.Height() > kLongest) {
        return;
    }
    const LentPixels lent(inHand);
    if (!lent.MayWrite()) {
        return;
    }
    const auto width = static_cast<std::int32_t>(bounds.Width());
    const PixelRows rows = lent.Contained({record->pixels, record->rowbytes, static_cast<std::int32_t>(bounds.Height()),
                                           static_cast<std::uint64_t>(width) * 4});
    const auto setAlpha = [&](const void* data, std::int32_t height) {
        PB_CopyAndSetAlpha(data, rows.rowBytes, const_cast<void*>(data), rows.rowBytes,
                           VF::BEToPBPixelFormat(zynmediatypes::kPixelFormat_BGRA_4444_8u), width, height,
                           static_cast<float>(inAlpha) / 255.0F);
    };
    if (static_cast<std::uint64_t>(std::abs(std::int64_t{rows.rowBytes})) >= rows.usedRowBytes) {
        setAlpha(rows.data, rows.height);
        return;
    }
    // Rows of narrower pixels overlap when they are taken as 32-bit ones.
    for (std::int32_t row = 0; row < rows.height; ++row) {
        setAlpha(OffsetPointer(const_cast<void*>(rows.data), std::int64_t{row} * rows.rowBytes), 1);
    }
}
