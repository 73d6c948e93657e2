#pragma once

/// Conversions of rows of 10-bit 4:2:2 in groups of six pixels and 16 bytes, in one pass.
///
/// Strips of a row that stay in the first-level cache pass through codes of 16 bits. Sources are read up to the last
/// group that has pixels, and what such a group holds beyond them is not looked at; destination groups are written
/// whole, with the last pixel repeated.

#include "FusedKernels.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

struct GroupKernels {
    // 8-bit pixels of four components. The parameters are those of 8-bit 4:2:2 of the same matrix.
    void (*groupsToPixels)(const std::uint8_t* source, const PixelWidening& widening, std::uint8_t* destination,
                           std::size_t pixels, const Transfer& transfer) noexcept;
    void (*pixelsToGroups)(const std::uint8_t* source, const PixelHalving& halving, std::uint8_t* destination,
                           std::size_t pixels, const Transfer& transfer) noexcept;

    // 8-bit 4:2:2 of the same matrix: codes are divided by 4, halves up, or multiplied by 4.
    void (*groupsToPairs)(const std::uint8_t* source, bool lumaFirst, std::uint8_t* destination, std::size_t pixels,
                          const Transfer& transfer) noexcept;
    void (*pairsToGroups)(const std::uint8_t* source, bool lumaFirst, std::uint8_t* destination, std::size_t pixels,
                          const Transfer& transfer) noexcept;

    // 8-bit 4:2:0 of the same matrix. chroma: a row of chromaOfPlanes in FusedKernels; what is behind it may be
    // changed.
    void (*planesToGroups)(const std::uint8_t* luma, std::int16_t* chroma, bool centred, std::uint8_t* destination,
                           std::size_t pixels, const Transfer& transfer) noexcept;

    // V U Y A in floats, of the same matrix.
    void (*groupsToFloats)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                           const Transfer& transfer) noexcept;
    void (*floatsToGroups)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                           const Transfer& transfer) noexcept;
};

} // namespace PixelBlitter
