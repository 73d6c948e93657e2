#pragma once

/// Weighted mixes of two pictures of one format, component by component.

#include "Picture.h"

namespace PixelBlitter {

/// destination = a * (1 - weight) + b * weight. The pictures have been checked and have one format and size. A
/// destination that overlaps a source otherwise than row by row or between its rows costs a copy of that source.
PB_Result MixPictures(const SourcePicture& a, const SourcePicture& b, const DestinationPicture& destination,
                      float weight) noexcept;

} // namespace PixelBlitter
