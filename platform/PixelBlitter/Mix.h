#pragma once

/// Weighted mixes of two pictures of one format, component by component.

#include "Picture.h"

namespace PixelBlitter {

/// destination = a * (1 - weight) + b * weight. The pictures have one format and size, none of it checked yet. A
/// destination that overlaps a source otherwise than row by row or between its rows costs a copy of that source.
PB_Result MixPictures(const PictureArguments& a, const PictureArguments& b, const PictureArguments& destination,
                      float weight) noexcept;

} // namespace PixelBlitter
