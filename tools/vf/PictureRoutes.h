#pragma once

/// The roads from a decoded picture into a frame. Each makes a frame, or answers an empty reference when the picture's
/// layout is not its own; PictureToFrame tries them in order. Aspect ratio, field type and alpha type are left to it.

#include "Frames.h"
#include "Libav.h"
#include "PictureProperties.h"

namespace tool {

struct PictureToLoad {
    const AVFrame& picture;
    const AVPixFmtDescriptor& layout;
    PictureColour colour;
    zynmediatypes::PixelAspectRatio aspectRatio;

    bool IsRGB() const { return (layout.flags & AV_PIX_FMT_FLAG_RGB) != 0; }
    bool IsGrey() const { return layout.nb_components <= 2 && (layout.flags & AV_PIX_FMT_FLAG_PAL) == 0; }
    bool HasAlpha() const { return (layout.flags & AV_PIX_FMT_FLAG_ALPHA) != 0; }
    bool HasLibraryMatrix() const { return colour.matrix != Matrix::Other; }
};

/// 8-bit 4:2:0 in planes, or with interleaved chroma, of a matrix and range that the library has: its planar frames.
Frame LoadPlanar420(const PictureToLoad& source);

/// 8-bit RGB, grey and palette pictures, and 8-bit 4:4:4 YUV: BGRA or VUYA rows, byte for byte.
Frame LoadInterleaved8(const PictureToLoad& source);

/// Studio-range 4:2:2 of 8 bits (UYVY rows) and of 10 bits in planes (V210 rows), sample for sample.
Frame LoadPacked422(const PictureToLoad& source);

/// Everything else that is made of integer samples in RGB, grey, BT.601 or BT.709: rows of 32-bit float. Subsampled
/// chroma is interpolated linearly at its siting.
Frame LoadFloat(const PictureToLoad& source);

/// What is left (other matrices, Bayer, float, 1-bit inverted): BGRA rows through swscale.
Frame LoadThroughSwscale(const PictureToLoad& source);

} // namespace tool
