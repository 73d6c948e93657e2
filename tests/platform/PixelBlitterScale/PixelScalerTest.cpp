/// Scaling of 8-bit pixels through the converter against the double-precision sum.

#include "../PixelBlitter/TestPicture.h"
#include "EveryTarget.h"
#include "Pictures.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace PixelBlitter;
using reference::Alpha;

constexpr std::int32_t kBGRA = 0x4, kBGRP = 0x8, kBGRX = 0xC, kARGB = 0x1004, kVUYA = 0x805;

struct Case {
    std::int32_t from, to;
    int width, height, newWidth, newHeight;
    int quality;
    const char* path;
    Filter filter;

    friend void PrintTo(const Case& c, std::ostream* out) {
        *out << std::hex << c.from << " to " << c.to << std::dec << " " << c.width << "x" << c.height << " to "
             << c.newWidth << "x" << c.newHeight << " quality " << c.quality;
    }
};

/// Noise and hard edges; where alpha matters a part is opaque and the rest is not.
void Paint(TestPicture& source) {
    std::minstd_rand random(static_cast<unsigned>(source.width + 100 * source.height));
    for (int y = 0; y < source.height; ++y) {
        std::uint8_t* const line = source.base + y * source.stride;
        const auto bytes = static_cast<int>(source.format.RowBytes(source.width));
        for (int i = 0; i < bytes; ++i) {
            const int x = i / 4;
            line[i] = static_cast<std::uint8_t>((x / 8 + y / 8) % 2 ? random() >> 7 : (x + y / 3) % 2 ? 255 : 0);
            if (source.format.Is444() && i % 4 == (source.format.alphaFirst ? 0 : 3)) {
                line[i] = y < source.height * 2 / 3 ? 255 : random() % 4 == 0 ? 0 : line[i];
            }
        }
    }
}

reference::Plane Filtered(const reference::Plane& plane, const Case& c) {
    reference::Plane filtered(c.newWidth, c.newHeight);
    std::vector<std::vector<std::pair<int, double>>> across;
    for (int x = 0; x < c.newWidth; ++x)
        across.push_back(scaletest::ReferenceTaps(WholeAxis(c.width, c.newWidth), c.filter, x));
    for (int y = 0; y < c.newHeight; ++y)
        for (const auto& [row, rowWeight] : scaletest::ReferenceTaps(WholeAxis(c.height, c.newHeight), c.filter, y))
            for (int x = 0; x < c.newWidth; ++x)
                for (const auto& [column, weight] : across[static_cast<std::size_t>(x)])
                    filtered.At(x, y) += rowWeight * weight * plane.At(column, row);
    return filtered;
}

/// The unrounded codes of the scaled picture. Colours are filtered times alpha where both sides have one.
reference::Picture Wanted(const Case& c, const TestPicture& source, const reference::Format& to) {
    const reference::Format& from = source.format;
    const bool alpha = from.alpha != Alpha::None && to.alpha != Alpha::None;
    const reference::Format between((from.yuv ? from.bt709 ? 0xB01 : 0x901 : 0x100) | (alpha ? 0x8 : 0xC));
    reference::Picture picture = reference::Convert(from, between, source.Codes());
    for (reference::Plane& plane : picture.plane)
        plane = Filtered(plane, c);
    for (double& opacity : picture.plane[3].samples)
        opacity = std::clamp(opacity, 0.0, 1.0);
    return reference::Convert(between, to, picture);
}

int Scale(const Case& c, const TestPicture& source, TestPicture& result) {
    return PB_ScaleConvert(source.base, source.RowBytes(), c.width, c.height, c.from, 0, result.base, result.RowBytes(),
                           c.newWidth, c.newHeight, c.to, 0, c.quality);
}

class PixelScaling : public testing::TestWithParam<Case> {};

