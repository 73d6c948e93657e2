// Warps against projections that are solved, not composed, and samples in double precision.

#include "EveryTarget.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include <sys/mman.h>

namespace {

using Corners = std::array<PB_Corner, 4>;
constexpr std::int32_t kBGRA = 0x4;

int Warp(const TestPicture& from, const Corners& fromQuad, TestPicture& to, const Corners& toQuad) {
    return PB_WarpAffineQuad(from.width, from.height, from.base, from.RowBytes(), {0, 0}, fromQuad.data(), to.base,
                             to.RowBytes(), {0, 0}, toQuad.data(), {to.width, to.height}, from.format.value, 255, 1, 1,
                             to.format.value, 0, 0, 1, 0);
}

Corners Rectangle(double left, double bottom, double right, double top) {
    return {{{left, bottom}, {right, bottom}, {right, top}, {left, top}}};
}
Corners Whole(const TestPicture& picture) {
    return Rectangle(0, 0, picture.width, picture.height);
}

// The eight coefficients that take four points to four others, by elimination.
std::array<long double, 8> Solve(const Corners& from, const Corners& to) {
    long double m[8][9] = {};
    for (int i = 0; i < 4; ++i) {
        const long double x = from[i].x, y = from[i].y;
        const long double rows[2][9] = {{x, y, 1, 0, 0, 0, -x * to[i].x, -y * to[i].x, to[i].x},
                                        {0, 0, 0, x, y, 1, -x * to[i].y, -y * to[i].y, to[i].y}};
        std::copy_n(&rows[0][0], 18, &m[2 * i][0]);
    }
    for (int column = 0; column < 8; ++column) {
        const auto pivot = std::max_element(
            m + column, m + 8, [&](const auto& a, const auto& b) { return std::abs(a[column]) < std::abs(b[column]); });
        std::swap_ranges(*pivot, *pivot + 9, m[column]);
        for (int row = 0; row < 8; ++row) {
            const long double factor = row == column ? 0 : m[row][column] / m[column][column];
            for (int i = column; i < 9; ++i) {
                m[row][i] -= factor * m[column][i];
            }
        }
    }
    std::array<long double, 8> solution{};
    for (int i = 0; i < 8; ++i) {
        solution[i] = m[i][8] / m[i][i];
    }
    return solution;
}

// How far inside a quadrilateral a point lies; negative outside.
double Inside(const Corners& quad, double x, double y) {
    double least = std::numeric_limits<double>::infinity(), direction = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const PB_Corner &a = quad[i], &b = quad[(i + 1) % 4], &c = quad[(i + 2) % 4];
        direction += (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x) > 0 ? 1 : -1;
    }
    for (std::size_t i = 0; i < 4; ++i) {
        const PB_Corner &a = quad[i], &b = quad[(i + 1) % 4];
        const double side = (b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x);
        least = std::min(least, (direction > 0 ? side : -side) / std::hypot(b.x - a.x, b.y - a.y));
    }
    return least;
}

// Four components, bilinear between pixel centres, by premultiplied colours when weighed.
std::array<double, 4> Sample(const reference::Picture& picture, double x, double y, bool weighed) {
    const reference::Plane& any = picture.plane[0];
    x = std::clamp(x - 0.5, 0.0, any.width - 1.0);
    y = std::clamp(y - 0.5, 0.0, any.height - 1.0);
    const int column = std::min(static_cast<int>(x), std::max(any.width - 2, 0)),
              row = std::min(static_cast<int>(y), std::max(any.height - 2, 0));
    std::array<double, 4> plain{}, visible{};
    double all = 0;
    for (int tap = 0; tap < 4; ++tap) {
        const int c = std::min(column + tap % 2, any.width - 1), r = std::min(row + tap / 2, any.height - 1);
        const double weight = (tap % 2 != 0 ? x - column : 1 - (x - column)) * (tap / 2 != 0 ? y - row : 1 - (y - row));
        // Rows of the reference count from the top, those of warps from the bottom.
        const auto at = [&](int i) { return picture.plane[i].At(c, any.height - 1 - r); };
        all += weight * at(3);
        for (int i = 0; i < 4; ++i) {
            plain[i] += weight * at(i);
            visible[i] += weight * at(3) * at(i);
        }
    }
    for (int i = 0; i < 3 && weighed && all > 0; ++i) {
        plain[i] = visible[i] / all;
    }
    return plain;
}

