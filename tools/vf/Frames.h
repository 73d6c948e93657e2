#pragma once

/// Frames of the library, their memory, and the library's life.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "zynmediatypes.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

using Frame = BRT::InterfaceRef<RK::IVideoFrame>;

/// Keeps the library started.
class LibraryGuard {
public:
    LibraryGuard();
    ~LibraryGuard();
    LibraryGuard(const LibraryGuard&) = delete;
    LibraryGuard& operator=(const LibraryGuard&) = delete;
};

/// A new frame with undefined pixels. Throws Failure(ConversionRefused) when the library makes none, std::bad_alloc
/// when memory is exhausted.
Frame MakeFrame(zynmediatypes::PixelFormat format, int width, int height, zynmediatypes::PixelAspectRatio aspectRatio);

int WidthOf(const Frame& frame);
int HeightOf(const Frame& frame);

/// "1280x720 yv17".
std::string FrameText(const Frame& frame);

/// The rows of a frame, counted from the top of the picture; memory keeps the bottom row first. Holds a reference.
class FrameRows {
public:
    /// The format must have rows.
    explicit FrameRows(const Frame& frame);

    template <class T>
    T* Row(int fromTop) const {
        return reinterpret_cast<T*>(mBottom + static_cast<std::ptrdiff_t>(mHeight - 1 - fromTop) * mRowBytes);
    }

private:
    Frame mFrame;
    std::uint8_t* mBottom = nullptr;
    std::ptrdiff_t mRowBytes = 0;
    int mHeight = 0;
};

/// The three planes of a planar 4:2:0 frame, top row first, without gaps. Holds a reference.
class FramePlanes {
public:
    /// The format must be planar.
    explicit FramePlanes(const Frame& frame);

    /// Planes 0 to 2: Y, U (Cb), V (Cr).
    std::uint8_t* Data(int plane) const;
    int RowBytes(int plane) const { return plane == 0 ? mWidth : ChromaWidth(); }
    int Rows(int plane) const { return plane == 0 ? mHeight : ChromaHeight(); }

private:
    int ChromaWidth() const { return (mWidth + 1) / 2; }
    int ChromaHeight() const { return (mHeight + 1) / 2; }

    Frame mFrame;
    std::uint8_t* mData = nullptr;
    int mWidth = 0;
    int mHeight = 0;
};

} // namespace tool
