#pragma once

/// What a decoded picture says about its colours and fields, in the library's terms.

#include "Libav.h"
#include "zynmediatypes.h"

namespace tool {

/// Luma-chroma matrix of a YUV picture.
enum class Matrix { BT601, BT709, Other };

struct PictureColour {
    Matrix matrix = Matrix::BT601;
    bool fullRange = false;     ///< 0-255 instead of 16-235 and 16-240, likewise at other depths
    bool centredChroma = false; ///< 4:2:0 chroma between the luma columns (MPEG-1, JPEG) instead of on the left one
};

/// Pictures that do not name their matrix are taken as BT.709 from 720 lines on (HD), else as BT.601. RGB pictures get
/// the same rule, as a proposal for outputs that need a matrix.
PictureColour ColourOf(const AVFrame& picture);

/// The matrix of a YUV picture of this height that nobody named.
Matrix DefaultMatrix(int height);

zynmediatypes::FieldType FieldTypeOf(const AVFrame& picture);

} // namespace tool
