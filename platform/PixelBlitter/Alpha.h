#pragma once

/// Replacement of the alpha component alone. The arguments have one size and one format and are not checked yet;
/// kPB_UnsupportedFormat where that has no alpha. A destination that overlaps the source otherwise than row by row
/// costs a copy of it.

#include "Picture.h"

namespace PixelBlitter {

/// Full scale less alpha.
PB_Result InvertAlpha(const PictureArguments& source, const PictureArguments& destination) noexcept;

/// One alpha for all pixels, clipped to 0..1; NaN is 0.
PB_Result SetAlpha(const PictureArguments& source, const PictureArguments& destination, float alpha) noexcept;

} // namespace PixelBlitter