struct Case {
    const char* name;
    int fromWidth, fromHeight, toWidth, toHeight;
    Corners from, to;
};
const Case kCases[] = {
    {"turned by 30 degrees",
     40,
     30,
     60,
     60,
     Rectangle(0, 0, 40, 30),
     {{{10, 5}, {44.64, 25}, {29.64, 50.98}, {-5, 30.98}}}},
    {"a quarter turn", 37, 21, 21, 37, Rectangle(0, 0, 37, 21), {{{0, 37}, {0, 0}, {21, 0}, {21, 37}}}},
    {"mirrored", 37, 21, 50, 40, Rectangle(0, 0, 37, 21), Rectangle(40.25, 3, 3.25, 24)},
    {"in perspective", 64, 48, 300, 70, Rectangle(0, 0, 64, 48), {{{5, 3}, {290, 20}, {280, 50}, {20, 66}}}},
    {"far in perspective", 64, 64, 200, 90, Rectangle(0, 0, 64, 64), {{{0, 0}, {200, 40}, {200, 44}, {0, 90}}}},
    {"out of a quadrilateral",
     64,
     48,
     90,
     70,
     {{{5, 3}, {60, 10}, {50, 40}, {9, 46}}},
     {{{80, 3}, {85, 60}, {10, 66}, {3, 8}}}},
    {"from outside the source",
     30,
     20,
     90,
     70,
     {{{-12, -8}, {45, -5}, {37, 31}, {-3, 26}}},
     {{{3, 2}, {85, 8}, {80, 66}, {-10, 60}}}},
    {"beyond the destination", 30, 20, 40, 30, Rectangle(0, 0, 30, 20), {{{-50, -20}, {90, -60}, {70, 66}, {-20, 60}}}},
    {"shrunk", 400, 300, 30, 20, Rectangle(0, 0, 400, 300), {{{1, 1}, {28, 3}, {27, 18}, {2, 17}}}},
    {"one pixel grown", 1, 1, 20, 20, Rectangle(0, 0, 1, 1), {{{2, 3}, {18, 2}, {17, 15}, {3, 19}}}},
    {"one column", 1, 20, 30, 30, Rectangle(0, 0, 1, 20), {{{2, 3}, {28, 2}, {27, 25}, {3, 29}}}},
    {"one row", 300, 1, 290, 3, Rectangle(0, 0, 300, 1), {{{0, 0}, {290, 0.2}, {288, 3}, {2, 2.9}}}},
};

class WarpOf : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(Formats, WarpOf, testing::Values(0x4, 0x8, 0xC, 0x805, 0x1004, 0x1008));

