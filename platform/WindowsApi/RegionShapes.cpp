#include "RegionShapes.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

namespace WindowsApi {
namespace {

/// Collects the boxes of rows that come from the top down, and makes one of boxes that continue each other.
class RowCollector {
public:
    /// Rows [inTop, inBottom) of the pixels [inLeft, inRight), the only ones of these rows.
    void AddRows(int inLeft, int inRight, int inTop, int inBottom) {
        if (inLeft >= inRight || inTop >= inBottom) {
            return;
        }
        if (!mBoxes.empty() && mBoxes.back().x1 == inLeft && mBoxes.back().x2 == inRight && mBoxes.back().y2 == inTop) {
            mBoxes.back().y2 = inBottom;
            return;
        }
        Add({inLeft, inTop, inRight, inBottom});
    }

    /// One of possibly several boxes of one row, from left to right; FinishRow ends the row.
    void AddToRow(int inLeft, int inRight, int inY) {
        if (mBoxes.size() > mRowStart && mBoxes.back().x2 >= inLeft) {
            mBoxes.back().x2 = std::max(mBoxes.back().x2, inRight);
        } else {
            Add({inLeft, inY, inRight, inY + 1});
        }
    }

    /// Lets the row above grow by this one where both are the same.
    void FinishRow() {
        const std::size_t size = mBoxes.size() - mRowStart;
        const auto row = mBoxes.begin() + static_cast<std::ptrdiff_t>(mRowStart);
        const auto above = mBoxes.begin() + static_cast<std::ptrdiff_t>(mAboveStart);
        const bool continues =
            size != 0 && size == mRowStart - mAboveStart && std::equal(above, row, row, [](const Box& a, const Box& b) {
                return a.x1 == b.x1 && a.x2 == b.x2 && a.y2 == b.y1;
            });
        if (continues) {
            std::for_each(above, row, [](Box& box) { ++box.y2; });
            mBoxes.erase(row, mBoxes.end());
        } else {
            mAboveStart = mRowStart;
        }
        mRowStart = mBoxes.size();
    }

    PixelRegion Region() const { return PixelRegion(mBoxes); }

private:
    void Add(const Box& inBox) {
        if (mBoxes.size() == kMostRectangles) {
            throw std::bad_alloc();
        }
        mBoxes.push_back(inBox);
    }

    std::vector<Box> mBoxes;
    std::size_t mAboveStart = 0;
    std::size_t mRowStart = 0;
};

/// For each row from an ellipse's middle down, how many pixels of its box lie left of it, and as many right of it. The
/// outline is the one of A. Zingl, "A Rasterizing Algorithm for Drawing Curves", section 2: it goes from the middle of
/// the left side to the lowest point, at each step to the neighbour whose error against the equation is the smallest.
std::vector<int> EllipseInsets(int inWidth, int inHeight) {
    const std::int64_t a = inWidth - 1;
    const std::int64_t b = inHeight - 1;
    const std::int64_t odd = b % 2;
    std::int64_t stepX = 4 * b * b * (1 - a);
    std::int64_t stepY = 4 * a * a * (1 + odd);
    std::int64_t error = stepX + stepY + a * a * odd;
    // The tips of an ellipse that is much higher than wide are all middle: one pixel or two.
    std::vector<int> insets(static_cast<std::size_t>(inHeight - inHeight / 2), (inWidth - 1) / 2);
    int x = 0;
    std::size_t row = 0;
    insets[row] = 0;
    while (x <= inWidth / 2) {
        const std::int64_t twice = 2 * error;
        if (twice >= stepX) {
            ++x;
            stepX += 8 * b * b;
            error += stepX;
        }
        if (twice <= stepY) {
            stepY += 8 * a * a;
            error += stepY;
            if (++row == insets.size()) {
                break;
            }
            insets[row] = std::min(x, (inWidth - 1) / 2);
        }
    }
    return insets;
}

/// An edge of a polygon that crosses the tops of the rows [top, bottom).
struct Edge {
    int top;
    int bottom;
    std::int64_t x; ///< at the top
    std::int64_t dx;
    std::int64_t dy;
    int direction; ///< 1 down, -1 up

