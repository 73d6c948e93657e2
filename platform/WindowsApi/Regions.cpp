#include "Regions.h"

#include "RegionShapes.h"
#include "WindowsApi_Regions.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace WindowsApi {
namespace {

/// Windows holds coordinates of regions in 27 bits and a sign; products of two fit 64 bits.
constexpr int kFarthestPoint = (1 << 27) - 1;

template <class Make>
HRGN MakeRegion(const Make& inMake) noexcept {
    try {
        return static_cast<HRGN>(AddGraphicsObject(std::make_shared<Region>(inMake())));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Box InOrder(int inLeft, int inTop, int inRight, int inBottom) {
    return {std::min(inLeft, inRight), std::min(inTop, inBottom), std::max(inLeft, inRight), std::max(inTop, inBottom)};
}

/// An ellipse's size along one side: never negative, never more than the side has room for.
std::int64_t EllipseSide(int inSize, int inFrom, int inTo) {
    return std::min(std::abs(std::int64_t{inSize}), std::int64_t{inTo} - inFrom);
}

bool IsWithin32Bits(std::int64_t inValue) {
    return inValue == static_cast<std::int32_t>(inValue);
}

PixelRegion Combined(const PixelRegion& inFirst, const PixelRegion& inSecond, int inMode) {
    switch (inMode) {
    case RGN_AND:
        return inFirst.Intersection(inSecond);
    case RGN_OR:
        return inFirst.Union(inSecond);
    case RGN_XOR:
        return inFirst.Difference(inSecond).Union(inSecond.Difference(inFirst));
    default:
        return inFirst.Difference(inSecond);
    }
}

} // namespace

int KindOf(const PixelRegion& inPixels) noexcept {
    const std::size_t boxes = inPixels.Boxes().size();
    return boxes == 0 ? NULLREGION : boxes == 1 ? SIMPLEREGION : COMPLEXREGION;
}

} // namespace WindowsApi

using WindowsApi::Box;
using WindowsApi::Find;
using WindowsApi::PixelRegion;
using WindowsApi::Region;

HRGN CreateRectRgn(int inLeft, int inTop, int inRight, int inBottom) {
    return WindowsApi::MakeRegion([&] { return PixelRegion(WindowsApi::InOrder(inLeft, inTop, inRight, inBottom)); });
}

HRGN CreateEllipticRgn(int inLeft, int inTop, int inRight, int inBottom) {
    constexpr int kAll = std::numeric_limits<int>::max();
    return CreateRoundRectRgn(inLeft, inTop, inRight, inBottom, kAll, kAll);
}

HRGN CreateRoundRectRgn(int inLeft, int inTop, int inRight, int inBottom, int inEllipseWidth, int inEllipseHeight) {
    Box box = WindowsApi::InOrder(inLeft, inTop, inRight, inBottom);
    if (box.x1 == box.x2 || box.y1 == box.y2) {
        return CreateRectRgn(0, 0, 0, 0);
    }
    --box.x2;
    --box.y2;
    const std::int64_t width = WindowsApi::EllipseSide(inEllipseWidth, box.x1, box.x2);
    const std::int64_t height = WindowsApi::EllipseSide(inEllipseHeight, box.y1, box.y2);
    if (std::max(width, height) > WindowsApi::kMostEllipseSide) {
        return nullptr;
    }
    return WindowsApi::MakeRegion(
        [&] { return WindowsApi::MakeRoundRectangle(box, static_cast<int>(width), static_cast<int>(height)); });
}

HRGN CreatePolygonRgn(const POINT* inPoints, int inCount, int inMode) {
    if (inPoints == nullptr || inCount < 2 || (inMode != ALTERNATE && inMode != WINDING)) {
        return nullptr;
    }
    const std::span<const POINT> points(inPoints, static_cast<std::size_t>(inCount));
    const auto isNear = [](int inValue) { return std::abs(std::int64_t{inValue}) <= WindowsApi::kFarthestPoint; };
    if (!std::ranges::all_of(points, [&](const POINT& point) { return isNear(point.x) && isNear(point.y); })) {
        return nullptr;
    }
    return WindowsApi::MakeRegion([&] { return WindowsApi::MakePolygon(points, inMode == WINDING); });
}

int CombineRgn(HRGN outCombined, HRGN inFirst, HRGN inSecond, int inMode) {
    const std::shared_ptr<Region> combined = Find<Region>(outCombined);
    const std::shared_ptr<Region> first = Find<Region>(inFirst);
    const std::shared_ptr<Region> second = inMode == RGN_COPY ? first : Find<Region>(inSecond);
    if (!combined || !first || !second || inMode < RGN_AND || inMode > RGN_COPY) {
        return ERROR;
    }
    try {
        combined->pixels = inMode == RGN_COPY ? PixelRegion(first->pixels)
                                              : WindowsApi::Combined(first->pixels, second->pixels, inMode);
    } catch (const std::bad_alloc&) {
        return ERROR;
    }
    return WindowsApi::KindOf(combined->pixels);
}

int OffsetRgn(HRGN inRegion, int inX, int inY) {
    const std::shared_ptr<Region> region = Find<Region>(inRegion);
    if (!region) {
        return ERROR;
    }
    const Box bounds = region->pixels.Bounds();
    using WindowsApi::IsWithin32Bits;
    if (!IsWithin32Bits(std::int64_t{bounds.x1} + inX) || !IsWithin32Bits(std::int64_t{bounds.x2} + inX) ||
        !IsWithin32Bits(std::int64_t{bounds.y1} + inY) || !IsWithin32Bits(std::int64_t{bounds.y2} + inY)) {
        return ERROR;
    }
    region->pixels.Move(inX, inY);
    return WindowsApi::KindOf(region->pixels);
}

int GetRgnBox(HRGN inRegion, RECT* outBounds) {
    const std::shared_ptr<Region> region = Find<Region>(inRegion);
    if (!region || outBounds == nullptr) {
        return ERROR;
    }
    const Box bounds = region->pixels.Bounds();
    *outBounds = {bounds.x1, bounds.y1, bounds.x2, bounds.y2};
    return WindowsApi::KindOf(region->pixels);
}

BOOL PtInRegion(HRGN inRegion, int inX, int inY) {
    const std::shared_ptr<Region> region = Find<Region>(inRegion);
    return region && region->pixels.Contains(inX, inY) ? TRUE : FALSE;
}

BOOL EqualRgn(HRGN inFirst, HRGN inSecond) {
    const std::shared_ptr<Region> first = Find<Region>(inFirst);
    const std::shared_ptr<Region> second = Find<Region>(inSecond);
    return first && second && first->pixels == second->pixels ? TRUE : FALSE;
}
