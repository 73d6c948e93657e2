#pragma once

#include "GraphicsObjects.h"
#include "PixelRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace WindowsApi {

class MemoryContext;

class Bitmap final : public GraphicsObject {
public:
    /// Sizes of at least 1 that fit memory by IsPossible; 1 or 32 bits for a pixel.
    Bitmap(int inWidth, int inHeight, int inBitsPerPixel);

    static bool IsPossible(int inWidth, int inHeight, int inBitsPerPixel) noexcept;

    int Width() const noexcept { return mWidth; }
    int Height() const noexcept { return mHeight; }
    int BitsPerPixel() const noexcept { return mBitsPerPixel; }
    std::size_t RowBytes() const noexcept { return mRowBytes; }

    /// All rows, from the top down.
    std::span<std::byte> Bytes() noexcept { return mBytes; }

    /// Sets the pixels of a box that lies inside the bitmap.
    void Fill(const Box& inBox, COLORREF inColour) noexcept;

    /// The one context that draws into it; null for none. Contexts of several threads may want the same bitmap. The
    /// stock bitmap, which all new contexts share, keeps none.
    std::atomic<const MemoryContext*> context = nullptr;

private:
    int mWidth;
    int mHeight;
    int mBitsPerPixel;
    std::size_t mRowBytes;
    std::vector<std::byte> mBytes;
};

} // namespace WindowsApi
