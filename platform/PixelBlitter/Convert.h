#pragma once

/// Conversion between pictures of one size: prepare, choose a path, take memory, run.

#include "Paths.h"

namespace PixelBlitter {

/// Converts checked pictures of equal width and height.
PB_Result ConvertPicture(const SourcePicture& source, const DestinationPicture& destination) noexcept;

/// Copies a picture into block, PixelBytes of memory, rows packed.
SourcePicture CopyInto(const SourcePicture& source, void* block, const Kernels& kernels) noexcept;

} // namespace PixelBlitter
