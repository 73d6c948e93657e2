#pragma once

/// Scaling: any picture as float rows, the resampler, float rows into any picture.
///
/// Pictures are filtered in the model and encoding of the source, with chroma at full width and height. Where both
/// sides have alpha, colours are premultiplied while they are filtered, so that transparent pixels do not bleed;
/// towards a format without alpha they are filtered as they are, as a conversion would keep them. Overshoot of the
/// filter is clipped from alpha, and from colours only where the destination's codes end.

#include "Picture.h"

namespace PixelBlitter {

/// How the lines of a side belong together.
enum class Scan {
    Progressive, ///< one picture
    UpperFirst,  ///< two fields; field 0 holds the top line
    LowerFirst,  ///< two fields; field 0 holds the line below it
};

/// Both sides with unset field types resolved.
struct FieldPair {
    Scan source = Scan::Progressive;
    Scan destination = Scan::Progressive;
};
FieldPair ResolveFields(int sourceFieldType, int destinationFieldType) noexcept;

/// Scales checked pictures of any sizes.
PB_Result ScalePicture(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                       int quality) noexcept;

/// What ScalePicture would do with pictures of these formats and sizes; only the fields about scaling are set.
void OutlineScale(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                  int quality, PB_Plan& plan);

} // namespace PixelBlitter
