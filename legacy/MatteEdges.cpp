#include "AlphaChannels.h"
#include "HandleMemory.h"
#include "RollingRows.h"
#include "ScratchPtr.h"
#include "kernels/PixmapKernels.h"

using namespace VF::Pixmaps;

void EdgeAliasChannel(void* ioPixels, std::int32_t inRowBytes, std::int32_t inWidth, std::int32_t inHeight,
                      std::uint8_t* ioMask) {
    if (ioPixels == nullptr || ioMask == nullptr || inWidth <= 0 || inHeight <= 0 ||
        inRowBytes < std::int64_t{4} * inWidth) {
        return;
    }
    // Either holds three rows of pixels several times over.
    const std::size_t bufferBytes = (static_cast<std::size_t>(inRowBytes) + 2) * 16;
    const ScratchPtr maskBuffer = NewScratch(bufferBytes), pixelBuffer = NewScratch(bufferBytes);
    if (!maskBuffer || !pixelBuffer) {
        return;
    }
    const auto smooth = KernelsOfThisMachine().mattes.smoothFringe;
    const auto width = static_cast<std::size_t>(inWidth);
    auto* const pixels = static_cast<std::uint8_t*>(ioPixels);
    RollingRows maskRows(maskBuffer.get(), ioMask, width, inWidth, inHeight, 1, 0);
    RollingRows pixelRows(pixelBuffer.get(), pixels, 4 * width, inRowBytes, inHeight, 4, 0);
    for (std::int32_t row = 0; row < inHeight; ++row) {
        const auto mask = maskRows.Advance(row), picture = pixelRows.Advance(row);
        smooth(mask.data(), picture.data(), ioMask + std::ptrdiff_t{row} * inWidth,
               pixels + std::ptrdiff_t{row} * inRowBytes, width);
    }
}

void EdgePaintChannel(void* ioPixels, std::int32_t inRowBytes, std::int32_t inWidth, std::int32_t inHeight,
                      std::uint32_t inColour, std::uint8_t* ioMask, std::uint8_t* outScratch) {
    if (ioPixels == nullptr || ioMask == nullptr || outScratch == nullptr || inWidth <= 2 || inHeight <= 2) {
        return;
    }
    const auto paint = KernelsOfThisMachine().mattes.paintFringe;
    const auto width = static_cast<std::size_t>(inWidth);
    for (std::int32_t row = 0; row < inHeight; ++row) {
        const std::uint8_t* const middle = ioMask + std::ptrdiff_t{row} * inWidth;
        const std::uint8_t* const rows[3] = {row > 0 ? middle - inWidth : middle, middle,
                                             row + 1 < inHeight ? middle + inWidth : middle};
        std::uint8_t* const marks = outScratch + std::ptrdiff_t{row} * inWidth;
        std::uint8_t* const pixels = static_cast<std::uint8_t*>(ioPixels) + std::ptrdiff_t{row} * inRowBytes;
        // At the ends of a row the element itself stands in for the neighbour that is missing.
        const auto paintEnd = [&](std::size_t at, std::uint8_t left, std::uint8_t right) {
            const std::uint8_t three[3] = {left, middle[at], right};
            const std::uint8_t* const end[3] = {rows[0] + at, three + 1, rows[2] + at};
            paint(end, marks + at, pixels + 4 * at, 1, inColour);
        };
        const std::size_t last = width - 1;
        const std::uint8_t* const inner[3] = {rows[0] + 1, rows[1] + 1, rows[2] + 1};
        paintEnd(0, middle[0], middle[1]);
        paint(inner, marks + 1, pixels + 4, width - 2, inColour);
        paintEnd(last, middle[last - 1], middle[last]);
    }
    KxBlockMove(outScratch, ioMask, width * static_cast<std::size_t>(inHeight));
}
