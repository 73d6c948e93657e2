#include "Alpha.h"

#include "RowRuns.h"
#include "SafeSource.h"

#include <algorithm>
#include <cstring>

namespace PixelBlitter {
namespace {

MixElement ElementOf(Packing packing) noexcept {
    return packing == Packing::Bytes   ? MixElement::Byte
           : packing == Packing::Words ? MixElement::Word
                                       : MixElement::Float; // no other format has alpha
}

PB_Result ReplaceAlpha(const SourcePicture& source, const DestinationPicture& destination,
                       const AlphaRow (&table)[kMixElements], const AlphaBytes& alpha) noexcept {
    const AlphaRow replace = table[static_cast<std::size_t>(ElementOf(source.format.packing))];
    Conversion conversion{source, destination, KernelsOfThisMachine()};
    const SafeSource safe(source, destination, conversion.kernels);
    if (!safe.IsValid()) {
        return kPB_OutOfMemory;
    }
    conversion.source = safe.Picture();
    // What is written in place has just been read into the caches.
    conversion.stream = !InPlace(source, destination) && StreamsStores(2 * PixelBytes(source));
    const Transfer transfer = TransferInMemoryOrder(conversion);
    const std::uint64_t rowBytes = UsedRowBytes(source.format, source.width);
    ForEachRun(conversion, rowBytes, rowBytes, rowBytes,
               [&](const std::uint8_t* from, std::uint8_t* to, std::size_t bytes) noexcept {
                   replace(from, to, bytes, alpha, transfer);
               });
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
    return kPB_Success;
}

// The bytes of an alpha in every 16 bytes of pixels.
template <class Element>
AlphaBytes Repeat(Element alpha, bool alphaFirst) noexcept {
    AlphaBytes bytes{};
    for (std::size_t pixel = 0; pixel < sizeof bytes.mask; pixel += 4 * sizeof alpha) {
        const std::size_t at = pixel + (alphaFirst ? 0 : 3 * sizeof alpha);
        std::fill_n(bytes.mask + at, sizeof alpha, std::uint8_t{0xFF});
        std::memcpy(bytes.value + at, &alpha, sizeof alpha);
    }
    return bytes;
}

AlphaBytes AlphaBytesOf(const Format& format, float alpha) noexcept {
    const auto code = [=](int opaque) { return static_cast<int>(alpha * static_cast<double>(opaque) + 0.5); };
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

} // namespace

PB_Result InvertAlpha(const SourcePicture& source, const DestinationPicture& destination) noexcept {
    return ReplaceAlpha(source, destination, KernelsOfThisMachine().mix.invertAlpha, AlphaBytesOf(source.format, 0));
}

PB_Result SetAlpha(const SourcePicture& source, const DestinationPicture& destination, float alpha) noexcept {
    const float unit = alpha > 0 ? std::min(alpha, 1.0F) : 0;
    return ReplaceAlpha(source, destination, KernelsOfThisMachine().mix.setAlpha, AlphaBytesOf(source.format, unit));
}

} // namespace PixelBlitter
