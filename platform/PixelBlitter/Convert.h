#pragma once

/// Conversion between pictures of one size: prepare, choose a path, take memory, run.

#include "Paths.h"

namespace PixelBlitter {

/// Converts checked pictures of equal width and height.
PB_Result ConvertPicture(const SourcePicture& source, const DestinationPicture& destination) noexcept;

/// What ConvertPicture would do with pictures of these formats; sets result, path and temporary bytes.
void OutlineConversion(const SourcePicture& source, const DestinationPicture& destination, PB_Plan& plan);

/// Copies a picture into block, PixelBytes of memory, rows packed.
SourcePicture CopyInto(const SourcePicture& source, void* block, const Kernels& kernels) noexcept;

} // namespace PixelBlitter
