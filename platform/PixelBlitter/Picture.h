#pragma once

/// A picture in the caller's memory, checked once; nothing after that can fail.

#include "Format.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Rows are counted from the top of the picture (Row) or in memory order (MemoryRow).
template <class Byte>
struct BasicPicture {
    Format format;
    Byte* base = nullptr;
    std::ptrdiff_t stride = 0; ///< 0 for pictures of height 1 and for planes; DV: what the caller stated, 0 for nothing
    int width = 0;
    int height = 0;
    /// Y, U and V of DvPlanes, which lie apart.
    std::array<Byte*, 3> planes{};
    std::array<std::ptrdiff_t, 3> planeStrides{};

    Byte* MemoryRow(int index) const noexcept { return base + index * stride; }
    Byte* Row(int fromTop) const noexcept { return MemoryRow(height - 1 - fromTop); }

    // Planar pictures and DvPlanes. 4:1:1 counts as half width here, as what its readers and writers deal in.
    int ChromaWidth() const noexcept { return static_cast<int>((static_cast<unsigned>(width) + 1) / 2); }
    int ChromaHeight() const noexcept { return static_cast<int>((static_cast<unsigned>(height) + 1) / 2); }
    Byte* LumaRow(int fromTop) const noexcept {
        if (planes[0] != nullptr) {
            return planes[0] + fromTop * planeStrides[0];
        }
        return base + static_cast<std::ptrdiff_t>(fromTop) * static_cast<std::ptrdiff_t>(width);
    }
    /// plane: 0 is U, 1 is V.
    Byte* ChromaRow(int plane, int fromTop) const noexcept {
        if (planes[0] != nullptr) {
            const auto index = static_cast<std::size_t>(plane) + 1;
            return planes[index] + fromTop * planeStrides[index];
        }
        const auto chromaWidth = static_cast<std::ptrdiff_t>(ChromaWidth());
        return LumaRow(height) + chromaWidth * (static_cast<std::ptrdiff_t>(plane) * ChromaHeight() + fromTop);
    }
};
using SourcePicture = BasicPicture<const std::uint8_t>;
using DestinationPicture = BasicPicture<std::uint8_t>;

/// What a caller says about a picture.
struct PictureArguments {
    const void* data = nullptr;
    int rowBytes = 0;
    int width = 0;
    int height = 0;
    PB_PixelFormat format = kPB_NoFormat;
};

/// Sizes of 0 or less are nothing to do, whatever the other arguments say.
inline bool IsEmpty(const PictureArguments& arguments) noexcept {
    return arguments.width <= 0 || arguments.height <= 0;
}

/// Checks format, pointer and geometry; on success stores the picture.
PB_Result CheckPicture(const PictureArguments& arguments, SourcePicture& outPicture) noexcept;

/// The same in two steps, for callers that know the format: checks pointer and geometry; makes the picture.
PB_Result CheckPlace(const PictureArguments& arguments, const Format& format) noexcept;
SourcePicture CheckedPicture(const PictureArguments& arguments, const Format& format) noexcept;

/// The same picture for writing; the memory must be the caller's destination.
DestinationPicture Writable(const SourcePicture& picture) noexcept;

/// A destination seen as a source.
inline SourcePicture ReadOnly(const DestinationPicture& picture) noexcept {
    SourcePicture source{picture.format, picture.base, picture.stride, picture.width, picture.height};
    std::copy(picture.planes.begin(), picture.planes.end(), source.planes.begin());
    source.planeStrides = picture.planeStrides;
    return source;
}

/// Addresses from first to last byte + 1 of the picture's pixels.
struct AddressRange {
    std::uintptr_t first = 0;
    std::uintptr_t end = 0;
};
AddressRange AddressesOf(const SourcePicture& picture) noexcept;
bool Overlap(const SourcePicture& a, const SourcePicture& b) noexcept;

/// Bytes of the picture's pixels, without padding between rows.
std::uint64_t PixelBytes(const SourcePicture& picture) noexcept;

} // namespace PixelBlitter
