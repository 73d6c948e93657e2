#pragma once

/// Conversion and scaling where one side or both are DV: decode to planes, convert those as any other picture, encode.
///
/// Nothing is lost on the way but by the codec: decoded samples are read where they lie, with 4:1:1 and 4:2:0 chroma
/// interpolated linearly within the line and within the field, and samples to encode are rounded once.

#include "Scale.h"
#include "dv/Kind.h"

namespace PixelBlitter::dv {

/// True when a side is DV and there is something to do; equal formats of one size are a copy.
bool TakesPart(const SourcePicture& source, const SourcePicture& destination) noexcept;

/// kPB_UnsupportedGeometry for a DV side that has not its raster, kPB_BadArgument for one whose stated size is less
/// than its frame, kPB_UnsupportedFormat towards custom formats and where libavcodec is not installed, kPB_BadData for
/// a source that is no frame of its format. Nothing has been written then. The destination may overlap the source.
PB_Result Convert(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                  int quality) noexcept;

/// What Convert would do; sets all but bytesMoved.
void Outline(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields, int quality,
             PB_Plan& plan);

} // namespace PixelBlitter::dv
