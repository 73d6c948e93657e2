#include "Polygon.h"

#include "BezierOutline.h"
#include "PolygonRenderer.h"
#include "TPixHandleUtilities.h"
#include "TestFrames.h"
#include "VideoFrameSharing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace {

using namespace vftest;
using Points = std::vector<PolygonPoint>;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

constexpr std::uint32_t kUntouched = 0x01020304;

/// Two pictures of the same size: a source whose pixels say where they are, and a destination.
class PolygonTest : public LibraryTest {
protected:
    void MakePictures(std::uint32_t width, std::uint32_t height, std::uint32_t sourceWidth = 0) {
        mSource = MakeFrame(kPixelFormat_BGRA_4444_8u, sourceWidth != 0 ? sourceWidth : width, height);
        mDestination = MakeFrame(kPixelFormat_BGRA_4444_8u, width, height);
        PaintCoordinates(mSource);
        std::fill_n(reinterpret_cast<std::uint32_t*>(Pixels(mDestination)), std::size_t{width} * height, kUntouched);
    }

    void Draw(Points points, bool bezier = false) {
        const TPixHand source = VF::NewTPixFromVideoFrame(mSource);
        const TPixHand destination = VF::NewTPixFromVideoFrame(mDestination);
        const PolygonPointArray array{points.data(), points.size(), points.size()};
        (bezier ? DoRenderPolyBezier : DoRenderPolygon)(destination, source, &array, 0x61726762);
        VF::DisposeTPixFromVideoFrame(source);
        VF::DisposeTPixFromVideoFrame(destination);
    }

    /// Stored rows count from the bottom, as polygons do.
    std::uint32_t Drawn(int x, int y) const {
        return PixelAt(mDestination, x, mDestination->GetBounds().bottom - 1 - y);
    }
    std::uint32_t Sampled(int x, int y) const { return PixelAt(mSource, x, mSource->GetBounds().bottom - 1 - y); }

    int CountDrawn() const {
        const auto* pixels = reinterpret_cast<const std::uint32_t*>(Pixels(mDestination));
        const Rect bounds = mDestination->GetBounds();
        const std::ptrdiff_t count = std::ptrdiff_t{bounds.right} * bounds.bottom;
        return static_cast<int>(count - std::count(pixels, pixels + count, kUntouched));
    }

    FrameRef mSource;
    FrameRef mDestination;
};

/// How often the ray from a pixel's centre to the right meets the outline, and how near the outline passes.
struct Crossings {
    int count = 0;
    double nearest = std::numeric_limits<double>::max();
};

Crossings CrossingsAt(const Points& points, int x, int y) {
    Crossings result;
    const double centreX = x + 0.5;
    const double centreY = y + 0.5;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const PolygonPoint& a = points[i];
        const PolygonPoint& b = points[(i + 1) % points.size()];
        result.nearest = std::min({result.nearest, std::abs(a.y - centreY), std::abs(b.y - centreY)});
        if ((a.y > centreY) != (b.y > centreY)) {
            const double at = a.x + (centreY - a.y) * (double{b.x} - a.x) / (double{b.y} - a.y);
            result.nearest = std::min(result.nearest, std::abs(at - centreX));
            result.count += at > centreX ? 1 : 0;
        }
    }
    return result;
}

TEST_F(PolygonTest, FillsWhatTheEvenOddRuleSaysWithTheSourcePixelOfTheSamePlace) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> coordinate(-40.0F, 170.0F); // beyond all sides of 131 by 97
    MakePictures(131, 97);
    const FrameRef first = mDestination;
    for (int round = 0; round < 60; ++round) {
        MakePictures(131, 97, round % 3 == 0 ? 100 : 131);
        Points points(3 + static_cast<std::size_t>(round));
        for (PolygonPoint& point : points) {
            point = {coordinate(random), coordinate(random)};
        }
        Draw(points);
        int decided = 0;
        for (int y = 0; y < 97; ++y) {
            for (int x = 0; x < 131; ++x) {
                const Crossings crossings = CrossingsAt(points, x, y);
                if (crossings.nearest > 0.01) { // floats decide what the outline passes through
                    const std::uint32_t wanted =
                        crossings.count % 2 != 0 ? Sampled(std::min(x, mSource->GetBounds().right - 1), y) : kUntouched;
                    ASSERT_EQ(Drawn(x, y), wanted) << x << ", " << y << " in round " << round;
                    ++decided;
                }
            }
        }
        EXPECT_GT(decided, 131 * 97 / 2);
    }
}

