#pragma once

#include "GraphicsObjects.h"
#include "PixelRegion.h"

namespace WindowsApi {

struct Region final : GraphicsObject {
    explicit Region(PixelRegion inPixels) noexcept : pixels(std::move(inPixels)) {}

    PixelRegion pixels;
};

/// NULLREGION, SIMPLEREGION or COMPLEXREGION.
int KindOf(const PixelRegion& inPixels) noexcept;

} // namespace WindowsApi