    /// The first pixel at this row whose left border is not left of the edge.
    int FirstPixel(int inY) const noexcept {
        const std::int64_t product = (inY - static_cast<std::int64_t>(top)) * dx;
        const std::int64_t down = product / dy - (product % dy < 0 ? 1 : 0);
        return static_cast<int>(x + down + (product % dy != 0 ? 1 : 0));
    }
};

std::vector<Edge> EdgesFromTheTopDown(std::span<const POINT> inPoints) {
    std::vector<Edge> edges;
    edges.reserve(inPoints.size());
    for (std::size_t n = 0; n < inPoints.size(); ++n) {
        const POINT& from = inPoints[n];
        const POINT& to = inPoints[n + 1 < inPoints.size() ? n + 1 : 0];
        if (from.y == to.y) {
            continue;
        }
        const POINT& upper = from.y < to.y ? from : to;
        const POINT& lower = from.y < to.y ? to : from;
        edges.push_back({upper.y, lower.y, upper.x, std::int64_t{lower.x} - upper.x, std::int64_t{lower.y} - upper.y,
                         from.y < to.y ? 1 : -1});
    }
    std::ranges::sort(edges, {}, &Edge::top);
    return edges;
}

struct Crossing {
    int x;
    int direction;
};

} // namespace

PixelRegion MakeRoundRectangle(const Box& inBox, int inEllipseWidth, int inEllipseHeight) {
    if (inEllipseWidth < 2 || inEllipseHeight < 2) {
        return PixelRegion(inBox);
    }
    const std::vector<int> insets = EllipseInsets(inEllipseWidth, inEllipseHeight);
    const int corner = inEllipseHeight / 2;
    RowCollector rows;
    for (int row = 0; row < corner; ++row) {
        const int inset = insets[insets.size() - 1 - static_cast<std::size_t>(row)];
        rows.AddRows(inBox.x1 + inset, inBox.x2 - inset, inBox.y1 + row, inBox.y1 + row + 1);
    }
    const int lowerRows = static_cast<int>(insets.size());
    rows.AddRows(inBox.x1, inBox.x2, inBox.y1 + corner, inBox.y2 - lowerRows);
    for (int row = 0; row < lowerRows; ++row) {
        const int inset = insets[static_cast<std::size_t>(row)];
        const int y = inBox.y2 - lowerRows + row;
        rows.AddRows(inBox.x1 + inset, inBox.x2 - inset, y, y + 1);
    }
    return rows.Region();
}

PixelRegion MakePolygon(std::span<const POINT> inPoints, bool inWinding) {
    const std::vector<Edge> edges = EdgesFromTheTopDown(inPoints);
    RowCollector rows;
    std::vector<const Edge*> active;
    std::vector<Crossing> crossings;
    auto next = edges.begin();
    int y = edges.empty() ? 0 : edges.front().top;
    while (next != edges.end() || !active.empty()) {
        if (active.empty()) {
            y = next->top;
        }
        for (; next != edges.end() && next->top == y; ++next) {
            active.push_back(&*next);
        }
        crossings.clear();
        for (const Edge* edge : active) {
            crossings.push_back({edge->FirstPixel(y), edge->direction});
        }
        std::ranges::sort(crossings, {}, &Crossing::x);
        int winding = 0;
        for (std::size_t n = 0; n + 1 < crossings.size(); ++n) {
            winding += inWinding ? crossings[n].direction : 1;
            const bool isInside = inWinding ? winding != 0 : winding % 2 != 0;
            if (isInside && crossings[n].x < crossings[n + 1].x) {
                rows.AddToRow(crossings[n].x, crossings[n + 1].x, y);
            }
        }
        rows.FinishRow();
        ++y;
        std::erase_if(active, [y](const Edge* edge) { return edge->bottom == y; });
    }
    return rows.Region();
}

} // namespace WindowsApi
