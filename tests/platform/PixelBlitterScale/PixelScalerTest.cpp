/// Scaling of 8-bit pixels through the converter against the double-precision sum.

#include "Pictures.h"

#include "PixelBlitter.h"
#include "ReferencePixels.h"

#include <hwy/targets.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace {

using namespace PixelBlitter;

enum class Alpha { Straight, Premultiplied, None };

struct PixelFormat {
    PB_PixelFormat value;
    Alpha alpha;
    bool alphaFirst;
    double zero[3]; ///< codes of 0 of B G R or V U Y
};
constexpr PixelFormat kBGRA{0x4, Alpha::Straight, false, {0, 0, 0}};
constexpr PixelFormat kBGRP{0x8, Alpha::Premultiplied, false, {0, 0, 0}};
constexpr PixelFormat kBGRX{0xC, Alpha::None, false, {0, 0, 0}};
constexpr PixelFormat kARGB{0x1004, Alpha::Straight, true, {0, 0, 0}};
constexpr PixelFormat kVUYA{0x805, Alpha::Straight, false, {128, 128, 16}};

struct Case {
    PixelFormat from, to;
    int width, height, newWidth, newHeight;
    int quality;
    const char* path;
    Filter filter;

    friend void PrintTo(const Case& c, std::ostream* out) {
        *out << std::hex << c.from.value << " to " << c.to.value << std::dec << " " << c.width << "x" << c.height
             << " to " << c.newWidth << "x" << c.newHeight << " quality " << c.quality;
    }
};

constexpr int kPadding = 12; // bytes behind each row, which must stay as they are
constexpr std::uint8_t kUntouchedByte = 0xA5;

/// Memory order is from the bottom up; rows here count from the top.
struct Pixels {
    Pixels(const PixelFormat& inFormat, int inWidth, int inHeight)
        : format(inFormat), width(inWidth), height(inHeight),
          bytes(static_cast<std::size_t>(RowBytes()) * static_cast<std::size_t>(height), kUntouchedByte) {}

    int RowBytes() const { return 4 * width + kPadding; }
    const std::uint8_t* At(int x, int y) const {
        return bytes.data() + static_cast<std::ptrdiff_t>(height - 1 - y) * RowBytes() + std::ptrdiff_t{4} * x;
    }
    std::uint8_t* At(int x, int y) { return const_cast<std::uint8_t*>(std::as_const(*this).At(x, y)); }
    /// B G R A or V U Y A.
    std::uint8_t Code(int x, int y, int c) const { return At(x, y)[format.alphaFirst ? 3 - c : c]; }

    PixelFormat format;
    int width, height;
    std::vector<std::uint8_t> bytes;
};

/// Noise and hard edges; where alpha matters the upper part is opaque and the rest is not.
Pixels Source(const Case& c) {
    Pixels source(c.from, c.width, c.height);
    std::minstd_rand random(static_cast<unsigned>(c.width + 100 * c.height));
    for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
            for (int i = 0; i < 4; ++i)
                source.At(x, y)[i] = static_cast<std::uint8_t>((x / 8 + y / 8) % 2 ? random() >> 7
                                                               : (x + y / 3) % 2   ? 255
                                                                                   : 0);
            std::uint8_t& alpha = source.At(x, y)[c.from.alphaFirst ? 0 : 3];
            if (y < c.height * 2 / 3)
                alpha = 255;
            else if (random() % 4 == 0)
                alpha = 0;
        }
    }
    return source;
}

/// The unrounded codes of one pixel, clipped to what the format holds.
void Expect(const Case& c, const Pixels& source, const std::vector<std::pair<int, double>>& across,
            const std::vector<std::pair<int, double>>& down, double (&wanted)[4]) {
    const bool alpha = c.from.alpha != Alpha::None && c.to.alpha != Alpha::None;
    const double* const zero = c.from.zero;
    double sum[4] = {};
    for (const auto& [y, rowWeight] : down)
        for (const auto& [x, weight] : across) {
            const double opacity = alpha && c.from.alpha == Alpha::Straight ? source.Code(x, y, 3) / 255.0 : 1;
            for (int i = 0; i < 3; ++i)
                sum[i] += rowWeight * weight * opacity * (source.Code(x, y, i) - zero[i]);
            sum[3] += rowWeight * weight * source.Code(x, y, 3);
        }
    const double opacity = std::clamp(sum[3] / 255, 0.0, 1.0);
    for (int i = 0; i < 3; ++i) {
        const double value = !alpha || c.to.alpha != Alpha::Straight ? sum[i] : opacity > 0 ? sum[i] / opacity : 0;
        wanted[i] = std::clamp(zero[i] + value, 0.0, 255.0);
    }
    wanted[3] = alpha ? opacity * 255 : 255;
}

Pixels Scaled(const Case& c, const Pixels& source) {
    Pixels result(c.to, c.newWidth, c.newHeight);
    EXPECT_EQ(PB_ScaleConvert(source.bytes.data(), source.RowBytes(), c.width, c.height, c.from.value, 0,
                              result.bytes.data(), result.RowBytes(), c.newWidth, c.newHeight, c.to.value, 0,
                              c.quality),
              0);
    return result;
}

class PixelScaling : public testing::TestWithParam<Case> {};

