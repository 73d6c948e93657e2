#include "BitmapLayout.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace VF::Pixmaps {
namespace {

constexpr int kDeepestTable = 8; // bits

const std::uint8_t* Behind(const BITMAPINFOHEADER& header) noexcept {
    return reinterpret_cast<const std::uint8_t*>(&header) + header.biSize;
}

} // namespace

std::uint32_t ColourCount(const BITMAPINFOHEADER& header) noexcept {
    return header.biClrUsed == 0 && header.biBitCount <= kDeepestTable ? 1U << header.biBitCount : header.biClrUsed;
}

const std::uint8_t* BitsBehind(const BITMAPINFOHEADER& header, std::uint32_t colours) noexcept {
    return Behind(header) + std::size_t{colours} * sizeof(RGBQUAD);
}

std::int32_t BitmapRowBytes(std::int32_t bitCount, std::int32_t width) noexcept {
    const auto bits =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(bitCount) * static_cast<std::uint32_t>(width) + 7);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits / 8 + 3) & ~3U);
}

std::array<std::uint16_t, 256> ColourIndexesOf(const BITMAPINFOHEADER& header, std::uint32_t colours) noexcept {
    std::array<std::uint16_t, 256> indexes{};
    // Of a table that claims to be longer nothing is read that no pixel can name.
    const std::size_t count =
        std::min<std::size_t>(colours, std::size_t{1} << std::min<int>(header.biBitCount, kDeepestTable));
    for (std::size_t i = 0; i < count; ++i) {
        RGBQUAD colour;
        std::memcpy(&colour, Behind(header) + i * sizeof colour, sizeof colour);
        indexes[i] =
            static_cast<std::uint16_t>(colour.rgbRed >> 3 << 10 | colour.rgbGreen >> 3 << 5 | colour.rgbBlue >> 3);
    }
    return indexes;
}

} // namespace VF::Pixmaps
