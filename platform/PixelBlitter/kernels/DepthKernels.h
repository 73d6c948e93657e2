#pragma once

/// Conversions between element types in one pass: 8-bit codes, 15-bit codes in words, floats.

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Element types of the four-component layouts.
enum class Element { Byte, Word, Float };
inline constexpr int kElementCount = 3;

/// Change of element type, component by component, for pixels of four components. Arrays repeat per pixel so that they
/// load as vectors.
struct DepthChange {
    bool reverse; ///< the four components change their order
    bool opaque;  ///< the component at alphaLane becomes opaqueValue
    alignas(64) float bias[16];
    alignas(64) float inScale[16];
    alignas(64) float outScale[16];
    alignas(64) float outOffset[16];
    float largest;
    alignas(64) float opaqueMask[16]; ///< 1 in the alpha lane, else 0
    float opaqueValue;
};

struct DepthKernels {
    void (*changeDepth[kElementCount][kElementCount])(const std::uint8_t* source, std::uint8_t* destination,
                                                      std::size_t pixels,
                                                      const DepthChange& change) noexcept; ///< [from][to]
};

} // namespace PixelBlitter
