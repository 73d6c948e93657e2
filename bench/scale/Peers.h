#pragma once

/// The scalers that the resampler is measured against, each prepared once for one pair of sizes.

#include "BgraRows.h"
#include "scale/Filter.h"

#include <functional>

namespace scalebench {

/// Scales the same source into the same destination at every call.
using Job = std::function<void()>;

/// zimg with four planes of bytes or of floats, unpacking and packing a row at a time through its callbacks.
/// Empty for filters that it has not.
Job ZimgJob(const BgraPicture& source, BgraPicture& destination, PixelBlitter::Filter filter, bool floats);

/// swscale, accurate rounding. Empty for filters that it has not.
Job SwscaleJob(const BgraPicture& source, BgraPicture& destination, PixelBlitter::Filter filter);

} // namespace scalebench
