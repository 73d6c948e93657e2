#pragma once

/// The scalers that the resampler is measured against, each prepared once for one pair of sizes.

#include "BgraRows.h"
#include "scale/Filter.h"

#include <functional>

namespace scalebench {

/// Scales one picture into another of the sizes that the job was made for.
using Job = std::function<void(const BgraPicture& source, BgraPicture& destination)>;

/// Sizes and filter of a job.
struct JobSizes {
    int sourceWidth, sourceHeight;
    int width, height;
    PixelBlitter::Filter filter;
};

/// zimg with four planes of bytes or of floats, unpacking and packing a row at a time through its callbacks.
/// Empty for filters that it has not.
Job ZimgJob(const JobSizes& sizes, bool floats);

/// swscale, accurate rounding. Empty for filters that it has not.
Job SwscaleJob(const JobSizes& sizes);

/// libyuv, which averages over two by two pixels or more where a picture shrinks, and interpolates between two
/// otherwise. Empty for other filters.
Job LibyuvJob(const JobSizes& sizes);

/// From 8-bit UYVY (BT.601), two pixels to each four bytes of the source, to BGRA of half its size.
Job SwscaleHalvingJob(const JobSizes& sizes);

/// By way of BGRA at full size.
Job LibyuvHalvingJob();

} // namespace scalebench
