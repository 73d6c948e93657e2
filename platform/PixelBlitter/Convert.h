#pragma once

/// Conversion between pictures of one size: prepare, choose a path, take memory, run.

#include "Paths.h"

namespace PixelBlitter {

/// Converts checked pictures of equal width and height.
PB_Result ConvertPicture(const SourcePicture& source, const DestinationPicture& destination) noexcept;

} // namespace PixelBlitter
