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

/// Codes of one side and the values of its lanes.
struct ElementRange {
    ByteShuffle order; ///< of the elements, between their own order and that of the lanes; makes alpha opaque
    // From codes: value = (code - zero) * scale. To codes: value * scale + zero, clipped to largest, halves up.
    alignas(64) float zero[16];
    alignas(64) float scale[16];
    float largest;
};

/// What happens to pixels of four components between two element types. Lanes are the components of pixels one after
/// the other; arrays repeat per pixel so that they load as vectors. One side has the order of the lanes.
struct DepthChange {
    ElementRange in;
    ElementRange out;
    alignas(64) std::uint32_t alphaLanes[16]; ///< all bits in alpha's lane, else none
    alignas(16) std::uint8_t spreadAlpha[16]; ///< moves the bytes of alpha to all four lanes
    // Steps between the values, in this order. Alpha stays.
    bool unpremultiply; ///< alpha 0 gives 0
    bool fromLinear;    ///< sRGB, as Kernels has it
    bool toLinear;
    bool premultiply;
};

using DepthKernel = void (*)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                             const DepthChange& change, const Transfer& transfer) noexcept;

struct DepthKernels {
    DepthKernel changeDepth[kElementCount][kElementCount]; ///< [from][to], no steps
    DepthKernel takeSteps[kElementCount][kElementCount];   ///< [from][to], any steps
    DepthKernel bytesToLinear;                             ///< no other steps, but premultiply if need be
    DepthKernel linearToBytes;                             ///< no other steps, but unpremultiply if need be
};

} // namespace PixelBlitter
