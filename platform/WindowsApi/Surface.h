#pragma once

/// Drawing into what a device context shows.

#include "PixelRegion.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace WindowsApi {

/// Pixels of blue, green, red and an unused byte, rows from the top down.
struct Surface {
    std::uint8_t* topRow = nullptr;
    std::ptrdiff_t rowBytes = 0;
};

/// Writes every pixel of a box of the context into a surface of just that size. Whether it could. May throw
/// std::bad_alloc.
using Painter = std::function<bool(const Box& inVisible, const Surface& inSurface)>;

/// What two boxes share; without pixels when x1 is not below x2 or y1 not below y2.
inline Box Shared(const Box& inA, const Box& inB) noexcept {
    return {inA.x1 > inB.x1 ? inA.x1 : inB.x1, inA.y1 > inB.y1 ? inA.y1 : inB.y1, inA.x2 < inB.x2 ? inA.x2 : inB.x2,
            inA.y2 < inB.y2 ? inA.y2 : inB.y2};
}

inline bool HasPixels(const Box& inBox) noexcept {
    return inBox.x1 < inBox.x2 && inBox.y1 < inBox.y2;
}

} // namespace WindowsApi
