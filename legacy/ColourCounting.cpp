#include "ColourCounting.h"

#include "ColourTally.h"
#include "kernels/PixmapKernels.h"

#include <algorithm>
#include <array>

namespace VF::Pixmaps {
namespace {

// Calls count(row) for each row, whose pixels take so many bytes.
template <class Count>
void EachPackedRow(const PackedRows& rows, std::size_t usedBytes, RowStep kind, const Count& count) {
    const auto rest = static_cast<std::uint16_t>(static_cast<std::uint32_t>(rows.rowBytes) - usedBytes);
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(usedBytes) +
                                (kind == RowStep::Signed ? std::ptrdiff_t{static_cast<std::int16_t>(rest)} : rest);
    for (std::int32_t row = 0; row < rows.height; ++row) {
        count(rows.start + row * step);
    }
}

// Pixels of several bytes; all but words become colour indexes first, a piece at a time.
void CountColours(std::size_t pixelBytes, const PackedRows& rows, RowStep kind, std::uint32_t* histogram) noexcept {
    constexpr std::size_t kPiece = 1024;
    alignas(64) std::array<std::uint8_t, 2 * kPiece> indexes;
    const DepthKernels& kernels = KernelsOfThisMachine().depth;
    const PixelRun to555 = pixelBytes == 4 ? kernels.from32To555 : kernels.from24To555;
    const auto width = static_cast<std::size_t>(rows.width);
    ColourTally tally(histogram, width * static_cast<std::size_t>(rows.height));
    EachPackedRow(rows, pixelBytes * width, kind, [&](const std::uint8_t* row) {
        if (pixelBytes == 2) {
            tally.Add(row, width);
            return;
        }
        for (std::size_t i = 0; i < width; i += kPiece) {
            const std::size_t count = std::min(kPiece, width - i);
            to555(row + pixelBytes * i, indexes.data(), count, Transfer{});
            tally.Add(indexes.data(), count);
        }
    });
}

// Whole bytes, the first pixel in the highest bits: counts the bytes, then of each value what pixels it holds.
void CountIndexed(int pixelBits, const PackedRows& rows, RowStep kind, std::uint32_t* histogram,
                  const std::uint16_t* table) noexcept {
    const int pixelsPerByte = 8 / pixelBits;
    const std::size_t usedBytes = (static_cast<std::size_t>(rows.width) + static_cast<std::size_t>(pixelsPerByte) - 1) /
                                  static_cast<std::size_t>(pixelsPerByte);
    std::array<std::uint64_t, 256> bytes{}, pixels{};
    EachPackedRow(rows, usedBytes, kind, [&](const std::uint8_t* row) {
        for (std::size_t i = 0; i < usedBytes; ++i) {
            ++bytes[row[i]];
        }
    });
    for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
        for (int shift = 0; shift < 8; shift += pixelBits) {
            pixels[byte >> shift & ((std::size_t{1} << pixelBits) - 1)] += bytes[byte];
        }
    }
    for (std::size_t pixel = 0; pixel < pixels.size(); ++pixel) {
        if (pixels[pixel] > 0) { // a table has no entries for more than a pixel's values
            AddToCounter(histogram[table[pixel] & (kColourIndexes - 1)], pixels[pixel]);
        }
    }
}

} // namespace

void CountPixels(int bitCount, const PackedRows& rows, RowStep step, std::uint32_t* histogram,
                 const std::uint16_t* table) noexcept {
    if (rows.IsEmpty() || histogram == nullptr) {
        return;
    }
    switch (bitCount) {
    case 1:
    case 4:
    case 8:
        if (table != nullptr) {
            CountIndexed(bitCount, rows, step, histogram, table);
        }
        return;
    case 16:
    case 24:
    case 32:
        return CountColours(static_cast<std::size_t>(bitCount) / 8, rows, step, histogram);
    default:
        return;
    }
}

} // namespace VF::Pixmaps
