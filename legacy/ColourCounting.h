#pragma once

/// Counting without a lock and without a current histogram.

#include <cstddef>
#include <cstdint>

namespace VF::Pixmaps {

/// Rows of packed pixels.
struct PackedRows {
    const std::uint8_t* start;
    std::int32_t width;
    std::int32_t height;
    std::int32_t rowBytes;

    bool IsEmpty() const noexcept { return start == nullptr || width <= 0 || height <= 0; }
};

/// How the 16 bits are read that step from the end of a row's pixels to the next row.
enum class RowStep { Unsigned, Signed };

/// Counts pixels of 1, 4, 8, 16, 24 or 32 bits; other depths count nothing. Up to 8 bits the table has a colour index
/// for every value of a pixel.
void CountPixels(int bitCount, const PackedRows& rows, RowStep step, std::uint32_t* histogram,
                 const std::uint16_t* table) noexcept;

} // namespace VF::Pixmaps
