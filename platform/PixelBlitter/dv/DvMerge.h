#pragma once

/// The frame of a pulldown pair: one frame with the second field of another.

#include "dv/Kind.h"

namespace PixelBlitter::dv {

/// destination = a with field 1 of b, each a frame of the DV format; the destination may be either. Formats without
/// fields give a. kPB_BadArgument for null pointers, kPB_BadData where a or b is no frame of the format,
/// kPB_UnsupportedFormat for other formats and where libavcodec is not installed. Nothing has been written then.
PB_Result Merge(const void* a, const void* b, void* destination, PB_PixelFormat format) noexcept;

/// The DV25 format whose frames have so many bytes; kPB_NoFormat when there is none.
PB_PixelFormat FormatOfDV25(std::size_t frameBytes) noexcept;

} // namespace PixelBlitter::dv
