#include "Polygon.h"

#include "BezierOutline.h"
#include "LentPixmaps.h"
#include "PolygonRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <vector>

namespace {

using VF::Details::LentPixels;
using VF::Polygons::Surface;
using VF::Polygons::Vertex;

/// How far an outline's lines may be off a curve, in pixels.
constexpr float kOutlineTolerance = 0.5F;

/// Coordinates are single-precision floats, which beyond this no longer tell pixels apart.
constexpr std::int64_t kLongestSide = std::int64_t{1} << 24;

/// The picture behind a record, when it has 32-bit pixels. Rows at its top that the memory behind the handle does not
/// have, as a field's record claims one, are no part of it.
std::optional<Surface> SurfaceOf(TPixHand hand, const LentPixels& memory) {
    const TPix& record = **hand;
    const std::int64_t width = std::int64_t{record.bounds.right} - record.bounds.left;
    const std::int64_t height = std::int64_t{record.bounds.bottom} - record.bounds.top;
    const std::int64_t step = std::abs(std::int64_t{record.rowbytes});
    if (record.pixels == nullptr || record.bitsPerPixel != 32 || width < 1 || height < 1 || width > kLongestSide ||
        height > kLongestSide || step < width * 4) {
        return std::nullopt;
    }
    VF::Details::PixelRows rows{record.pixels, record.rowbytes, static_cast<std::int32_t>(height),
                                static_cast<std::uint64_t>(width) * 4};
    rows.height = memory.Contained(rows).height;
    if (rows.height < 1 || !memory.Contain(rows)) {
        return std::nullopt;
    }
    return Surface{record.pixels, record.rowbytes, static_cast<std::int32_t>(width), rows.height};
}

bool HasRecord(TPixHand hand) {
    return hand != nullptr && *hand != nullptr;
}

void Render(TPixHand destinationHand, TPixHand sourceHand, std::span<const PolygonPoint> points) {
    const bool finite = std::all_of(points.begin(), points.end(), [](const PolygonPoint& point) {
        return std::isfinite(point.x) && std::isfinite(point.y);
    });
    if (points.empty() || !finite || !HasRecord(destinationHand) || !HasRecord(sourceHand)) {
        return;
    }
    const LentPixels destinationMemory(destinationHand);
    const LentPixels sourceMemory(sourceHand);
    const std::optional<Surface> destination = SurfaceOf(destinationHand, destinationMemory);
    const std::optional<Surface> source = SurfaceOf(sourceHand, sourceMemory);
    if (!destination || !source || !destinationMemory.MayWrite()) {
        return;
    }
    std::vector<Vertex> polygon;
    polygon.reserve(points.size());
    for (const PolygonPoint& point : points) {
        polygon.push_back({.x = point.x, .y = point.y, .u = point.x, .v = point.y});
    }
    VF::Polygons::Fill(*destination, *source, polygon);
}

std::span<const PolygonPoint> PointsOf(const PolygonPointArray* array) {
    if (array == nullptr || array->data == nullptr) {
        return {};
    }
    return {array->data, array->size};
}

} // namespace

void DoRenderPolygon(TPixHand inDestination, TPixHand inSource, const PolygonPointArray* inPoints, uint32_t) {
    try {
        Render(inDestination, inSource, PointsOf(inPoints));
    } catch (const std::bad_alloc&) {
        // Nothing has been drawn yet.
    }
}

void DoRenderPolyBezier(TPixHand inDestination, TPixHand inSource, const PolygonPointArray* inPoints, uint32_t) {
    try {
        const std::span<const PolygonPoint> points = PointsOf(inPoints);
        std::vector<PolygonPoint> outline;
        for (std::size_t first = 0; first + 3 < points.size(); first += 3) {
            VF::Polygons::AppendFlattened({points[first], points[first + 1], points[first + 2], points[first + 3]},
                                          kOutlineTolerance, outline);
        }
        Render(inDestination, inSource, outline);
    } catch (const std::bad_alloc&) {
        // As above.
    }
}
