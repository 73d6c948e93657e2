#include "Bitmaps.h"

#include "Palettes.h"
#include "StockObjects.h"
#include "WindowsApi_Bitmaps.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace WindowsApi {
namespace {

/// GetBitmapBits counts bytes in 31 bits.
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

std::uint64_t RowBytesOf(int inWidth, int inBitsPerPixel) noexcept {
    return (static_cast<std::uint64_t>(inWidth) * static_cast<unsigned>(inBitsPerPixel) + 15) / 16 * 2;
}

/// White and what is nearer to it than to black.
bool IsBright(COLORREF inColour) noexcept {
    return (inColour & 0xFF) + (inColour >> 8 & 0xFF) + (inColour >> 16 & 0xFF) > 3 * 0xFF / 2;
}

void FillBits(std::byte* outRow, int inFrom, int inTo, bool inSet) noexcept {
    const auto put = [inSet](std::byte& outByte, std::byte inMask) {
        outByte = inSet ? outByte | inMask : outByte & ~inMask;
    };
    const std::byte firstMask{static_cast<unsigned char>(0xFF >> inFrom % 8)};
    const std::byte lastMask{static_cast<unsigned char>(0xFF00 >> inTo % 8)};
    std::byte* const first = outRow + inFrom / 8;
    std::byte* const last = outRow + inTo / 8;
    if (first == last) {
        put(*first, firstMask & lastMask);
        return;
    }
    put(*first, firstMask);
    std::memset(first + 1, inSet ? 0xFF : 0, static_cast<std::size_t>(last - first - 1));
    if (inTo % 8 != 0) {
        put(*last, lastMask);
    }
}

template <class Description>
int Describe(const Description& inDescription, int inSize, void* outDescription) noexcept {
    if (outDescription != nullptr) {
        if (inSize < static_cast<int>(sizeof inDescription)) {
            return 0;
        }
        std::memcpy(outDescription, &inDescription, sizeof inDescription);
    }
    return static_cast<int>(sizeof inDescription);
}

} // namespace

Bitmap::Bitmap(int inWidth, int inHeight, int inBitsPerPixel)
    : mWidth(inWidth), mHeight(inHeight), mBitsPerPixel(inBitsPerPixel),
      mRowBytes(static_cast<std::size_t>(RowBytesOf(inWidth, inBitsPerPixel))),
      mBytes(mRowBytes * static_cast<std::size_t>(inHeight)) {}

bool Bitmap::IsPossible(int inWidth, int inHeight, int inBitsPerPixel) noexcept {
    return inWidth > 0 && inHeight > 0 && (inBitsPerPixel == 1 || inBitsPerPixel == 32) &&
           RowBytesOf(inWidth, inBitsPerPixel) <= kMostBytes / static_cast<unsigned>(inHeight);
}

void Bitmap::Fill(const Box& inBox, COLORREF inColour) noexcept {
    const auto value = (inColour & 0xFF) << 16 | (inColour & 0xFF00) | (inColour >> 16 & 0xFF);
    std::byte* row = mBytes.data() + mRowBytes * static_cast<std::size_t>(inBox.y1);
    for (int y = inBox.y1; y < inBox.y2; ++y, row += mRowBytes) {
        if (mBitsPerPixel == 1) {
            FillBits(row, inBox.x1, inBox.x2, IsBright(inColour));
        } else {
            // The rows of 32-bit pixels are aligned as the vector's memory is.
            auto* const pixels = reinterpret_cast<std::uint32_t*>(row);
            std::fill(pixels + inBox.x1, pixels + inBox.x2, value);
        }
    }
}

} // namespace WindowsApi

using WindowsApi::Bitmap;
using WindowsApi::Find;

HBITMAP CreateBitmap(int inWidth, int inHeight, UINT inPlanes, UINT inBitsPerPixel, const void* inBits) {
    if (inWidth == 0 || inHeight == 0) {
        return static_cast<HBITMAP>(WindowsApi::GetStockBitmap());
    }
    const int width = static_cast<int>(std::min<std::int64_t>(std::abs(std::int64_t{inWidth}), 0x7FFFFFFF));
    const int height = static_cast<int>(std::min<std::int64_t>(std::abs(std::int64_t{inHeight}), 0x7FFFFFFF));
    if (inPlanes != 1 || inBitsPerPixel > 32 || !Bitmap::IsPossible(width, height, static_cast<int>(inBitsPerPixel))) {
        return nullptr;
    }
    try {
        const auto bitmap = std::make_shared<Bitmap>(width, height, static_cast<int>(inBitsPerPixel));
        if (inBits != nullptr) {
            std::memcpy(bitmap->Bytes().data(), inBits, bitmap->Bytes().size());
        }
        return static_cast<HBITMAP>(WindowsApi::AddGraphicsObject(bitmap));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

LONG GetBitmapBits(HBITMAP inBitmap, LONG inSize, LPVOID outBits) {
    const std::shared_ptr<Bitmap> bitmap = Find<Bitmap>(inBitmap);
    if (!bitmap) {
        return 0;
    }
    const std::span<const std::byte> bytes = bitmap->Bytes();
    if (outBits == nullptr) {
        return static_cast<LONG>(bytes.size());
    }
    const std::size_t count = std::min<std::size_t>(inSize < 0 ? 0 : static_cast<std::size_t>(inSize), bytes.size());
    std::copy_n(bytes.begin(), count, static_cast<std::byte*>(outBits));
    return static_cast<LONG>(count);
}

LONG SetBitmapBits(HBITMAP inBitmap, DWORD inSize, const void* inBits) {
    const std::shared_ptr<Bitmap> bitmap = Find<Bitmap>(inBitmap);
    if (!bitmap || inBits == nullptr) {
        return 0;
    }
    const std::size_t count = std::min<std::size_t>(inSize, bitmap->Bytes().size());
    std::copy_n(static_cast<const std::byte*>(inBits), count, bitmap->Bytes().begin());
    return static_cast<LONG>(count);
}

int GetObject(HGDIOBJ inObject, int inSize, LPVOID outDescription) {
    if (const std::shared_ptr<Bitmap> bitmap = Find<Bitmap>(inObject)) {
        const BITMAP description{0,
                                 bitmap->Width(),
                                 bitmap->Height(),
                                 static_cast<LONG>(bitmap->RowBytes()),
                                 1,
                                 static_cast<WORD>(bitmap->BitsPerPixel()),
                                 nullptr};
        return WindowsApi::Describe(description, inSize, outDescription);
    }
    if (const std::shared_ptr<WindowsApi::Palette> palette = Find<WindowsApi::Palette>(inObject)) {
        return WindowsApi::Describe(static_cast<WORD>(palette->Entries().size()), inSize, outDescription);
    }
    return 0;
}