TEST_P(WarpOf, SamplesWhereTheProjectionSays) {
    std::uint32_t turn = 0;
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        TestPicture from(GetParam(), test.fromWidth, test.fromHeight, static_cast<int>(turn % 3 * 4), turn % 2 != 0);
        from.Randomise(++turn);
        const reference::Picture codes = from.Codes();
        const auto toSource = Solve(test.to, test.from);
        const auto& m = toSource;
        std::vector<std::uint8_t> first;
        OnEveryTarget([&] {
            TestPicture to(GetParam(), test.toWidth, test.toHeight, 4, turn % 3 == 0);
            ASSERT_EQ(Warp(from, test.from, to, test.to), kPB_Success);
            ASSERT_TRUE(to.PaddingUntouched());
            if (!first.empty()) {
                ASSERT_EQ(to.Pixels(), first);
                return;
            }
            first = to.Pixels();
            const reference::Picture got = to.Codes();
            int covered = 0;
            for (int row = 0; row < to.height; ++row) {
                for (int x = 0; x < to.width; ++x) {
                    const long double cx = x + 0.5L, cy = row + 0.5L, w = m[6] * cx + m[7] * cy + 1;
                    const auto u = static_cast<double>((m[0] * cx + m[1] * cy + m[2]) / w);
                    const auto v = static_cast<double>((m[3] * cx + m[4] * cy + m[5]) / w);
                    const double depth =
                        std::min({Inside(test.to, x + 0.5, row + 0.5), u, v, from.width - u, from.height - v});
                    if (std::abs(depth) < 1e-6) {
                        continue; // on the edge
                    }
                    const auto wanted = Sample(codes, u, v, from.format.alpha == reference::Alpha::Straight);
                    for (int c = 0; c < 4; ++c) {
                        const double is = got.plane[c].At(x, to.height - 1 - row);
                        // Where next to nothing is visible, the roundings of weights decide which colour that has.
                        const double tolerance = depth <= 0 ? 0
                                                 : from.format.alpha != reference::Alpha::Straight
                                                     ? 0.53
                                                     : 0.53 + 16 / wanted[3];
                        ASSERT_LE(std::abs(is - (depth > 0 ? wanted[c] : double{TestPicture::kUntouched})),
                                  c == 3 ? std::min(tolerance, 0.53) : tolerance)
                            << "component " << c << " of " << x << ", " << row << " from " << u << ", " << v;
                    }
                    covered += depth > 0 ? 1 : 0;
                }
            }
            EXPECT_GT(covered, 0);
        });
    }
}

// Nothing is lost where nothing changes, or only places do, whatever alpha there is.
TEST_P(WarpOf, MovesWholePixelsExactly) {
    for (const int width : {1, 2, 5, 16, 33, 300}) {
        TestPicture from(GetParam(), width, 7);
        from.Randomise(static_cast<std::uint32_t>(width));
        TestPicture same(GetParam(), width, 7), flipped(GetParam(), width, 7), back(GetParam(), width, 7);
        const double w = width;
        const Corners halfTurn = {{{w, 7}, {0, 7}, {0, 0}, {w, 0}}};
        OnEveryTarget([&] {
            ASSERT_EQ(Warp(from, Whole(from), same, Whole(same)), kPB_Success);
            EXPECT_EQ(same.Pixels(), from.Pixels());
            ASSERT_EQ(Warp(from, Whole(from), flipped, halfTurn), kPB_Success);
            ASSERT_EQ(Warp(flipped, Whole(from), back, halfTurn), kPB_Success);
            EXPECT_EQ(back.Pixels(), from.Pixels());
            ASSERT_EQ(Warp(back, Whole(from), back, halfTurn), kPB_Success); // onto itself
            EXPECT_EQ(back.Pixels(), flipped.Pixels());
        });
    }
}

// More than 2 GiB from the first row to the last, most of which no memory stands behind.
TEST(Warp, ReadsRowsFarApart) {
    constexpr int kWidth = 100, kStride = 1 << 30, kHeight = 3;
    constexpr std::size_t kBytes = std::size_t{kHeight - 1} * kStride + 4 * kWidth;
    void* const memory =
        mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    TestPicture from(kBGRA, kWidth, kHeight), wanted(kBGRA, 90, 40);
    from.Randomise(1);
    for (std::size_t row = 0; row < kHeight; ++row) {
        std::copy_n(from.base + row * 4 * kWidth, 4 * kWidth, static_cast<std::uint8_t*>(memory) + row * kStride);
    }
    const Corners quad = {{{80, 3}, {88, 35}, {4, 38}, {1, 2}}};
    ASSERT_EQ(Warp(from, Whole(from), wanted, quad), kPB_Success);
    OnEveryTarget([&] {
        TestPicture to(kBGRA, 90, 40);
        ASSERT_EQ(PB_WarpAffineQuad(kWidth, kHeight, memory, kStride, {0, 0}, Whole(from).data(), to.base,
                                    to.RowBytes(), {0, 0}, quad.data(), {90, 40}, kBGRA, 255, 1, 1, kBGRA, 0, 0, 1, 0),
                  kPB_Success);
        EXPECT_EQ(to.Pixels(), wanted.Pixels());
    });
    munmap(memory, kBytes);
}

