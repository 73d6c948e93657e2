#include "RunLength.h"

#include "LockedGlobal.h"
#include "RleDecoder.h"

#include <cstring>
#include <optional>

namespace {

using VF::Pixmaps::LockedGlobal;
using VF::RunLength::kUnlimited;

/// A packed bitmap's header and where its pixels start.
struct PackedBitmap {
    BITMAPINFOHEADER header{};
    std::size_t pixelsAt = 0;
};

/// Empty when the header's sizes lead out of the memory.
std::optional<PackedBitmap> Unpack(const LockedGlobal& memory) {
    PackedBitmap bitmap;
    if (memory.Size() < sizeof bitmap.header) {
        return std::nullopt;
    }
    std::memcpy(&bitmap.header, memory.Bytes(), sizeof bitmap.header);
    bitmap.pixelsAt = std::size_t{bitmap.header.biSize} + std::size_t{bitmap.header.biClrUsed} * sizeof(RGBQUAD);
    return bitmap.pixelsAt <= memory.Size() ? std::optional(bitmap) : std::nullopt;
}

} // namespace

void DecodeRle(const BITMAPINFOHEADER* inHeader, void* outDestination, const void* inSource) {
    if (inHeader == nullptr || outDestination == nullptr || inSource == nullptr) {
        return;
    }
    VF::RunLength::Decode({static_cast<const std::uint8_t*>(inSource), kUnlimited},
                          {static_cast<std::uint8_t*>(outDestination), kUnlimited},
                          VF::RunLength::RowBytes(inHeader->biWidth));
}

void PlayRle(const BITMAPINFOHEADER* inHeader, void* outDestination, const void* inSource) {
    DecodeRle(inHeader, outDestination, inSource);
}

void PlayRleDib(HGLOBAL inDestinationDib, HGLOBAL inSourceDib) {
    const LockedGlobal destination(inDestinationDib);
    const LockedGlobal source(inSourceDib);
    const std::optional<PackedBitmap> to = Unpack(destination);
    const std::optional<PackedBitmap> from = Unpack(source);
    if (!to || !from) {
        return;
    }
    VF::RunLength::Decode(
        {source.Bytes() + from->pixelsAt, static_cast<std::ptrdiff_t>(source.Size() - from->pixelsAt)},
        {destination.Bytes() + to->pixelsAt, static_cast<std::ptrdiff_t>(destination.Size() - to->pixelsAt)},
        VF::RunLength::RowBytes(to->header.biWidth));
}
