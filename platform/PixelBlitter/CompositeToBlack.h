#pragma once

/// Pictures composited over opaque black.

#include "Picture.h"

namespace PixelBlitter {

/// destination = source over black, with weight, 0 to 1, of its opacity. The pictures have one size and one format, of
/// four components; nothing is checked yet. The result is opaque.
PB_Result CompositeToBlack(const PictureArguments& source, const PictureArguments& destination, float weight) noexcept;

} // namespace PixelBlitter
