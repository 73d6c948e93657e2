#pragma once

/// Conversions between element types in one pass: 8-bit codes, 15-bit codes in words, floats.
///
/// Integers meet integers without floats: the nearest code, halves up. Everything else is a product and a sum in float
/// with separate roundings, so every CPU target gives the same bytes.

#include "ByteShuffle.h"
#include "FusedKernels.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Element types of the four-component layouts.
enum class Element { Byte, Word, Float };
inline constexpr int kElementCount = 3;

/// Change of element type, component by component, for pixels of four components. Lanes are the components of pixels
/// one after the other, in the order of the side that has floats; arrays repeat per pixel so that they load as vectors.
struct DepthChange {
    ByteShuffle codes; ///< of the integer side: to or from the order of the other, and alpha made opaque
    // From codes: value = (code - zero) * scale. To codes: value * scale + zero, clipped to largest, halves up.
    alignas(64) float zero[16];
    alignas(64) float scale[16];
    float largest;
};

using DepthKernel = void (*)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                             const DepthChange& change, const Transfer& transfer) noexcept;

struct DepthKernels {
    DepthKernel changeDepth[kElementCount][kElementCount]; ///< [from][to]
};

} // namespace PixelBlitter
