#pragma once

/// What the scaling of 8-bit pixels in integers needs to know of two formats.

#include "Format.h"
#include "scale/PixelKernels.h"

namespace PixelBlitter {

/// 8-bit pixels of four components whose codes mean the same, in any order and with alpha of any kind.
bool SamePixels(const Format& from, const Format& to) noexcept;

/// For formats that are SamePixels.
PixelOrder PixelOrderBetween(const Format& from, const Format& to) noexcept;

/// 8-bit 4:2:2 to 8-bit RGB, or to 8-bit YUV of the same matrix.
bool PairsToPixels(const Format& from, const Format& to) noexcept;
PairMatrix PairMatrixBetween(const Format& from, const Format& to) noexcept;

} // namespace PixelBlitter
