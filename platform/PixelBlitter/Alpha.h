#pragma once

/// Replacement of the alpha component alone. The pictures have been checked, have one size and one format, and that has
/// alpha.

#include "Picture.h"

namespace PixelBlitter {

/// Full scale less alpha.
PB_Result InvertAlpha(const SourcePicture& source, const DestinationPicture& destination) noexcept;

/// One alpha for all pixels, clipped to 0..1; NaN is 0.
PB_Result SetAlpha(const SourcePicture& source, const DestinationPicture& destination, float alpha) noexcept;

} // namespace PixelBlitter