TEST_P(PixelScaling, IsWithinThreeQuartersOfACodeAndTheSameOnEveryProcessor) {
    const Case& c = GetParam();
    const PB_Plan plan =
        PB_PlanScaleConvert(c.width, c.height, c.from.value, 0, c.newWidth, c.newHeight, c.to.value, 0, c.quality);
    EXPECT_EQ(plan.path, c.path);
    EXPECT_EQ(plan.filter, FilterName(c.filter));
    const Pixels source = Source(c);
    const Pixels result = Scaled(c, source);

    std::vector<std::vector<std::pair<int, double>>> across;
    across.reserve(static_cast<std::size_t>(c.newWidth));
    for (int x = 0; x < c.newWidth; ++x)
        across.push_back(scaletest::ReferenceTaps(WholeAxis(c.width, c.newWidth), c.filter, x));
    for (int y = 0; y < c.newHeight; ++y) {
        const auto down = scaletest::ReferenceTaps(WholeAxis(c.height, c.newHeight), c.filter, y);
        for (int x = 0; x < c.newWidth; ++x) {
            double wanted[4];
            Expect(c, source, across[static_cast<std::size_t>(x)], down, wanted);
            for (int i = 0; i < 4; ++i) {
                // Where next to nothing is left of alpha, single precision decides what colour it has.
                const bool faint = c.from.alpha == Alpha::Straight && wanted[3] < 0.5;
                ASSERT_NEAR(result.Code(x, y, i), wanted[i], faint && i < 3 ? 255 : 0.75) << x << "," << y << " " << i;
            }
        }
        for (int i = 0; i < kPadding; ++i)
            ASSERT_EQ(result.At(c.newWidth, y)[i], kUntouchedByte);
    }

    const std::int64_t targets = hwy::SupportedTargets();
    // Floats differ in the last places.
    const std::string path = c.path;
    const bool straight = c.from.alpha == Alpha::Straight && c.to.alpha == Alpha::Straight;
    const bool alphaMatters =
        c.from.alpha != Alpha::None && c.to.alpha != Alpha::None && (straight || c.from.alpha != c.to.alpha);
    const bool floats = path == "scale" || (alphaMatters && !(straight && path == "scale 2:1"));
    for (const std::int64_t target : {HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
        if ((targets & target) == 0 || floats)
            continue;
        hwy::GetChosenTarget().Update(target);
        EXPECT_EQ(Scaled(c, source).bytes, result.bytes) << target;
    }
    hwy::GetChosenTarget().Update(targets);
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

TEST(PairScaling, HalvesFilteredChromaWithOneRounding) {
    const std::int64_t targets = hwy::SupportedTargets();
    for (const auto& [pairs, full, to] :
         {std::tuple{0x811, 0x805, 0x4}, {0x811, 0x805, 0x805}, {0x1A11, 0xA05, 0x100C}, {0xA11, 0xA05, 0x8}}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {37, 5}, {64, 3}}) {
            const reference::Format from(pairs), between(full), format(to);
            std::vector<std::uint8_t> source(static_cast<std::size_t>(8 * width * height));
            std::minstd_rand random(static_cast<unsigned>(width));
            std::generate(source.begin(), source.end(), [&] { return static_cast<std::uint8_t>(random() >> 9); });
            const auto codes = reference::Convert(
                from, between, reference::ReadCodes(from, source.data(), 4 * width, 2 * width, 2 * height));
            reference::Picture filtered;
            for (int c = 0; c < 4; ++c) {
                filtered.plane[c] = reference::Plane(width, height);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x)
                        for (const auto& [row, rowWeight] :
                             scaletest::ReferenceTaps(WholeAxis(2 * height, height), Filter::Box, y))
                            for (const auto& [column, weight] :
                                 scaletest::ReferenceTaps(WholeAxis(2 * width, width), Filter::Box, x))
                                filtered.plane[c].At(x, y) += rowWeight * weight * codes.plane[c].At(column, row);
            }
            const auto wanted = reference::Convert(between, format, filtered);
            EXPECT_EQ(PB_PlanScaleConvert(2 * width, 2 * height, pairs, 0, width, height, to, 0, 1 + width % 2).path,
                      "scale 2:1");
            for (const std::int64_t target : {HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
                if ((targets & target) == 0)
                    continue;
                hwy::GetChosenTarget().Update(target);
                std::vector<std::uint8_t> result(static_cast<std::size_t>(4 * width * height));
                ASSERT_EQ(PB_ScaleConvert(source.data(), 4 * width, 2 * width, 2 * height, pairs, 0, result.data(),
                                          4 * width, width, height, to, 0, 1 + width % 2),
                          0);
                const auto got = reference::ReadCodes(format, result.data(), 4 * width, width, height);
                for (int c = 0; c < 4; ++c)
                    for (int y = 0; y < height; ++y)
                        for (int x = 0; x < width; ++x)
                            ASSERT_NEAR(got.plane[c].At(x, y), wanted.plane[c].At(x, y), 0.55)
                                << std::hex << pairs << " " << to << std::dec << " at " << x << "," << y << " " << c
                                << " of " << width << "x" << height << " " << target;
            }
            hwy::GetChosenTarget().Update(targets);
        }
    }
}

TEST(PixelScaling, DoesNotDependOnTheThreads) {
    // Opaque and transparent parts that begin anywhere: what is made in integers must not depend on who makes it.
    for (const int quality : {1, 2, 3}) {
        const Case whole{kBGRA, kBGRA, 1200, 900, 1001, 1300, quality, "", {}};
        const Pixels source = Source(whole);
        const Pixels result = Scaled(whole, source);
        for (int i = 0; i < 5; ++i)
            ASSERT_EQ(Scaled(whole, source).bytes, result.bytes) << quality;
    }
}

} // namespace
