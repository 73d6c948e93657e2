#pragma once

/// What the scaling of 8-bit pixels in integers needs to know of two formats.

#include "Format.h"
#include "scale/PixelKernels.h"

namespace PixelBlitter {

/// 8-bit pixels of four components whose codes mean the same, in any order and with alpha of any kind.
bool SamePixels(const Format& from, const Format& to) noexcept;

/// For formats that are SamePixels.
PixelOrder PixelOrderBetween(const Format& from, const Format& to) noexcept;

} // namespace PixelBlitter
