#include "Mix.h"

#include "MemoryRegime.h"
#include "SafeSource.h"

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
    const auto in = [=](double scale) { return static_cast<int>(weight * scale + 0.5); };
    return {static_cast<std::int16_t>(in(0x1p15)), static_cast<std::int16_t>(-in(0x1p16)), weight};
}

struct Rows {
    std::size_t bytes; // of each
    int count;
};

// A run of bytes is one row.
Rows RowsOf(const SourcePicture& a, const SourcePicture& b, const DestinationPicture& destination) noexcept {
    if (!destination.format.HasRows()) {
        return {PixelBytes(a), 1};
    }
    const std::uint64_t bytes = UsedRowBytes(destination.format, destination.width);
    const auto gapless = [=](std::ptrdiff_t stride) { return stride == static_cast<std::ptrdiff_t>(bytes); };
    if (gapless(a.stride) && gapless(b.stride) && gapless(destination.stride)) {
        return {PixelBytes(a), 1};
    }
    return {bytes, destination.height};
}

} // namespace

PB_Result MixPictures(const SourcePicture& a, const SourcePicture& b, const DestinationPicture& destination,
                      float weight) noexcept {
    const std::optional<MixElement> element = ElementOf(destination.format.packing);
    if (!element) {
        return kPB_UnsupportedFormat;
    }
    if (!(weight > 0)) {
        return ConvertPicture(a, destination);
    }
    if (weight >= 1) {
        return ConvertPicture(b, destination);
    }
    const Kernels& kernels = KernelsOfThisMachine();
    const SafeSource safeA(a, destination, kernels);
    const SafeSource safeB(b, destination, kernels);
    if (!safeA.IsValid() || !safeB.IsValid()) {
        return kPB_OutOfMemory;
    }
    const bool swap = weight > 0.5F;
    const SourcePicture& from = swap ? safeB.Picture() : safeA.Picture();
    const SourcePicture& to = swap ? safeA.Picture() : safeB.Picture();
    const MixShare share = ShareOf(swap ? 1 - weight : weight);
    const auto index = static_cast<std::size_t>(*element);
    const MixRow mix = weight == 0.5F ? kernels.mix.average[index] : kernels.mix.mix[index];
    const Rows rows = RowsOf(from, to, destination);
    Transfer transfer;
    // What is written in place has just been read into the caches.
    transfer.stream = !InPlace(a, destination) && !InPlace(b, destination) && StreamsStores(3 * PixelBytes(a));
    transfer.ahead = rows.count == 1 ? FetchDistance() : to.stride;
    for (int row = 0; row < rows.count; ++row) {
        mix(from.MemoryRow(row), to.MemoryRow(row), destination.MemoryRow(row), rows.bytes, share, transfer);
    }
    if (transfer.stream) {
        kernels.finishStreaming();
    }
    return kPB_Success;
}

} // namespace PixelBlitter
