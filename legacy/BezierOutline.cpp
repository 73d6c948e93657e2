#include "BezierOutline.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace VF::Polygons {
namespace {

/// Halving a segment quarters what it is off, so 20 halvings serve every flatness below 2^40 tolerances; beyond that,
/// and where the coordinates' precision ends, floats would never call it flat.
constexpr int kMostHalvings = 20;

constexpr float kShortestChord = 0.0001F;

PolygonPoint Between(const PolygonPoint& a, const PolygonPoint& b) {
    return {(a.x + b.x) * 0.5F, (a.y + b.y) * 0.5F};
}

PolygonPoint Difference(const PolygonPoint& a, const PolygonPoint& b) {
    return {a.x - b.x, a.y - b.y};
}

float Length(const PolygonPoint& vector) {
    return std::sqrt(vector.x * vector.x + vector.y * vector.y);
}

/// How far the control points lie from the chord.
float Flatness(const CubicSegment& segment) {
    const PolygonPoint chord = Difference(segment[3], segment[0]);
    const PolygonPoint first = Difference(segment[1], segment[0]);
    const PolygonPoint second = Difference(segment[2], segment[0]);
    const float length = Length(chord);
    if (length <= kShortestChord) {
        return std::max(Length(first), Length(second));
    }
    const auto distance = [&](const PolygonPoint& point) { return std::abs(point.x * chord.y - point.y * chord.x); };
    return std::max(distance(first), distance(second)) / length;
}

float ToleranceFromSize(const CubicSegment& segment) {
    const auto [left, right] = std::minmax({segment[0].x, segment[1].x, segment[2].x, segment[3].x});
    const auto [bottom, top] = std::minmax({segment[0].y, segment[1].y, segment[2].y, segment[3].y});
    return std::max(std::max(right - left, top - bottom) / 100.0F, 0.001F);
}

bool SameBits(const CubicSegment& a, const CubicSegment& b) {
    return std::memcmp(a.data(), b.data(), sizeof a) == 0;
}

void AppendWithoutFirst(const CubicSegment& segment, float tolerance, int halvings,
                        std::vector<PolygonPoint>& polyline) {
    const float flatness = Flatness(segment);
    if (flatness <= tolerance || !std::isfinite(flatness) || halvings == kMostHalvings) {
        polyline.push_back(segment[3]);
        return;
    }
    const PolygonPoint nearFirst = Between(segment[0], segment[1]);
    const PolygonPoint middle = Between(segment[1], segment[2]);
    const PolygonPoint nearLast = Between(segment[2], segment[3]);
    const PolygonPoint left = Between(nearFirst, middle);
    const PolygonPoint right = Between(middle, nearLast);
    const PolygonPoint half = Between(left, right);
    const CubicSegment firstHalf{segment[0], nearFirst, left, half};
    const CubicSegment secondHalf{half, right, nearLast, segment[3]};
    if (SameBits(firstHalf, segment) || SameBits(secondHalf, segment)) {
        polyline.push_back(segment[3]);
        return;
    }
    AppendWithoutFirst(firstHalf, tolerance, halvings + 1, polyline);
    AppendWithoutFirst(secondHalf, tolerance, halvings + 1, polyline);
}

} // namespace

void AppendFlattened(const CubicSegment& segment, float tolerance, std::vector<PolygonPoint>& polyline) {
    polyline.push_back(segment[0]);
    AppendWithoutFirst(segment, tolerance > 0.0F ? tolerance : ToleranceFromSize(segment), 0, polyline);
}

} // namespace VF::Polygons