TEST_F(PolygonTest, CornersOnPixelEdgesAndThinShapesFollowTheCentreRule) {
    const struct {
        Points points;
        int drawn;
    } cases[] = {
        {{{0, 0}, {4, 0}, {4, 3}, {0, 3}}, 12},
        {{{2, 1.6F}, {9, 1.6F}, {9, 2.4F}, {2, 2.4F}}, 0}, // between two centres
        {{{0, 0}, {8, 8}, {8, 0}, {0, 8}}, 40},            // a bow tie
        {{{-1e30F, -1e30F}, {1e30F, -1e30F}, {1e30F, 1e30F}, {-1e30F, 1e30F}}, 320},
        {{{-3e38F, -3e38F}, {3e38F, 3e38F}, {3e38F, -3e38F}}, -1}, // differences overflow: anything but harm
        {{}, 0},
        {{{3, 3}}, 0},
        {{{1, 1}, {7, 7}}, -1}, // two edges that lie on each other
        {{{1, 1}, {1, 1}, {1, 1}}, 0},
        {{{0, 0}, {std::numeric_limits<float>::quiet_NaN(), 5}, {9, 9}}, 0},
        {{{0, 0}, {std::numeric_limits<float>::infinity(), 5}, {9, 9}}, 0},
    };
    for (const auto& [points, drawn] : cases) {
        MakePictures(20, 16);
        Draw(points);
        if (drawn >= 0) {
            EXPECT_EQ(CountDrawn(), drawn)
                << "of " << points.size() << " points, case " << (&points - &cases[0].points);
        }
    }
}

TEST_F(PolygonTest, OutlinesOfWholeSegmentsFollowTheirCurves) {
    // A circle of four segments; the control points of a quarter lie 0.5523 radii along its tangents.
    constexpr float radius = 40;
    constexpr float handle = radius * 0.5522848F;
    constexpr float centre = 50;
    Points circle;
    const auto add = [&](float x, float y) { circle.push_back({centre + x, centre + y}); };
    add(radius, 0), add(radius, handle), add(handle, radius), add(0, radius);
    add(-handle, radius), add(-radius, handle), add(-radius, 0);
    add(-radius, -handle), add(-handle, -radius), add(0, -radius);
    add(handle, -radius), add(radius, -handle), add(radius, 0);
    for (const std::size_t beyond : {0U, 1U, 2U}) {
        MakePictures(100, 100);
        Points points = circle;
        points.insert(points.end(), beyond, {0, 0}); // not a whole segment
        Draw(points, true);
        for (int y = 0; y < 100; ++y) {
            for (int x = 0; x < 100; ++x) {
                const double distance = std::hypot(x + 0.5 - centre, y + 0.5 - centre);
                if (std::abs(distance - radius) > 0.6) {
                    ASSERT_EQ(Drawn(x, y), distance < radius ? Sampled(x, y) : kUntouched) << x << ", " << y;
                }
            }
        }
    }
    Points few(3, {1, 1});
    MakePictures(8, 8);
    Draw(few, true);
    EXPECT_EQ(CountDrawn(), 0);

    std::vector<PolygonPoint> polyline;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    VF::Polygons::AppendFlattened({{{0, 0}, {nan, 1}, {2, 2}, {3, 3}}}, 0.5F, polyline);
    EXPECT_EQ(polyline.size(), 2U);
    VF::Polygons::AppendFlattened({{{0, 0}, {1e18F, -1e18F}, {-1e18F, 1e18F}, {3, 3}}}, 0.5F, polyline);
    EXPECT_LE(polyline.size(), 2U + (1U << 20) + 1U);
}

