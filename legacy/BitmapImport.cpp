#include "BitmapImport.h"

#include "DepthConversion.h"
#include "RleDecoder.h"
#include "ScratchPtr.h"
#include "TPixCopy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <span>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = sizeof(BITMAPINFOHEADER);
constexpr DWORD kLaterHeaderSizes[] = {52, 56, 108, 124}; // versions that begin as this one and go on
constexpr std::uint32_t kOpaqueBlack = 0xFF000000;

struct DisposePixmap {
    void operator()(TPix** hand) const { tpixDispose(hand); }
};
using OwnedPixmap = std::unique_ptr<TPix*, DisposePixmap>;

/// A resource's bitmap as its header describes it, and the bytes that are really there.
struct PackedBitmap {
    BITMAPINFOHEADER header{};
    std::int16_t width = 0;
    std::int16_t height = 0;
    std::size_t colours = 0;
    Bytes colourTable;
    Bytes rows;
};

Bytes From(Bytes bytes, std::size_t offset) {
    return bytes.subspan(std::min(offset, bytes.size()));
}

/// The count as far as it goes into 16 bits; where the header has none, all that the depth can index.
std::size_t ColourCount(const BITMAPINFOHEADER& header) {
    std::uint32_t count = header.biClrUsed & 0xFFFF;
    if (count == 0 && header.biBitCount <= 8) {
        count = header.biClrImportant & 0xFFFF;
        if (count == 0 && (header.biBitCount == 1 || header.biBitCount == 4 || header.biBitCount == 8)) {
            count = 1U << header.biBitCount;
        }
    }
    return count;
}

std::optional<PackedBitmap> Unpack(Bytes resource) {
    if (resource.size() < kHeaderSize) {
        return std::nullopt;
    }
    PackedBitmap bitmap;
    std::memcpy(&bitmap.header, resource.data(), kHeaderSize);
    bitmap.width = static_cast<std::int16_t>(bitmap.header.biWidth);
    bitmap.height = static_cast<std::int16_t>(bitmap.header.biHeight);
    bitmap.colours = ColourCount(bitmap.header);
    const bool isLater = std::ranges::find(kLaterHeaderSizes, bitmap.header.biSize) != std::end(kLaterHeaderSizes);
    const Bytes afterHeader = From(resource, isLater ? bitmap.header.biSize : kHeaderSize);
    bitmap.colourTable = afterHeader.first(std::min(bitmap.colours * sizeof(RGBQUAD), afterHeader.size()));
    bitmap.rows = From(afterHeader, bitmap.colours * sizeof(RGBQUAD));
    return bitmap;
}

/// The colours as opaque pixels; every index has one.
std::array<std::uint32_t, 256> PixelsOfColours(Bytes colourTable) {
    std::array<std::uint32_t, 256> pixels{};
    pixels.fill(kOpaqueBlack);
    for (std::size_t i = 0; i < std::min(pixels.size(), colourTable.size() / sizeof(RGBQUAD)); ++i) {
        std::memcpy(&pixels[i], colourTable.data() + i * sizeof(RGBQUAD), 3);
    }
    return pixels;
}

/// Rows of 8-bit indexes of a run-length encoded bitmap; empty when memory is exhausted. The stream may go on beyond
/// the rows that are read, as far as the header's height; memory is taken for all, and of the rest only what it writes
/// is touched.
VF::Pixmaps::ScratchPtr DecodedRows(const PackedBitmap& bitmap) {
    const std::size_t rowBytes = VF::RunLength::RowBytes(bitmap.width);
    const std::size_t size = rowBytes * static_cast<std::size_t>(std::max(bitmap.header.biHeight, 0));
    VF::Pixmaps::ScratchPtr rows = size != 0 ? VF::Pixmaps::NewScratch(size) : nullptr;
    if (rows) {
        std::memset(rows.get(), 0, rowBytes * static_cast<std::size_t>(bitmap.height));
        VF::RunLength::Decode({bitmap.rows.data(), std::ssize(bitmap.rows)},
                              {rows.get(), static_cast<std::ptrdiff_t>(size)}, static_cast<std::uint16_t>(rowBytes));
    }
    return rows;
}