TEST_P(PixelScaling, IsWithinThreeQuartersOfACodeAndTheSameOnEveryProcessor) {
    const Case& c = GetParam();
    const PB_Plan plan = PB_PlanScaleConvert(c.width, c.height, c.from, 0, c.newWidth, c.newHeight, c.to, 0, c.quality);
    ASSERT_EQ(plan.path, c.path);
    ASSERT_EQ(plan.filter, FilterName(c.filter));
    TestPicture source(c.from, c.width, c.height, 12);
    Paint(source);
    const reference::Format from(c.from), to(c.to);
    const reference::Picture wanted = Wanted(c, source, to);
    // Floats differ in the last places.
    const std::string path = c.path;
    const bool straight = from.alpha == Alpha::Straight && to.alpha == Alpha::Straight;
    const bool alphaMatters =
        from.alpha != Alpha::None && to.alpha != Alpha::None && (straight || from.alpha != to.alpha);
    const bool floats = path == "scale" || (alphaMatters && !(straight && path == "scale 2:1"));
    std::vector<std::uint8_t> first;
    OnEveryTarget([&] {
        TestPicture result(c.to, c.newWidth, c.newHeight, 12);
        ASSERT_EQ(Scale(c, source, result), 0);
        ASSERT_TRUE(result.PaddingUntouched());
        const reference::Picture got = result.Codes();
        for (int i = 0; i < 4; ++i)
            for (std::size_t n = 0; n < got.plane[i].samples.size(); ++n) {
                // Where next to nothing is left of alpha, single precision decides what colour it has.
                const bool faint = from.alpha == Alpha::Straight && wanted.plane[3].samples[n] < 0.5;
                const double tolerance = faint && i < 3 ? 255 : from.Is444() ? 0.75 : 0.55;
                ASSERT_NEAR(got.plane[i].samples[n], wanted.plane[i].samples[n], tolerance) << i << " at " << n;
            }
        first = first.empty() ? result.Pixels() : first;
        EXPECT_TRUE(floats || !from.Is444() || result.Pixels() == first);
    });
}

std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const auto& [from, to] : {std::pair{kBGRX, kBGRX},
                                   {kBGRA, kBGRA},
                                   {kBGRP, kARGB},
                                   {kVUYA, kVUYA},
                                   {kBGRX, kARGB},
                                   {kARGB, kBGRX},
                                   {kBGRA, kBGRP}})
        for (const auto& [width, height] : {std::pair{1, 1}, {37, 20}, {16, 3}, {65, 6}})
            cases.push_back({from, to, 2 * width, 2 * height, width, height, 1 + width % 2, "scale 2:1", Filter::Box});
    for (const auto& [from, to] : {std::pair{0x811, 0x4}, {0x811, 0x805}, {0x1A11, 0x100C}, {0xA11, 0x8}})
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {37, 5}, {64, 3}})
            cases.push_back({from, to, 2 * width, 2 * height, width, height, 1 + width % 2, "scale 2:1", Filter::Box});
    // Bilinear halves by the box, beside a direction that does not shrink, too; other ratios make it a triangle.
    for (const auto& [width, height, filter] : {std::tuple{30, 60, Filter::Box},
                                                {90, 30, Filter::Box},
                                                {30, 59, Filter::Bilinear},
                                                {15, 30, Filter::Bilinear},
                                                {20, 20, Filter::Bilinear}})
        cases.push_back({kBGRX, kBGRX, 60, 60, width, height, 2, "scale integers", filter});
    // Up to 16 taps are done in integers.
    const auto taps = [](int quality, int size) {
        const double widening = std::max(1.0, 60.0 / size);
        return quality == 0 ? widening + 2 : 2 * (quality - 1) * widening + 1;
    };
    for (const auto& [from, to] : {std::pair{kBGRX, kBGRX}, {kBGRA, kARGB}, {kBGRP, kBGRP}, {kVUYA, kVUYA}})
        for (const int quality : {0, 2, 3, 4})
            for (const auto& [width, height] :
                 {std::pair{40, 30}, {61, 45}, {120, 90}, {133, 21}, {60, 90}, {95, 60}, {1, 1}, {17, 60}})
                cases.push_back(
                    {from, to, 60, 60, width, height, quality,
                     std::max(taps(quality, width), taps(quality, height)) <= 16 ? "scale integers" : "scale",
                     static_cast<Filter>(std::max(quality - 1, 0))});
    return cases;
}
INSTANTIATE_TEST_SUITE_P(Pixels, PixelScaling, testing::ValuesIn(Cases()));

TEST(PixelScaling, DoesNotDependOnTheThreads) {
    // Opaque and transparent parts that begin anywhere: what is made in integers must not depend on who makes it.
    for (const int quality : {1, 2, 3}) {
        const Case whole{kBGRA, kBGRA, 1200, 900, 1001, 1300, quality, "", {}};
        TestPicture source(kBGRA, 1200, 900, 12), first(kBGRA, 1001, 1300), again(kBGRA, 1001, 1300);
        Paint(source);
        ASSERT_EQ(Scale(whole, source, first), 0);
        for (int i = 0; i < 5; ++i) {
            ASSERT_EQ(Scale(whole, source, again), 0);
            ASSERT_TRUE(again.Pixels() == first.Pixels()) << quality;
        }
    }
}

} // namespace
