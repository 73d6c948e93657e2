#pragma once

/// Rows of pictures whose pixels are one unit each on both sides.

#include "Paths.h"

namespace PixelBlitter {

/// Calls run(source, destination, units) for each row of the pictures, or once when rows follow one another without
/// gaps in both.
template <class Run>
void ForEachRun(const Conversion& conversion, std::uint64_t sourceRowBytes, std::uint64_t destinationRowBytes,
                std::size_t unitsPerRow, const Run& run) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const auto rows = static_cast<std::size_t>(source.height);
    if (source.stride == static_cast<std::ptrdiff_t>(sourceRowBytes) &&
        destination.stride == static_cast<std::ptrdiff_t>(destinationRowBytes)) {
        run(source.base, destination.base, unitsPerRow * rows);
        return;
    }
    for (int row = 0; row < source.height; ++row) {
        run(source.MemoryRow(row), destination.MemoryRow(row), unitsPerRow);
    }
}

} // namespace PixelBlitter
