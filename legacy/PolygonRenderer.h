#pragma once

/// Scan conversion of polygons with an active edge list, and the filling of their spans from a source picture.

#include <cstdint>
#include <span>

namespace VF::Polygons {

/// A corner: where it lies in the destination, where it samples the source, and how opaque it is (0 to 255).
struct Vertex {
    float x = 0;
    float y = 0;
    float u = 0;
    float v = 0;
    float opacity = 255;
};

/// Pixels of four 8-bit channels, first stored row first; the row step may be negative.
struct Surface {
    std::uint8_t* pixels = nullptr;
    std::int32_t rowBytes = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// Fills the polygon, even-odd, where it covers pixel centres of the destination. Coordinates are finite. Throws
/// std::bad_alloc before anything is drawn.
void Fill(const Surface& destination, const Surface& source, std::span<const Vertex> polygon);

} // namespace VF::Polygons