TEST(Warp, GivesEachPixelAlongSharedEdgesToOne) {
    constexpr int kSide = 61;
    TestPicture white(kBGRA, 3, 3), times(kBGRA, kSide, kSide);
    const PB_Corner middles[] = {{30.5, 30.5}, {30, 30}, {17.3, 41.9}, {20.25, 30.5}};
    for (const PB_Corner& middle : middles) {
        std::vector<int> covered(kSide * kSide);
        const PB_Corner ring[8] = {{0, 0}, {25.5, 0}, {61, 0}, {61, 33.5}, {61, 61}, {33.3, 61}, {0, 61}, {0, 28}};
        for (int i = 0; i < 8; i += 2) {
            TestPicture to(kBGRA, kSide, kSide);
            ASSERT_EQ(Warp(white, Whole(white), to, {{ring[(i + 7) % 8], ring[i], ring[i + 1], middle}}), kPB_Success);
            // The source holds what is untouched, so colour it.
            std::fill_n(white.base, 36, std::uint8_t{9});
            ASSERT_EQ(Warp(white, Whole(white), to, {{ring[(i + 7) % 8], ring[i], ring[i + 1], middle}}), kPB_Success);
            const auto pixels = to.Pixels();
            for (std::size_t p = 0; p < covered.size(); ++p) {
                covered[p] += pixels[4 * p] == 9 ? 1 : 0;
            }
        }
        EXPECT_EQ(std::count(covered.begin(), covered.end(), 1), kSide * kSide);
    }
}

// Pixels of other formats are those of the same warp, converted; what lies outside stays.
TEST(Warp, ConvertsToEveryFormatWithRows) {
    TestPicture from(kBGRA, 50, 40);
    from.Randomise(3);
    const Corners quad = {{{7, 2}, {480, 9}, {497, 31}, {3, 38}}};
    for (const std::int32_t value : reference::AllFormats()) {
        SCOPED_TRACE(value);
        TestPicture to(value, 501, 40), pixels(kBGRA, 501, 40);
        if (!to.format.HasRows()) {
            EXPECT_EQ(Warp(from, Whole(from), to, quad), kPB_UnsupportedFormat);
            EXPECT_TRUE(to.Untouched());
            continue;
        }
        if (to.format.alpha == reference::Alpha::None) { // colours that no alpha weighs
            pixels.format = reference::Format(0xC);
        }
        ASSERT_EQ(PB_Convert(to.base, to.RowBytes(), value, pixels.base, pixels.RowBytes(), kBGRA, 501, 40, 4), 0);
        const auto before = to.Pixels();
        TestPicture source(pixels.format.value, 50, 40);
        std::copy_n(from.base, 50 * 40 * 4, source.base);
        ASSERT_EQ(Warp(source, Whole(source), pixels, quad), kPB_Success);
        TestPicture wanted(value, 501, 40);
        ASSERT_EQ(Convert(pixels, wanted), kPB_Success);
        ASSERT_EQ(Warp(from, Whole(from), to, quad), kPB_Success);
        EXPECT_TRUE(to.PaddingUntouched());
        const reference::Picture got = to.Codes(), converted = wanted.Codes();
        for (int c = 0; c < 3; ++c) {
            for (int row = 0; row < 40; ++row) {
                for (int x = 0; x < got.plane[c].width; ++x) {
                    const int step = got.plane[c].width == 501 ? 1 : 2;
                    const double depth = Inside(quad, step * x + step / 2.0, row + 0.5);
                    if (depth > 3) {
                        ASSERT_EQ(got.plane[c].At(x, 39 - row), converted.plane[c].At(x, 39 - row))
                            << c << " " << x << " " << row;
                    }
                }
            }
        }
        for (int row = 0; row < 40; ++row) { // units outside
            const std::size_t bytes = to.format.RowBytes(501), at = static_cast<std::size_t>(row) * bytes;
            const auto now = to.Pixels();
            const bool outside = row < 2 || row >= 38;
            if (outside) {
                ASSERT_TRUE(std::equal(now.begin() + at, now.begin() + at + bytes, before.begin() + at)) << row;
            }
        }
    }
}