TEST_F(PolygonTest, SamplesBetweenPixelsAndMixesByTheOpacityOfCorners) {
    using VF::Polygons::Surface;
    std::vector<std::uint8_t> source(16 * 8 * 4);
    std::mt19937 random(5);
    std::generate(source.begin(), source.end(), [&] { return static_cast<std::uint8_t>(random()); });
    std::vector<std::uint8_t> destination(source.size(), 50);
    std::vector<VF::Polygons::Vertex> corners;
    for (const auto& [x, y] : {std::pair{0.0F, 0.0F}, {15.0F, 0.0F}, {15.0F, 7.0F}, {0.0F, 7.0F}}) {
        corners.push_back({.x = x, .y = y, .u = x + 0.25F, .v = y + 0.375F, .opacity = x * 17});
    }
    VF::Polygons::Fill({destination.data(), 64, 16, 8}, {source.data(), 64, 16, 8}, corners);
    for (std::size_t y = 0; y < 7; ++y) {
        for (std::size_t x = 0; x < 15; ++x) {
            for (std::size_t channel = 0; channel < 4; ++channel) {
                const auto p = [&](std::size_t dx, std::size_t dy) {
                    return static_cast<double>(source[(y + dy) * 64 + (x + dx) * 4 + channel]);
                };
                const double sample =
                    (p(0, 0) * 0.75 + p(1, 0) * 0.25) * 0.625 + (p(0, 1) * 0.75 + p(1, 1) * 0.25) * 0.375;
                const double share = channel == 3 ? 1 : (static_cast<double>(x) + 0.5) * 17 / 255;
                EXPECT_NEAR(destination[y * 64 + x * 4 + channel], sample * share + 50 * (1 - share), 1.2);
            }
        }
    }
}

TEST_F(PolygonTest, PublishedPicturesAndOtherPixelsAreLeftAlone) {
    const Points whole{{0, 0}, {8, 0}, {8, 8}, {0, 8}};
    MakePictures(8, 8);
    mDestination = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 8, 8);
    const std::vector<std::uint8_t> before(Pixels(mDestination), Pixels(mDestination) + 256);
    ASSERT_EQ(VF::PublishVideoFrame(mDestination, zyncore::utility::Guid{1, 2, 3, {4}}), 0);
    Draw(whole);
    EXPECT_EQ(std::memcmp(Pixels(mDestination), before.data(), before.size()), 0);

    MakePictures(8, 8);
    mDestination = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_32f, 8, 8);
    const std::vector<std::uint8_t> black(Pixels(mDestination), Pixels(mDestination) + 8 * 8 * 16);
    Draw(whole);
    EXPECT_EQ(std::memcmp(Pixels(mDestination), black.data(), black.size()), 0);

    MakePictures(8, 8);
    const TPixHand hand = VF::NewTPixFromVideoFrame(mDestination);
    const TPixHand source = VF::NewTPixFromVideoFrame(mSource);
    Points points{{0, 0}, {8, 0}, {8, 4000}, {0, 4000}};
    const PolygonPointArray array{points.data(), points.size(), 0};
    DoRenderPolygon(nullptr, hand, &array, 0);
    DoRenderPolygon(hand, source, nullptr, 0);
    EXPECT_EQ(CountDrawn(), 0);
    // A record may claim more rows than its frame has; one of a field does.
    TPixFieldsPrep(hand, 1);
    TPixFields_PointAtField(hand, 0);
    DoRenderPolygon(hand, source, &array, 0);
    EXPECT_EQ(CountDrawn(), 32) << "the rows of the field";
    TPixFieldsCleanup(hand);
    (*hand)->bounds.bottom = 4000;
    DoRenderPolygon(hand, source, &array, 0);
    EXPECT_EQ(CountDrawn(), 64);
    VF::DisposeTPixFromVideoFrame(hand);
    VF::DisposeTPixFromVideoFrame(source);
}

} // namespace
