#pragma once

#include "Surface.h"

namespace WindowsApi {

/// Pixels of blue, green, red and an unused byte, bottom row first.
struct Picture {
    const std::uint8_t* bottomRow = nullptr;
    int rowBytes = 0;
    int width = 0;
    int height = 0;
};

/// Writes the visible part of a picture that is stretched to a destination box. The visible box lies in the
/// destination. False when the converter refuses. Throws std::bad_alloc.
bool DrawStretched(const Picture& inPicture, const Box& inDestination, const Box& inVisible, const Surface& inSurface);

} // namespace WindowsApi
