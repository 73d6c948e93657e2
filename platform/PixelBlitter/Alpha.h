#pragma once

/// Replacement of the alpha component, and products with it. The arguments have one size and one format and are not
/// checked yet; kPB_UnsupportedFormat where that has no alpha. A destination that overlaps the source otherwise than
/// row by row costs a copy of it.

#include "Picture.h"

namespace PixelBlitter {

/// Full scale less alpha.
PB_Result InvertAlpha(const PictureArguments& source, const PictureArguments& destination) noexcept;

/// One alpha for all pixels, clipped to 0..1; NaN is 0.
PB_Result SetAlpha(const PictureArguments& source, const PictureArguments& destination, float alpha) noexcept;

/// Colours of words or floats times their alpha, which becomes full scale. kPB_UnsupportedFormat for bytes, too.
PB_Result MultiplyByAlpha(const PictureArguments& source, const PictureArguments& destination) noexcept;

} // namespace PixelBlitter
