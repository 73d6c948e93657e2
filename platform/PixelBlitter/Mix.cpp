#include "Mix.h"

#include "Convert.h"
#include "MemoryRegime.h"
#include "RowPlaces.h"

#include <cmath>
#include <utility>

namespace PixelBlitter {
namespace {

std::optional<MixElement> ElementOf(Packing packing) noexcept {
    switch (packing) {
    case Packing::Bytes:
    case Packing::Pairs:
    case Packing::Planar:
        return MixElement::Byte;
    case Packing::Words:
        return MixElement::Word;
    case Packing::Groups:
        return MixElement::Group;
    case Packing::Floats:
        return MixElement::Float;
    case Packing::Compressed:
    case Packing::DvPlanes:
    case Packing::Opaque:
        break;
    }
    return std::nullopt;
}

// weight is at most a half.
MixShare ShareOf(float weight) noexcept {
    const auto in = [=](double scale) { return std::lround(weight * scale); };
    return {static_cast<std::int16_t>(in(0x1p15)), static_cast<std::int16_t>(-in(0x1p16)), weight};
}

// Of a weight that leaves one of the sources.
PB_Result Copy(const PictureArguments& source, const PictureArguments& destination, const Format& format) noexcept {
    return ConvertPicture(CheckedPicture(source, format), Writable(CheckedPicture(destination, format)));
}

} // namespace

// Operations on frames mix single rows by the thousand, so no more is made of the arguments than is needed.
PB_Result MixPictures(const PictureArguments& a, const PictureArguments& b, const PictureArguments& destination,
                      float weight) noexcept {
    const std::optional<Format> format = FindFormat(destination.format);
    const std::optional<MixElement> element = format ? ElementOf(format->packing) : std::nullopt;
    if (!element) {
        return kPB_UnsupportedFormat;
    }
    for (const PictureArguments* const picture : {&a, &b, &destination}) {
        if (const PB_Result result = CheckPlace(*picture, *format); result != kPB_Success) {
            return result;
        }
    }
    if (!(weight > 0)) {
        return Copy(a, destination, *format);
    }
    if (weight >= 1) {
        return Copy(b, destination, *format);
    }
    RowExtent extent = ExtentOf(destination, *format);
    const RowPlaces to = PlacesOf(destination, *format);
    RowPlaces from[2] = {PlacesOf(a, *format), PlacesOf(b, *format)};
    Transfer transfer;
    // What is written in place has just been read into the caches.
    transfer.stream = StreamsStores(3 * extent.Total()) && from[0] != to && from[1] != to;
    const std::optional<ScratchBlock> copies[2] = {MoveApart(from[0], to, extent), MoveApart(from[1], to, extent)};
    if (!copies[0] || !copies[1]) {
        return kPB_OutOfMemory;
    }
    if (weight > 0.5F) {
        std::swap(from[0], from[1]);
        weight = 1 - weight;
    }
    const Kernels& kernels = KernelsOfThisMachine();
    const auto index = static_cast<std::size_t>(*element);
    const bool half = weight == 0.5F;
    const MixRow mix = half ? kernels.mix.average[index] : kernels.mix.mix[index];
    const MixShare share = half ? MixShare{0, 0, weight} : ShareOf(weight);
    extent = Joined(extent, {&from[0], &from[1], &to});
    transfer.ahead = extent.count == 1 ? FetchDistance() : from[1].stride;
    auto* const written = static_cast<std::uint8_t*>(const_cast<void*>(destination.data));
    for (int row = 0; row < extent.count; ++row) {
        mix(from[0][row], from[1][row], written + row * to.stride, extent.bytes, share, transfer);
    }
    if (transfer.stream) {
        kernels.finishStreaming();
    }
    return kPB_Success;
}

} // namespace PixelBlitter
