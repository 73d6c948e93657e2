#pragma once

/// Rows put together from two rows of one format, pixel by pixel as the bits of a mask say. Integers throughout, so
/// every CPU target gives the same bytes.

#include "FusedKernels.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// What a row consists of.
enum class MaskUnit {
    Pixel4, ///< a pixel of so many bytes
    Pixel8,
    Pixel16,
    Pair,          ///< 8-bit 4:2:2, U Y V Y
    LumaFirstPair, ///< Y U Y V
    Group,         ///< six pixels of V210
};
inline constexpr int kMaskUnits = 6;

/// Bytes behind the last one with a bit of the row that may be read of a mask.
inline constexpr std::size_t kMaskPadding = 8;

/// Units of a where the bits are set, of b elsewhere; the destination may be either. Bit startBit of the mask, counted
/// from the most significant of its first byte, belongs to the first pixel. Pixels that share chroma and come from both
/// rows get the mean of both rows' chroma, halves up.
using SelectRow = void (*)(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::size_t units,
                           const std::uint8_t* mask, std::size_t startBit, const Transfer& transfer) noexcept;

struct MaskKernels {
    SelectRow select[kMaskUnits];
};

} // namespace PixelBlitter
