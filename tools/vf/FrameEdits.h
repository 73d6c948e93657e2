#pragma once

/// What `vf convert` does to a picture before it converts it: fields, a part of it, alpha.

#include "Frames.h"

#include <optional>

namespace tool {

/// A part of a picture; rows count from its top, right and bottom are not included.
struct Crop {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

enum class AlphaEdit { Keep, Invert, Opaque };

/// Done in this order. Fields 0 and 1 are the first and the second in time, as the picture's field type has it.
struct FrameEdits {
    std::optional<int> keptField;  ///< the field that stays while the other is rebuilt from it
    std::optional<int> shownField; ///< the field that becomes a picture of its own, of half the height
    std::optional<Crop> crop;
    AlphaEdit alpha = AlphaEdit::Keep;

    bool Any() const { return keptField || shownField || crop || alpha != AlphaEdit::Keep; }
};

/// The edited picture: of 4:4:4:4 pixels, with no more precision than preferredFormat where the quality is below 5; the
/// picture itself without edits. May change the picture's own pixels. Throws Failure(Usage) for a crop that is not
/// inside the picture, Failure(ConversionRefused) for a field that has no row and what the library refuses.
Frame Edited(const Frame& picture, const FrameEdits& edits, zynmediatypes::PixelFormat preferredFormat,
             zynmediatypes::RenderQuality quality);

} // namespace tool
