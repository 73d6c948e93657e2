#pragma once

/// Pictures as rows of bytes in memory, for jobs that go row by row, read each byte before they write it, and may write
/// to where they read.

#include "Picture.h"
#include "Scratch.h"

#include <algorithm>
#include <initializer_list>

namespace PixelBlitter {

/// Where rows lie. The stride of a single row is 0; an image without rows is one.
struct RowPlaces {
    const std::uint8_t* base = nullptr;
    std::ptrdiff_t stride = 0;

    bool operator==(const RowPlaces&) const = default;
    const std::uint8_t* operator[](int row) const noexcept { return base + row * stride; }
};
inline RowPlaces PlacesOf(const PictureArguments& picture, const Format& format) noexcept {
    return {static_cast<const std::uint8_t*>(picture.data),
            format.HasRows() && picture.height > 1 ? std::ptrdiff_t{picture.rowBytes} : 0};
}

/// So many rows of so many bytes.
struct RowExtent {
    std::size_t bytes = 0;
    int count = 0;

    std::uint64_t Total() const noexcept { return std::uint64_t{bytes} * static_cast<std::uint64_t>(count); }
};
inline RowExtent ExtentOf(const PictureArguments& picture, const Format& format) noexcept {
    return format.HasRows() ? RowExtent{UsedRowBytes(format, picture.width), picture.height}
                            : RowExtent{PB_PixelFormatSize(format.value, picture.width, picture.height), 1};
}

/// The same as one row when rows follow one another without gaps in all places.
inline RowExtent Joined(const RowExtent& extent, std::initializer_list<const RowPlaces*> places) noexcept {
    const bool gapless = std::all_of(places.begin(), places.end(), [&](const RowPlaces* rows) {
        return rows->stride == static_cast<std::ptrdiff_t>(extent.bytes);
    });
    return gapless ? RowExtent{extent.Total(), 1} : extent;
}

/// True when rows that are written may hold bytes of a source that are still to be read. Not so when both are the same
/// rows or have their rows between one another's.
bool Collide(const RowPlaces& source, const RowPlaces& destination, const RowExtent& extent) noexcept;

/// Replaces a source that collides with the destination by a copy, which lives in the block returned. Nothing when
/// there is no memory.
std::optional<ScratchBlock> MoveApart(RowPlaces& source, const RowPlaces& destination,
                                      const RowExtent& extent) noexcept;

} // namespace PixelBlitter
