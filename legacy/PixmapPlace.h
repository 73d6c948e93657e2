#pragma once

/// Where the pixels of a record lie that a copy is about to touch.

#include "FrameBlock.h"
#include "LentPixmaps.h"
#include "LiveRecord.h"
#include "PixelFormatUtilities.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

namespace VF::Pixmaps {

inline std::int64_t WidthOf(const RECT& rect) noexcept {
    return std::int64_t{rect.right} - rect.left;
}
inline std::int64_t HeightOf(const RECT& rect) noexcept {
    return std::int64_t{rect.bottom} - rect.top;
}
inline bool IsEmpty(const RECT& rect) noexcept {
    return rect.left >= rect.right || rect.top >= rect.bottom;
}
inline void CutTo(const RECT& bounds, RECT& rect) noexcept {
    rect = {std::max(rect.left, bounds.left), std::max(rect.top, bounds.top), std::min(rect.right, bounds.right),
            std::min(rect.bottom, bounds.bottom)};
}
inline POINT MovedInto(const RECT& bounds, POINT point) noexcept {
    return {std::min(std::max(point.x, bounds.left), bounds.right),
            std::min(std::max(point.y, bounds.top), bounds.bottom)};
}

/// Whether a record has rows of pixels, and its bounds sizes that the converter can take. Pixels that share words have
/// no bits of their own: V210 has 0, and is reached as a whole row.
inline bool HasRows(const TPix& record) noexcept {
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    return record.pixels != nullptr && record.bitsPerPixel >= 0 && record.rowbytes != 0 &&
           record.rowbytes != std::numeric_limits<std::int32_t>::min() && WidthOf(record.bounds) <= kLongest &&
           HeightOf(record.bounds) <= kLongest;
}

/// A handle's record and what is behind it.
class LentPicture {
public:
    /// Throws what the frame's accessors throw.
    explicit LentPicture(TPixHand hand)
        : record(*hand), lent(hand),
          format(BEToPBPixelFormat(lent.Frame()
                                       ? lent.Frame()->GetPixelType()
                                       : zynmediatypes::PixelFormat{zynmediatypes::kPixelFormat_BGRA_4444_8u})) {}

    /// Nothing for a dead handle and a record without rows.
    static std::optional<LentPicture> Of(TPixHand hand) {
        const TPix* const alive = Details::LiveRecord(hand);
        if (alive == nullptr || !HasRows(*alive)) {
            return std::nullopt;
        }
        LentPicture picture(hand);
        return PB_IsOriginBottomLeft(picture.format) ? std::optional(std::move(picture)) : std::nullopt;
    }

    /// So many pixels right of and below (x, y), from the top line down.
    Details::PixelImage From(std::int32_t x, std::int32_t y, std::int64_t width, std::int64_t height) const noexcept {
        const std::int64_t topLine = (HeightOf(record->bounds) - 1) * record->rowbytes;
        return {Details::OffsetPointer(record->pixels, topLine + std::int64_t{x} * (record->bitsPerPixel / 8) -
                                                           std::int64_t{y} * record->rowbytes),
                -record->rowbytes, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), format};
    }

    TPix* record;
    Details::LentPixels lent;
    PB_PixelFormat format;
};

} // namespace VF::Pixmaps
