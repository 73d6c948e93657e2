#include "RunLength.h"

#include "RleDecoder.h"
#include "WindowsApi_Memory.h"

#include <cstring>
#include <optional>

namespace {

using VF::RunLength::Extent;
using VF::RunLength::kUnlimited;

/// A block of global memory, locked while this lives.
class LockedMemory {
public:
    explicit LockedMemory(HGLOBAL memory) : mMemory(memory), mData(static_cast<std::uint8_t*>(GlobalLock(memory))) {}
    ~LockedMemory() {
        if (mData != nullptr) {
            GlobalUnlock(mMemory);
        }
    }
    LockedMemory(const LockedMemory&) = delete;
    LockedMemory& operator=(const LockedMemory&) = delete;

    std::uint8_t* Data() const { return mData; }
    std::size_t Size() const { return mData != nullptr ? GlobalSize(mMemory) : 0; }

private:
    HGLOBAL mMemory;
    std::uint8_t* mData;
};

/// A packed bitmap's header and where its pixels start.
struct PackedBitmap {
    BITMAPINFOHEADER header{};
    std::size_t pixelsAt = 0;
};

/// Empty when the header's sizes lead out of the memory.
std::optional<PackedBitmap> Unpack(const LockedMemory& memory) {
    PackedBitmap bitmap;
    if (memory.Size() < sizeof bitmap.header) {
        return std::nullopt;
    }
    std::memcpy(&bitmap.header, memory.Data(), sizeof bitmap.header);
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
    const LockedMemory destination(inDestinationDib);
    const LockedMemory source(inSourceDib);
    const std::optional<PackedBitmap> to = Unpack(destination);
    const std::optional<PackedBitmap> from = Unpack(source);
    if (!to || !from) {
        return;
    }
    VF::RunLength::Decode(
        {source.Data() + from->pixelsAt, static_cast<std::ptrdiff_t>(source.Size() - from->pixelsAt)},
        {destination.Data() + to->pixelsAt, static_cast<std::ptrdiff_t>(destination.Size() - to->pixelsAt)},
        VF::RunLength::RowBytes(to->header.biWidth));
}
