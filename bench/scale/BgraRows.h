#pragma once

/// 8-bit BGRA pictures as rows of planes: the packing that every scaler of this benchmark shares.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scalebench {

/// Between count BGRA pixels and four planes in the order B G R A, as codes or as codes / 255.
void UnpackFloat(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) noexcept;
void PackFloat(const float* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept;
void UnpackBytes(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) noexcept;
void PackBytes(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept;

struct BgraPicture {
    BgraPicture(int inWidth, int inHeight)
        : width(inWidth), height(inHeight),
          bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {}

    std::uint8_t* At(int row, int column) noexcept { return bytes.data() + Place(row, column); }
    const std::uint8_t* At(int row, int column) const noexcept { return bytes.data() + Place(row, column); }
    int RowBytes() const noexcept { return width * 4; }

    int width;
    int height;
    std::vector<std::uint8_t> bytes;

private:
    std::size_t Place(int row, int column) const noexcept {
        return (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)) * 4;
    }
};

} // namespace scalebench
