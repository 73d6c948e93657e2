#pragma once

/// Rows of pictures whose pixels are one unit each on both sides.

#include "MemoryRegime.h"
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

/// For rows of the source in the order of memory.
inline Transfer TransferInMemoryOrder(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const bool gapless = source.stride == static_cast<std::ptrdiff_t>(UsedRowBytes(source.format, source.width));
    return {conversion.stream, gapless ? FetchDistance() : source.stride};
}

/// For rows that are read more than once, or from the top of the picture: the next row is fetched.
inline Transfer TransferByRows(const Conversion& conversion, std::ptrdiff_t toNextRow) noexcept {
    return {conversion.stream, toNextRow};
}

} // namespace PixelBlitter
