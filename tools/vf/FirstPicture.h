#pragma once

#include "Frames.h"

#include <string>

namespace tool {

/// The first picture of a clip or still as a frame of 8-bit BGRA. Throws Failure as ClipReader and PictureToFrame do.
Frame FirstPicture(const std::string& path);

} // namespace tool
