#pragma once

/// Walks over the rows of flat pixel maps.

#include "PixelBlitter/MemoryRegime.h"
#include "ScratchPtr.h"
#include "kernels/PixmapKernels.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace VF::Pixmaps {

/// Rows of pixels; the steps between them are in bytes and may be negative.
struct RowPair {
    const std::uint8_t* source;
    std::uint8_t* destination;
    std::int32_t width;
    std::int32_t height;
    std::ptrdiff_t sourceStep;
    std::ptrdiff_t destinationStep;

    bool IsEmpty() const noexcept { return source == nullptr || destination == nullptr || width <= 0 || height <= 0; }
    std::size_t Pixels() const noexcept { return static_cast<std::size_t>(width); }
};

/// Calls run(source, destination, row, transfer) for each row in turn. Large pictures are stored past the caches, by
/// the converter's rule; movedBytes are those that a pixel reads and writes.
template <class Run>
void EachRow(const RowPair& rows, std::size_t movedBytes, const Run& run) {
    if (rows.IsEmpty()) {
        return;
    }
    const auto height = static_cast<std::size_t>(rows.height);
    // In place nothing is gained: what is written has been read anyway.
    const Transfer transfer{rows.source != rows.destination &&
                                PixelBlitter::StreamsStores(std::uint64_t{movedBytes} * rows.Pixels() * height),
                            PixelBlitter::FetchDistance()};
    for (std::size_t row = 0; row < height; ++row) {
        const auto step = static_cast<std::ptrdiff_t>(row);
        run(rows.source + step * rows.sourceStep, rows.destination + step * rows.destinationStep, row, transfer);
    }
    if (transfer.stream) {
        KernelsOfThisMachine().finishStreaming();
    }
}

/// Whether rows of 32-bit pixels are written that are read as part of another row or at another place of the same.
inline bool OverlapAskew(const RowPair& rows) noexcept {
    const auto rowBytes = static_cast<std::int64_t>(rows.Pixels() * 4);
    const auto distance = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(rows.destination) -
                                                    reinterpret_cast<std::uintptr_t>(rows.source));
    if (distance == 0 && rows.sourceStep == rows.destinationStep) {
        return false;
    }
    const auto lowest = [&](std::int64_t step) { return step < 0 ? step * (rows.height - 1) : 0; };
    const auto end = [&](std::int64_t step) { return lowest(step) + std::abs(step) * (rows.height - 1) + rowBytes; };
    if (distance + lowest(rows.destinationStep) >= end(rows.sourceStep) ||
        lowest(rows.sourceStep) >= distance + end(rows.destinationStep)) {
        return false;
    }
    const std::int64_t step = std::abs(std::int64_t{rows.sourceStep});
    if (rows.sourceStep != rows.destinationStep || step == 0) {
        return true;
    }
    const std::int64_t aside = (distance % step + step) % step; // two parts of one picture, side by side
    return aside < rowBytes || step - aside < rowBytes;
}

/// EachRow of pictures of 32-bit pixels. A source that the destination overlaps is copied first, so that every row and
/// every processor sees it as it was; nothing happens when there is no memory for that.
template <class Run>
void EachRowOfPixels(RowPair rows, std::size_t movedBytes, const Run& run) {
    ScratchPtr copy;
    if (!rows.IsEmpty() && OverlapAskew(rows)) {
        const std::size_t rowBytes = rows.Pixels() * 4;
        copy = NewScratch(rowBytes * static_cast<std::size_t>(rows.height));
        if (!copy) {
            return;
        }
        for (std::int32_t row = 0; row < rows.height; ++row) {
            std::memcpy(copy.get() + static_cast<std::size_t>(row) * rowBytes, rows.source + row * rows.sourceStep,
                        rowBytes);
        }
        rows.source = copy.get();
        rows.sourceStep = static_cast<std::ptrdiff_t>(rowBytes);
    }
    EachRow(rows, movedBytes, run);
}

/// Calls run(source, destination, pixels, transfer) for each row in turn, or once where rows have no gaps on both
/// sides.
template <class Run>
void EachRun(RowPair rows, std::size_t sourcePixelBytes, std::size_t destinationPixelBytes, const Run& run) {
    std::size_t pixels = rows.IsEmpty() ? 0 : rows.Pixels();
    const std::size_t movedBytes = sourcePixelBytes + destinationPixelBytes;
    if (!rows.IsEmpty() && rows.sourceStep == static_cast<std::ptrdiff_t>(pixels * sourcePixelBytes) &&
        rows.destinationStep == static_cast<std::ptrdiff_t>(pixels * destinationPixelBytes)) {
        const auto height = static_cast<std::size_t>(rows.height);
        pixels *= height;
        rows.height = 1;
        EachRow(rows, movedBytes * height,
                [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t, const Transfer& transfer) {
                    run(source, destination, pixels, transfer);
                });
        return;
    }
    EachRow(rows, movedBytes,
            [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t, const Transfer& transfer) {
                run(source, destination, pixels, transfer);
            });
}

} // namespace VF::Pixmaps
