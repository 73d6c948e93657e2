#include "MaskedCopy.h"

#include "RowWalk.h"

using namespace VF::Pixmaps;

namespace {

constexpr std::uint8_t kWholeSource = 255; // a weight
constexpr std::size_t kMovedBytes = 12;    // a pixel of the source and of the destination read, one written

std::int64_t WidthOf(const RECT& rect) noexcept {
    return std::int64_t{rect.right} - rect.left;
}
std::int64_t HeightOf(const RECT& rect) noexcept {
    return std::int64_t{rect.bottom} - rect.top;
}

bool Contains(const RECT& outer, const RECT& inner) noexcept {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

// The pixel of a rectangle that is stored first: rows are kept bottom-up.
std::uint8_t* FirstStored(const TPix& record, const RECT& rect) noexcept {
    return record.pixels + record.rowbytes * (std::ptrdiff_t{record.bounds.bottom} - rect.bottom) +
           std::ptrdiff_t{4} * rect.left;
}

} // namespace

void CopyMask8(const void* inSource, void* ioDestination, std::int32_t inWidth, std::int32_t inHeight,
               std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes, std::int32_t inMaskStep,
               const std::uint8_t* inMaskRow) {
    if (inMaskRow == nullptr) {
        return;
    }
    const auto copy = KernelsOfThisMachine().masks.throughBytes;
    const RowPair rows{static_cast<const std::uint8_t*>(inSource),
                       static_cast<std::uint8_t*>(ioDestination),
                       inWidth,
                       inHeight,
                       inSourceRowBytes,
                       inDestinationRowBytes};
    EachRowOfPixels(
        rows, kMovedBytes,
        [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t row, const Transfer& transfer) {
            const std::uint8_t* const mask = inMaskRow - static_cast<std::ptrdiff_t>(row) * inMaskStep;
            copy(source, destination, rows.Pixels(), mask, transfer);
        });
}

void CopyMaskTPix(const TPix* inSource, TPix* ioDestination, const RECT* inSourceRect, const RECT* inDestinationRect,
                  std::int32_t inMode, const void* inMaskBits) {
    if (inSource == nullptr || ioDestination == nullptr || inSourceRect == nullptr || inDestinationRect == nullptr ||
        inMaskBits == nullptr || inSource->pixels == nullptr || ioDestination->pixels == nullptr) {
        return;
    }
    const std::int64_t width = WidthOf(*inSourceRect), height = HeightOf(*inSourceRect);
    if (width <= 0 || height <= 0 || width != WidthOf(*inDestinationRect) || height != HeightOf(*inDestinationRect) ||
        width > INT32_MAX || height > INT32_MAX || !Contains(inSource->bounds, *inSourceRect) ||
        !Contains(ioDestination->bounds, *inDestinationRect)) {
        return;
    }
    const bool blends = (inMode & kPixelCopy_Blend) != 0;
    const auto weight = static_cast<std::uint8_t>(blends ? inMode & kPixelCopy_WeightBits : kWholeSource);
    if (weight == 0) {
        return;
    }
    const RowPair rows{FirstStored(*inSource, *inSourceRect),
                       FirstStored(*ioDestination, *inDestinationRect),
                       static_cast<std::int32_t>(width),
                       static_cast<std::int32_t>(height),
                       inSource->rowbytes,
                       ioDestination->rowbytes};
    const std::size_t maskRowBytes = ((rows.Pixels() - 1) / 16 + 1) * 2;
    const auto* const mask = static_cast<const std::uint8_t*>(inMaskBits);
    const MaskKernels& kernels = KernelsOfThisMachine().masks;
    EachRowOfPixels(
        rows, kMovedBytes,
        [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t row, const Transfer& transfer) {
            // The last mask row is the picture's lowest line, which is stored first.
            const std::uint8_t* const bits = mask + (static_cast<std::size_t>(height) - 1 - row) * maskRowBytes;
            if (weight == kWholeSource) {
                kernels.throughBits(source, destination, rows.Pixels(), bits, transfer);
            } else {
                kernels.blendThroughBits(source, destination, rows.Pixels(), bits, weight, transfer);
            }
        });
}
