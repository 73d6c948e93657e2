#pragma once

/// Cubic Bézier segments as polylines.

#include "Polygon.h"

#include <array>
#include <vector>

namespace VF::Polygons {

using CubicSegment = std::array<PolygonPoint, 4>;

/// Appends the segment's first point and then points of it, so close that the lines between them are at most the
/// tolerance off, in pixels. A tolerance of 0 or less is a hundredth of the control points' bounding box, at least
/// 0.001. Throws std::bad_alloc.
void AppendFlattened(const CubicSegment& segment, float tolerance, std::vector<PolygonPoint>& polyline);

} // namespace VF::Polygons
