#include "Projection.h"

#include <algorithm>
#include <cmath>

namespace PixelBlitter {
namespace {

// A corner with where it comes from, times w, and w.
struct Corner {
    double x, y, u, v, w;
};

Corner Between(const Corner& a, const Corner& b, double share) noexcept {
    const auto mix = [=](double from, double to) { return from + (to - from) * share; };
    return {mix(a.x, b.x), mix(a.y, b.y), mix(a.u, b.u), mix(a.v, b.v), mix(a.w, b.w)};
}

struct Shape {
    std::array<Corner, 8> corners{};
    int count = 0;

    void Add(const Corner& corner) noexcept {
        if (count < static_cast<int>(corners.size())) { // more than a convex shape can have
            corners[static_cast<std::size_t>(count++)] = corner;
        }
    }
    const Corner& operator[](int i) const noexcept { return corners[static_cast<std::size_t>(i % count)]; }
};

// What of a convex shape lies where a linear function is not negative.
template <class Function>
Shape Cut(const Shape& shape, const Function& side) noexcept {
    Shape inside;
    for (int i = 0; i < shape.count; ++i) {
        const double here = side(shape[i]), next = side(shape[i + 1]);
        if (here >= 0) {
            inside.Add(shape[i]);
        }
        if ((here < 0) != (next < 0)) {
            inside.Add(Between(shape[i], shape[i + 1], here / (here - next)));
        }
    }
    return inside;
}

// From the unit square. P. Heckbert, Fundamentals of Texture Mapping and Image Warping, 1989, section 2.2.3.
Projection FromSquare(const Quad& quad) noexcept {
    const auto& [p, q, r, s] = quad;
    const double sumX = p.x - q.x + r.x - s.x, sumY = p.y - q.y + r.y - s.y;
    const double x1 = q.x - r.x, y1 = q.y - r.y, x2 = s.x - r.x, y2 = s.y - r.y;
    const double area = x1 * y2 - x2 * y1;
    const double g = (sumX * y2 - x2 * sumY) / area, h = (x1 * sumY - sumX * y1) / area;
    return {
        {{q.x - p.x + g * q.x, s.x - p.x + h * s.x, p.x}, {q.y - p.y + g * q.y, s.y - p.y + h * s.y, p.y}, {g, h, 1}}};
}

// Its inverse but for a factor.
Projection Adjugate(const Projection& projection) noexcept {
    const auto& m = projection.m;
    Projection adjugate{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const int a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
            adjugate.m[i][j] = m[a][c] * m[b][d] - m[a][d] * m[b][c];
        }
    }
    return adjugate;
}

Projection Product(const Projection& after, const Projection& before) noexcept {
    Projection product{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            for (int k = 0; k < 3; ++k) {
                product.m[i][j] += after.m[i][k] * before.m[k][j];
            }
        }
    }
    return product;
}

double Depth(const Projection& projection, const PB_Corner& at) noexcept {
    return projection.m[2][0] * at.x + projection.m[2][1] * at.y + projection.m[2][2];
}

// The first pixel whose centre is not before the place.
int FirstFrom(double place, int end) noexcept {
    return static_cast<int>(std::clamp(std::ceil(place - 0.5), 0.0, static_cast<double>(end)));
}

} // namespace

bool IsConvex(const Quad& quad) noexcept {
    int left = 0, right = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const PB_Corner &a = quad[i], &b = quad[(i + 1) % 4], &c = quad[(i + 2) % 4];
        const double turn = (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
        left += turn > 0 ? 1 : 0;
        right += turn < 0 ? 1 : 0;
    }
    return left == 4 || right == 4;
}

std::optional<Projection> ProjectionBetween(const Quad& from, const Quad& to) noexcept {
    Projection projection = Product(FromSquare(to), Adjugate(FromSquare(from)));
    // Its depth at the middle of the corners becomes 1, which is exact for affine ones: their depth is the same
    // everywhere.
    const bool affine = projection.m[2][0] == 0 && projection.m[2][1] == 0;
    double middle = projection.m[2][2];
    if (!affine) {
        middle = 0;
        for (const PB_Corner& corner : from) {
            middle += Depth(projection, corner) / 4;
        }
    }
    for (auto& row : projection.m) {
        for (double& coefficient : row) {
            coefficient /= middle;
        }
    }
    const bool sound = std::all_of(from.begin(), from.end(), [&](const PB_Corner& corner) {
        const double depth = Depth(projection, corner);
        return depth > 0 && std::isfinite(depth);
    });
    return sound ? std::optional(projection) : std::nullopt;
}

Coverage::Coverage(const Quad& quad, const Quad& source, const Projection& toSource, double sourceWidth,
                   double sourceHeight) noexcept {
    Shape shape;
    for (std::size_t i = 0; i < 4; ++i) {
        const double w = Depth(toSource, quad[i]);
        shape.Add({quad[i].x, quad[i].y, source[i].x * w, source[i].y * w, w});
    }
    shape = Cut(shape, [](const Corner& corner) { return corner.u; });
    shape = Cut(shape, [](const Corner& corner) { return corner.v; });
    shape = Cut(shape, [=](const Corner& corner) { return sourceWidth * corner.w - corner.u; });
    shape = Cut(shape, [=](const Corner& corner) { return sourceHeight * corner.w - corner.v; });
    for (int i = 0; i < shape.count; ++i) {
        const bool down = shape[i].y < shape[i + 1].y;
        const Corner& top = down ? shape[i] : shape[i + 1];
        const Corner& bottom = down ? shape[i + 1] : shape[i];
        if (top.y == bottom.y) {
            continue;
        }
        mEdges[static_cast<std::size_t>(mCount)] = {top.y, bottom.y, top.x, (bottom.x - top.x) / (bottom.y - top.y)};
        mTop = mCount == 0 ? top.y : std::min(mTop, top.y);
        mBottom = mCount == 0 ? bottom.y : std::max(mBottom, bottom.y);
        ++mCount;
    }
}

Coverage::Range Coverage::Rows(int height) const noexcept {
    return {FirstFrom(mTop, height), FirstFrom(mBottom, height)};
}

Coverage::Range Coverage::Columns(int row, int width) const noexcept {
    const double centre = row + 0.5;
    double left = width, right = 0;
    for (int i = 0; i < mCount; ++i) {
        const Edge& edge = mEdges[static_cast<std::size_t>(i)];
        if (edge.top <= centre && centre < edge.bottom) {
            const double x = edge.x + (centre - edge.top) * edge.slope;
            left = std::min(left, x);
            right = std::max(right, x);
        }
    }
    return {FirstFrom(left, width), FirstFrom(right, width)};
}

} // namespace PixelBlitter
