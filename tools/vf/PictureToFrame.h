#pragma once

#include "Frames.h"
#include "Libav.h"

namespace tool {

/// A new frame that holds a decoded picture, in the format that keeps the picture's samples exactly where there is
/// one, with its field type, its alpha type (none for pictures without alpha) and the given width of a pixel divided
/// by its height. Throws Failure(ConversionRefused) for a picture that no road can take.
Frame PictureToFrame(const AVFrame& picture, AVRational sampleAspectRatio);

} // namespace tool
