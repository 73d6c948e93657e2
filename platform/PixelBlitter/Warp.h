#pragma once

/// A quadrilateral of one picture projected onto one of another.

#include "Picture.h"
#include "Projection.h"

namespace PixelBlitter {

/// Pixels of the destination whose centres lie in destinationQuad are sampled where the projection of the corners has
/// them in the source; those that would come from outside the source stay. Nothing is checked yet. Quads count columns
/// and rows in the order of memory.
PB_Result WarpPicture(const PictureArguments& source, const Quad& sourceQuad, const PictureArguments& destination,
                      const Quad& destinationQuad) noexcept;

} // namespace PixelBlitter
