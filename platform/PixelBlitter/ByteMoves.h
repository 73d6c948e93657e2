#pragma once

/// Lossless moves between two orders of components.

#include "Format.h"
#include "kernels/ByteShuffle.h"

namespace PixelBlitter {

/// From the order of one format to that of another, for elements of the packing given. Alpha becomes opaque where it is
/// neither kept nor computed.
ByteShuffle ShuffleBetween(Packing packing, const Format& from, const Format& to) noexcept;

} // namespace PixelBlitter
