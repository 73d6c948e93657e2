#pragma once

/// Plane geometry of warps: quadrilaterals, the projection that takes one to another, and the pixels that one covers.
/// Coordinates are in pixels; the pixel in column c and row r of a picture covers c to c + 1 and r to r + 1.

#include "PixelBlitter.h"

#include <array>
#include <optional>

namespace PixelBlitter {

using Quad = std::array<PB_Corner, 4>;

/// Takes (x, y) to ((m[0][0] x + m[0][1] y + m[0][2]) / w, (m[1][0] x + ...) / w) with w = m[2][0] x + m[2][1] y +
/// m[2][2]. Where it is affine w is 1.
struct Projection {
    double m[3][3];
};

/// Corners in order around it, in either direction, every turn the same way and none straight.
bool IsConvex(const Quad& quad) noexcept;

/// The projection that takes the corners of one convex quadrilateral to those of another, with w above 0 inside the
/// first. Nothing where that is beyond double precision.
std::optional<Projection> ProjectionBetween(const Quad& from, const Quad& to) noexcept;

/// The pixels whose centres lie in a convex quadrilateral and come from inside a source of a given size. Of shapes that
/// share an edge one has each pixel along it.
class Coverage {
public:
    /// source: where the corners come from.
    Coverage(const Quad& quad, const Quad& source, const Projection& toSource, double sourceWidth,
             double sourceHeight) noexcept;

    struct Range {
        int first = 0;
        int end = 0;
    };
    /// Rows, and columns of a row, of a picture of so many.
    Range Rows(int height) const noexcept;
    Range Columns(int row, int width) const noexcept;

private:
    struct Edge {
        double top, bottom, x, slope; ///< x at the top
    };
    static constexpr int kMostCorners = 8; // one more for each side of the source that cuts a corner off
    std::array<Edge, kMostCorners> mEdges{};
    int mCount = 0;
    double mTop = 0;
    double mBottom = 0;
};

} // namespace PixelBlitter