/// Converts one row of a depth; the row is complete.
void ConvertRow(const std::uint8_t* row, std::uint8_t* pixels, std::int32_t width, int depth,
                const std::array<std::uint32_t, 256>& colours) {
    if (depth == 24) {
        _KxDepthCon24To32(row, pixels, width, 1, 0, 0);
        return;
    }
    if (depth == 8) {
        DepthCon8To32(row, pixels, width, 1, 0, 0, colours.data());
        return;
    }
    for (std::int32_t x = 0; x < width; ++x) {
        const unsigned index = x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 0xF;
        std::memcpy(pixels + std::ptrdiff_t{x} * 4, &colours[index], 4);
    }
}

/// Fills the record's rows, which lie as the file's do, bottom row first. False when memory is exhausted.
bool ConvertRows(const PackedBitmap& bitmap, const TPix& record) {
    const int depth = bitmap.header.biBitCount;
    if (depth != 4 && depth != 8 && depth != 24) {
        return true;
    }
    const auto rowBytes = static_cast<std::size_t>(CalcRowBytes(bitmap.width, depth));
    Bytes rows = bitmap.rows;
    VF::Pixmaps::ScratchPtr decoded;
    if (depth == 8 && bitmap.header.biCompression == BI_RLE8) {
        decoded = DecodedRows(bitmap);
        if (!decoded) {
            return false;
        }
        rows = {decoded.get(), rowBytes * static_cast<std::size_t>(bitmap.height)};
    }
    const std::array<std::uint32_t, 256> colours = PixelsOfColours(bitmap.colourTable);
    const std::size_t usedBytes = (static_cast<std::size_t>(bitmap.width) * static_cast<std::size_t>(depth) + 7) / 8;
    for (std::size_t y = 0; y < static_cast<std::size_t>(bitmap.height); ++y) {
        std::uint8_t* pixels = record.pixels + static_cast<std::ptrdiff_t>(y) * record.rowbytes;
        const Bytes row = From(rows, y * rowBytes);
        if (row.size() >= usedBytes) {
            ConvertRow(row.data(), pixels, bitmap.width, depth, colours);
        } else {
            std::fill_n(reinterpret_cast<std::uint32_t*>(pixels), bitmap.width, kOpaqueBlack);
        }
    }
    return true;
}

/// A resource in use.
class LockedResource {
public:
    LockedResource(unsigned short id, HMODULE module) {
        const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(id), RT_BITMAP);
        mLoaded = resource != nullptr ? LoadResource(module, resource) : nullptr;
        const void* data = mLoaded != nullptr ? LockResource(mLoaded) : nullptr;
        if (data != nullptr) {
            mBytes = {static_cast<const std::uint8_t*>(data), SizeofResource(module, resource)};
        }
    }
    ~LockedResource() {
        if (mLoaded != nullptr) {
            FreeResource(mLoaded);
        }
    }
    LockedResource(const LockedResource&) = delete;
    LockedResource& operator=(const LockedResource&) = delete;

    /// Empty when there is no such resource.
    Bytes Content() const { return mBytes; }

private:
    HGLOBAL mLoaded = nullptr;
    Bytes mBytes;
};

} // namespace

TPixHand Bmp2TPix(unsigned short inResourceId, HMODULE inModule, const RECT* inSize) {
    const LockedResource resource(inResourceId, inModule);
    const std::optional<PackedBitmap> bitmap = Unpack(resource.Content());
    if (!bitmap) {
        return nullptr;
    }
    const RECT whole{0, 0, bitmap->width, bitmap->height};
    OwnedPixmap picture(tpixNew(&whole));
    if (!picture) {
        return nullptr;
    }
    const bool hasPixels = bitmap->width > 0 && bitmap->height > 0;
    if (hasPixels && ((*picture)->pixels == nullptr || !ConvertRows(*bitmap, **picture))) {
        return nullptr;
    }
    const bool isScaled = inSize != nullptr && (std::int64_t{inSize->right} - inSize->left != whole.right ||
                                                std::int64_t{inSize->bottom} - inSize->top != whole.bottom);
    if (!isScaled) {
        return picture.release();
    }
    OwnedPixmap scaled(tpixNew(inSize));
    if (!scaled) {
        return nullptr;
    }
    MyCopyPix(*picture, *scaled, &whole, inSize, 0, nullptr);
    return scaled.release();
}
