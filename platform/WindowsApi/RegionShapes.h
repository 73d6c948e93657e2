#pragma once

/// Which pixels belong to a shape.

#include "PixelRegion.h"
#include "WindowsApi_Types.h"

#include <span>

namespace WindowsApi {

/// Above this the sums of the ellipse would leave 64 bits.
constexpr int kMostEllipseSide = 1 << 19;

/// A bound to what one call may build.
constexpr std::size_t kMostRectangles = std::size_t{1} << 24;

/// A box, with corners that are quarters of an ellipse of this size; the ellipse is at most as large as the box, and at
/// most kMostEllipseSide. Throws std::bad_alloc.
PixelRegion MakeRoundRectangle(const Box& inBox, int inEllipseWidth, int inEllipseHeight);

/// As CreatePolygonRgn. Throws std::bad_alloc, also for more than kMostRectangles.
PixelRegion MakePolygon(std::span<const POINT> inPoints, bool inWinding);

} // namespace WindowsApi