TEST(Warp, RefusesWhatIsNoProjection) {
    TestPicture from(kBGRA, 8, 8), to(kBGRA, 20, 20);
    from.Randomise(1);
    const Corners good = Rectangle(2, 2, 18, 18);
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    struct Bad {
        Corners quad;
        int result;
    };
    for (const Bad& bad : {
             Bad{{{{2, 2}, {18, 2}, {2, 18}, {18, 18}}}, kPB_UnsupportedGeometry},  // crosses itself
             Bad{{{{2, 2}, {18, 2}, {18, 18}, {15, 4}}}, kPB_UnsupportedGeometry},  // is concave
             Bad{{{{2, 2}, {18, 2}, {18, 18}, {18, 18}}}, kPB_UnsupportedGeometry}, // a triangle
             Bad{{{{2, 2}, {18, 2}, {18, 18}, {10, 10}}}, kPB_UnsupportedGeometry}, // three corners in a line
             Bad{{{{2, 2}, {4, 4}, {8, 8}, {16, 16}}}, kPB_UnsupportedGeometry},    // all four
             Bad{{{{5, 5}, {5, 5}, {5, 5}, {5, 5}}}, kPB_UnsupportedGeometry},
             Bad{{{{2, 2}, {18, 2}, {18, nan}, {2, 18}}}, kPB_BadArgument},
             Bad{{{{2, 2}, {infinity, 2}, {18, 18}, {2, 18}}}, kPB_BadArgument},
             Bad{{{{2, 2}, {1e30, 2}, {18, 18}, {2, 18}}}, kPB_BadArgument},
         }) {
        EXPECT_EQ(Warp(from, Whole(from), to, bad.quad), bad.result);
        EXPECT_EQ(Warp(from, bad.quad, to, good), bad.result);
    }
    const auto call = [&](const void* pixels, int stride, const PB_Corner* corners, std::int32_t format, int opacity,
                          int width) {
        return PB_WarpAffineQuad(8, 8, pixels, stride, {0, 0}, corners, to.base, to.RowBytes(), {0, 0}, good.data(),
                                 {width, 20}, format, opacity, 1, 1, kBGRA, 0, 0, 1, 0);
    };
    EXPECT_EQ(call(from.base, 32, good.data(), kBGRA, 254, 20), kPB_BadArgument);
    EXPECT_EQ(call(from.base, 32, nullptr, kBGRA, 255, 20), kPB_BadArgument);
    EXPECT_EQ(call(nullptr, 32, good.data(), kBGRA, 255, 20), kPB_BadArgument);
    EXPECT_EQ(call(from.base, 31, good.data(), kBGRA, 255, 20), kPB_BadArgument);
    EXPECT_EQ(call(from.base, 32, good.data(), 0x811, 255, 20), kPB_UnsupportedFormat);
    EXPECT_EQ(call(from.base, 32, good.data(), kBGRA, 255, 0), kPB_Success);
    EXPECT_TRUE(to.Untouched());
}

// Whatever four points there are, nothing outside the pictures is touched.
TEST(Warp, StaysInsideItsPictures) {
    std::minstd_rand random(7);
    const auto pick = [&] {
        const double values[] = {0, 1e-300, 1e-9, 0.5, 1, 3, 13, 13 - 1e-12, 50, 1e4, 16777216};
        const double value = values[(random() >> 8) % std::size(values)];
        return (random() >> 8) % 3 == 0 ? -value : value + static_cast<double>(random() % 1000) / 100;
    };
    int warped = 0;
    for (int i = 0; i < 20000; ++i) {
        TestPicture from(kBGRA, 1 + static_cast<int>(random() >> 8) % 13, 1 + static_cast<int>(random() >> 8) % 5, 0,
                         i % 2 != 0);
        TestPicture to(kBGRA, 13, 7, 4, i % 3 == 0);
        Corners quads[2];
        for (Corners& quad : quads) {
            for (PB_Corner& corner : quad) {
                corner = {pick(), pick()};
            }
        }
        warped += Warp(from, i % 2 != 0 ? Whole(from) : quads[0], to, quads[1]) == kPB_Success ? 1 : 0;
        ASSERT_TRUE(to.PaddingUntouched());
    }
    EXPECT_GT(warped, 200);
}

} // namespace
