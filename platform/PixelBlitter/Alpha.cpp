#include "Alpha.h"

#include "MemoryRegime.h"
#include "RowPlaces.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace PixelBlitter {
namespace {

MixElement ElementOf(Packing packing) noexcept {
    return packing == Packing::Bytes   ? MixElement::Byte
           : packing == Packing::Words ? MixElement::Word
                                       : MixElement::Float; // no other format has alpha
}

// The bytes of an alpha in every 16 bytes of pixels.
template <class Element>
AlphaBytes Repeat(Element alpha, bool alphaFirst) noexcept {
    AlphaBytes bytes{};
    for (std::size_t pixel = 0; pixel < sizeof bytes.mask; pixel += 4 * sizeof alpha) {
        const std::size_t at = pixel + (alphaFirst ? 0 : 3 * sizeof alpha);
        std::fill_n(bytes.mask + at, sizeof alpha, std::uint8_t{0xFF});
        std::memcpy(bytes.value + at, &alpha, sizeof alpha);
        for (std::size_t byte = 0; byte < 4 * sizeof alpha; ++byte) {
            bytes.spread[pixel + byte] = static_cast<std::uint8_t>(at + byte % sizeof alpha);
        }
    }
    return bytes;
}

AlphaBytes AlphaBytesOf(const Format& format, float alpha) noexcept {
    const auto code = [=](int opaque) { return std::lround(alpha * static_cast<double>(opaque)); };
    switch (ElementOf(format.packing)) {
    case MixElement::Byte:
        return Repeat(static_cast<std::uint8_t>(code(255)), format.alphaFirst);
    case MixElement::Word:
        return Repeat(static_cast<std::uint16_t>(code(32768)), format.alphaFirst);
    case MixElement::Group:
    case MixElement::Float:
        break;
    }
    return Repeat(alpha, format.alphaFirst);
}

using AlphaRows = AlphaRow[kMixElements]; // by element

// Runs one of the kernels on both pictures, with one alpha for all pixels where it wants that.
PB_Result ChangeAlpha(const PictureArguments& source, const PictureArguments& destination,
                      const AlphaRows MixKernels::*rows, float value) noexcept {
    const std::optional<Format> format = FindFormat(source.format);
    if (!format || format->alpha == AlphaKind::None) {
        return kPB_UnsupportedFormat;
    }
    const Kernels& kernels = KernelsOfThisMachine();
    const AlphaRow change = (kernels.mix.*rows)[static_cast<std::size_t>(ElementOf(format->packing))];
    if (change == nullptr) {
        return kPB_UnsupportedFormat;
    }
    for (const PictureArguments* const picture : {&source, &destination}) {
        if (const PB_Result result = CheckPlace(*picture, *format); result != kPB_Success) {
            return result;
        }
    }
    RowExtent extent = ExtentOf(source, *format);
    RowPlaces from = PlacesOf(source, *format);
    const RowPlaces to = PlacesOf(destination, *format);
    Transfer transfer;
    // What is written in place has just been read into the caches.
    transfer.stream = StreamsStores(2 * extent.Total()) && from != to;
    const std::optional<ScratchBlock> copy = MoveApart(from, to, extent);
    if (!copy) {
        return kPB_OutOfMemory;
    }
    const AlphaBytes alpha = AlphaBytesOf(*format, value);
    extent = Joined(extent, {&from, &to});
    transfer.ahead = extent.count == 1 ? FetchDistance() : from.stride;
    auto* const written = static_cast<std::uint8_t*>(const_cast<void*>(destination.data));
    for (int row = 0; row < extent.count; ++row) {
        change(from[row], written + row * to.stride, extent.bytes, alpha, transfer);
    }
    if (transfer.stream) {
        kernels.finishStreaming();
    }
    return kPB_Success;
}

} // namespace

PB_Result InvertAlpha(const PictureArguments& source, const PictureArguments& destination) noexcept {
    return ChangeAlpha(source, destination, &MixKernels::invertAlpha, 0);
}

PB_Result SetAlpha(const PictureArguments& source, const PictureArguments& destination, float alpha) noexcept {
    return ChangeAlpha(source, destination, &MixKernels::setAlpha, alpha > 0 ? std::min(alpha, 1.0F) : 0.0F);
}

PB_Result MultiplyByAlpha(const PictureArguments& source, const PictureArguments& destination) noexcept {
    return ChangeAlpha(source, destination, &MixKernels::multiplyByAlpha, 1);
}

} // namespace PixelBlitter
