#include "BitmapLayout.h"
#include "PaletteQuantizer.h"
#include "kernels/PixmapKernels.h"

#include <algorithm>
#include <array>

using namespace VF::Pixmaps;

namespace {

struct Reduction {
    const std::uint8_t* source;
    std::uint8_t* destination;
    std::int32_t width;
    std::int32_t height;
    std::int32_t sourceRowBytes;
    std::int32_t destinationRowBytes;
};

// Steps between rows are of 16 bits.
std::ptrdiff_t StepOf(std::int32_t rowBytes, std::size_t usedBytes) noexcept {
    return static_cast<std::ptrdiff_t>(usedBytes) +
           static_cast<std::uint16_t>(static_cast<std::uint32_t>(rowBytes) - usedBytes);
}

// Calls reduce(source row, destination row).
template <class Reduce>
void EachReducedRow(const Reduction& rows, std::size_t sourceBytes, std::size_t destinationBytes,
                    const Reduce& reduce) {
    const std::ptrdiff_t sourceStep = StepOf(rows.sourceRowBytes, sourceBytes);
    const std::ptrdiff_t destinationStep = StepOf(rows.destinationRowBytes, destinationBytes);
    for (std::int32_t row = 0; row < rows.height; ++row) {
        reduce(rows.source + row * sourceStep, rows.destination + row * destinationStep);
    }
}

// Little-endian words to entries of the map.
void LookUp(const std::uint8_t* words, std::uint8_t* to, std::size_t count, const std::uint8_t* map) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = map[(words[2 * i] | static_cast<std::size_t>(words[2 * i + 1]) << 8) & (kColourIndexes - 1)];
    }
}

void ReduceColours(std::size_t pixelBytes, const Reduction& rows, const std::uint8_t* map) noexcept {
    constexpr std::size_t kPiece = 1024;
    alignas(64) std::array<std::uint8_t, 2 * kPiece> indexes;
    const DepthKernels& kernels = KernelsOfThisMachine().depth;
    const PixelRun to555 = pixelBytes == 4 ? kernels.from32To555 : kernels.from24To555;
    const auto width = static_cast<std::size_t>(rows.width);
    EachReducedRow(rows, pixelBytes * width, width, [&](const std::uint8_t* source, std::uint8_t* destination) {
        if (pixelBytes == 2) {
            LookUp(source, destination, width, map);
            return;
        }
        for (std::size_t i = 0; i < width; i += kPiece) {
            const std::size_t count = std::min(kPiece, width - i);
            to555(source + pixelBytes * i, indexes.data(), count, Transfer{});
            LookUp(indexes.data(), destination + i, count, map);
        }
    });
}

// Pixels of up to a byte, the first one in the highest bits.
void ReduceIndexed(int pixelBits, const Reduction& rows, const std::array<std::uint8_t, 256>& table) noexcept {
    const std::size_t pixelsPerByte = 8 / static_cast<std::size_t>(pixelBits);
    const std::size_t mask = (std::size_t{1} << pixelBits) - 1;
    const auto width = static_cast<std::size_t>(rows.width);
    const std::size_t bytes = (width + pixelsPerByte - 1) / pixelsPerByte;
    // Both nibbles of a byte are written, also where a row ends between them; the padding has room for it.
    const std::size_t written = pixelBits == 4 ? 2 * bytes : width;
    EachReducedRow(rows, bytes, written, [&](const std::uint8_t* source, std::uint8_t* destination) {
        for (std::size_t i = 0; i < written; ++i) {
            const std::size_t place = i % pixelsPerByte;
            const std::size_t shift = (pixelsPerByte - 1 - place) * static_cast<std::size_t>(pixelBits);
            destination[i] = table[static_cast<std::size_t>(source[i / pixelsPerByte]) >> shift & mask];
        }
    });
}

// The rows of both bitmaps; bits that are not given lie behind their headers.
Reduction RowsOf(const BITMAPINFOHEADER& sourceHeader, const void* sourceBits,
                 const BITMAPINFOHEADER& destinationHeader, void* destinationBits) noexcept {
    const std::int32_t width = sourceHeader.biWidth;
    return {sourceBits != nullptr ? static_cast<const std::uint8_t*>(sourceBits)
                                  : BitsBehind(sourceHeader, ColourCount(sourceHeader)),
            destinationBits != nullptr
                ? static_cast<std::uint8_t*>(destinationBits)
                : const_cast<std::uint8_t*>(BitsBehind(destinationHeader, ColourCount(destinationHeader))),
            width,
            sourceHeader.biHeight,
            sourceHeader.biBitCount == 32 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(width) * 4)
                                          : BitmapRowBytes(sourceHeader.biBitCount, width),
            static_cast<std::int32_t>((static_cast<std::uint32_t>(width) + 3) & ~3U)};
}

bool IsEmpty(const BITMAPINFOHEADER* source, const BITMAPINFOHEADER* destination, const void* map) noexcept {
    return source == nullptr || destination == nullptr || map == nullptr || source->biWidth <= 0 ||
           source->biHeight <= 0;
}

} // namespace

void ReducePixels(const BITMAPINFOHEADER* inSourceHeader, const void* inSourceBits,
                  const BITMAPINFOHEADER* inDestinationHeader, void* outDestinationBits, HPALETTE /*inPalette*/,
                  const void* inMap) {
    if (IsEmpty(inSourceHeader, inDestinationHeader, inMap)) {
        return;
    }
    const Reduction rows = RowsOf(*inSourceHeader, inSourceBits, *inDestinationHeader, outDestinationBits);
    const auto* const map = static_cast<const std::uint8_t*>(inMap);
    switch (inSourceHeader->biBitCount) {
    case 1:
    case 4:
    case 8: {
        const std::uint32_t colours = ColourCount(*inSourceHeader);
        const auto indexes = ColourIndexesOf(*inSourceHeader, colours);
        std::array<std::uint8_t, 256> table{};
        for (std::size_t i = 0; i < std::min<std::size_t>(colours, table.size()); ++i) {
            table[i] = map[indexes[i]];
        }
        return ReduceIndexed(inSourceHeader->biBitCount, rows, table);
    }
    case 16:
    case 24:
    case 32:
        return ReduceColours(inSourceHeader->biBitCount / 8U, rows, map);
    default:
        return;
    }
}

void ReducePixelsHist(const BITMAPINFOHEADER* inSourceHeader, const void* inSourceBits,
                      const BITMAPINFOHEADER* inDestinationHeader, void* outDestinationBits, HPALETTE /*inPalette*/,
                      const void* inMap, std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    if (IsEmpty(inSourceHeader, inDestinationHeader, inMap)) {
        return;
    }
    Reduction rows = RowsOf(*inSourceHeader, inSourceBits, *inDestinationHeader, outDestinationBits);
    rows.sourceRowBytes = inSourceRowBytes != 0 ? inSourceRowBytes : rows.sourceRowBytes;
    rows.destinationRowBytes = inDestinationRowBytes != 0 ? inDestinationRowBytes : rows.destinationRowBytes;
    ReduceColours(4, rows, static_cast<const std::uint8_t*>(inMap));
}
