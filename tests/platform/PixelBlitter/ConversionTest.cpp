#include "EveryTarget.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

namespace {

struct Size {
    int width, height;
};
// Widths around the units of the packed layouts, vectors and tiles.
constexpr Size kSizes[] = {{1, 1},  {2, 2},  {3, 3},   {5, 1},   {6, 2},   {7, 5},  {47, 3},
                           {48, 2}, {49, 4}, {130, 3}, {481, 2}, {967, 1}, {34, 11}};

// The largest distance from the unrounded result; a half is rounding, the rest is float arithmetic, which counts in
// words where colours were divided by next to no alpha.
double Tolerance(const reference::Format& to, double magnitude) {
    return to.layout == reference::Layout::Floats  ? 1e-6 * magnitude
           : to.layout == reference::Layout::Words ? 0.51 + 0x1p-11 * magnitude
                                                   : 0.51;
}

class EveryFormat : public testing::TestWithParam<std::int32_t> {};

std::string NameOf(const testing::TestParamInfo<std::int32_t>& info) {
    std::ostringstream name;
    name << std::hex << info.param;
    return name.str();
}

// The largest distance of any code from the exact one; infinity where a path that promises exact rounding breaks it.
double LargestError(const reference::Picture& expected, const TestPicture& destination, bool words, bool exact) {
    const reference::Picture got = destination.Codes();
    double error = 0;
    for (int c = 0; c < (destination.format.Is444() ? 4 : 3); ++c) {
        const auto& want = expected.plane[c].samples;
        for (std::size_t n = 0; n < want.size(); ++n) {
            const double code = got.plane[c].samples[n];
            // Integer paths round the exact value, halves up; the reference may miss a half by its own last bits.
            if (exact && code != std::floor(want[n] + 0.5 + 1e-9)) {
                return INFINITY;
            }
            // Words above white pass through moves of bytes and are clipped by everything else.
            const bool aboveWhite = words && destination.format.layout == reference::Layout::Words && code > 32768;
            error = std::max(error, aboveWhite ? 0 : std::abs(code - want[n]));
        }
    }
    return error;
}

std::string PathOf(std::int32_t from, std::int32_t to, Size size) {
    return PB_PlanScaleConvert(size.width, size.height, from, 0, size.width, size.height, to, 0, 0).path;
}

// The same bytes on every processor, those that the definitions give. What has a kernel of its own meets all remainders
// of its vectors.
TEST_P(EveryFormat, ConvertsToEveryFormatAsTheDefinitionsSay) {
    const reference::Format from(GetParam());
    auto turn = static_cast<unsigned>(GetParam());
    for (const std::int32_t to : reference::AllFormats()) {
        std::vector<Size> sizes;
        for (unsigned i = 0; i < 3; ++i) {
            sizes.push_back(kSizes[(turn + i) % std::size(kSizes)]);
        }
        const bool tiles = PathOf(from.value, to, {2, 2}) == "float tiles";
        for (int width = 1; width <= 130 && !tiles; width += width < 20 ? 1 : 7) {
            sizes.push_back({width, 1 + width % 7});
        }
        for (const Size size : sizes) {
            ++turn;
            TestPicture source(from.value, size.width, size.height, static_cast<int>(turn % 3) * 5, turn % 4 == 1);
            source.Randomise(turn);
            const auto before = source.Pixels();
            std::vector<std::uint8_t> first;
            SCOPED_TRACE(testing::Message() << std::hex << to << std::dec << " " << size.width << "x" << size.height);
            OnEveryTarget([&] {
                TestPicture destination(to, size.width, size.height, static_cast<int>(turn % 5) * 3, turn % 4 == 2);
                ASSERT_EQ(Convert(source, destination), kPB_Success);
                ASSERT_TRUE(destination.PaddingUntouched());
                ASSERT_EQ(source.Pixels(), before);
                if (!first.empty()) {
                    ASSERT_EQ(destination.Pixels(), first);
                    return;
                }
                first = destination.Pixels();
                if (from.value == to) {
                    ASSERT_EQ(first, before);
                    return;
                }
                double magnitude = 1;
                const auto expected = reference::Convert(from, destination.format, source.Codes(), &magnitude);
                const double error = LargestError(expected, destination, from.layout == reference::Layout::Words,
                                                  PathOf(from.value, to, size) == "integers");
                ASSERT_LE(error, Tolerance(destination.format, magnitude)) << "magnitude " << magnitude;
            });
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Conversion, EveryFormat,
                         testing::ValuesIn(reference::AllFormats().begin(), reference::AllFormats().end()), NameOf);

TEST(Conversion, WorksInPlaceWhateverTheFormats) {
    for (const std::int32_t from : reference::AllFormats()) {
        for (const std::int32_t to : reference::AllFormats()) {
            const bool rows = reference::Format(from).HasRows();
            if (rows != reference::Format(to).HasRows()) {
                continue;
            }
            // The memory holds the larger of the two; both use its stride.
            const int width = 70, height = 4;
            const std::size_t stride =
                rows ? std::max(reference::Format(from).StrideUnit(width), reference::Format(to).StrideUnit(width)) : 0;
            TestPicture source(from, width, height), expected(to, width, height);
            source.Randomise(5);
            ASSERT_EQ(Convert(source, expected), kPB_Success);
            std::vector<std::uint8_t> memory(rows ? stride * height : reference::Format(to).ImageBytes(width, height));
            const auto rowBytes = static_cast<int>(stride);
            ASSERT_EQ(PB_Convert(source.base, source.RowBytes(), from, memory.data(), rowBytes, from, width, height, 0),
                      0);
            ASSERT_EQ(PB_Convert(memory.data(), rowBytes, from, memory.data(), rowBytes, to, width, height, 0), 0);
            TestPicture got(to, width, height);
            ASSERT_EQ(PB_Convert(memory.data(), rowBytes, to, got.base, got.RowBytes(), to, width, height, 0), 0);
            ASSERT_EQ(got.Pixels(), expected.Pixels()) << std::hex << from << " " << to;
        }
    }
}

// Pictures beyond the caches are stored past them. One whose rows repeat looks like a small one everywhere but at its
// edges.
TEST(Conversion, LargePicturesGetTheBytesOfSmallOnes) {
    constexpr std::int32_t kPairs[][2] = {
        {0x4, 0x4},         {0x4, 0x1004},      {0x811, 0x1811},     {0x1811, 0xA11},  {0x805, 0xA05},
        {0x84, 0x1084},     {0x104, 0x1104},    {0x4, 0x104},        {0x104, 0x1004},  {0x4, 0x84},
        {0x1084, 0x4},      {0x84, 0x104},      {0x104, 0x8C},       {0x4, 0x106},     {0x10A, 0x1004},
        {0x8, 0x88},        {0x4, 0x8},         {0x8, 0x1004},       {0x805, 0x809},   {0x4, 0x805},
        {0xA05, 0x1004},    {0x4, 0x811},       {0x805, 0x1811},     {0x811, 0x4},     {0x1A11, 0x1004},
        {0x4, 0xA000831},   {0x4, 0xB000A31},   {0xA000831, 0x4},    {0xB000A31, 0x8}, {0x811, 0x9000831},
        {0x811, 0xC000831}, {0x9000831, 0x811}, {0xA000831, 0x1811}, {0x4, 0x851},     {0x851, 0x1004},
        {0x851, 0x1811},    {0x811, 0x851},     {0x851, 0x905},      {0x905, 0x851},   {0xB000831, 0x851}};
    constexpr int kSmall = 32, kPeriod = 4, kEdge = 12;
    for (const auto& [from, to] : kPairs) {
        for (const int padding : {0, 4, 5}) { // rows that can be aligned in part, and rows that cannot
            // Rows of V210 are converted in strips.
            const bool strips = from == 0x851 || to == 0x851;
            const int width = strips ? 1001 : 131, height = strips ? 2600 : 20000;
            TestPicture source(from, width, kSmall, padding), small(to, width, kSmall, padding);
            TestPicture tall(from, width, height, padding), large(to, width, height, padding);
            source.Randomise(static_cast<std::uint32_t>(from + padding));
            const auto repeat = [](TestPicture& in, TestPicture& out, bool compare) {
                const auto inLines = in.Lines(), outLines = out.Lines();
                std::size_t inFirst = 0, outFirst = 0;
                for (int plane = 0; plane < (in.format.HasRows() ? 1 : 3); ++plane) {
                    const int share = plane > 0 ? 2 : 1;
                    const int edge = compare ? kEdge / share : 0;
                    for (int row = edge; row < out.height / share - edge; ++row) {
                        const int twin = (kEdge + row * share % kPeriod) / share;
                        const auto model = inLines[inFirst + static_cast<std::size_t>(twin)];
                        const auto line = outLines[outFirst + static_cast<std::size_t>(row)];
                        if (!compare) {
                            std::memcpy(line.data(), model.data(), line.size());
                        } else if (std::memcmp(line.data(), model.data(), line.size()) != 0) {
                            return row;
                        }
                    }
                    inFirst += static_cast<std::size_t>(in.height / share);
                    outFirst += static_cast<std::size_t>(out.height / share);
                }
                return -1;
            };
            repeat(source, source, false);
            repeat(source, tall, false);
            ASSERT_EQ(Convert(source, small), kPB_Success);
            ASSERT_EQ(Convert(tall, large), kPB_Success);
            EXPECT_EQ(repeat(small, large, true), -1) << std::hex << from << " " << to << " padding " << padding;
            EXPECT_TRUE(large.PaddingUntouched());
        }
    }
}

TEST(Conversion, SurvivesFloatsThatAreNoNumbers) {
    const float odd[] = {NAN, INFINITY, -INFINITY, 3e38F, -3e38F, 1e-40F, -0.0F, 0.5F};
    for (const std::int32_t from : {0x104, 0x106, 0x108, 0x10A, 0x905, 0xB09}) {
        TestPicture source(from, 64, 1);
        for (int i = 0; i < 256; ++i) {
            std::memcpy(source.base + 4 * i, &odd[(i * 5 + i / 7) % 8], 4);
        }
        for (const std::int32_t to : reference::AllFormats()) {
            TestPicture destination(to, 64, 1);
            EXPECT_EQ(Convert(source, destination), kPB_Success);
        }
    }
    // NaN becomes code 0, infinities the ends of the range.
    const float pixel[4] = {NAN, INFINITY, -INFINITY, INFINITY};
    std::uint8_t bytes[4];
    ASSERT_EQ(PB_Convert(pixel, 0, 0x104, bytes, 0, 0x4, 1, 1, 0), 0);
    EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector{0, 255, 0, 255}));
}

TEST(Conversion, KeepsTheTransferCurveToOneMillionth) {
    std::vector<float> samples;
    for (double v = -1.5; v < 70; v += v < 1.5 ? 0.0007 : 0.7) {
        samples.insert(samples.end(),
                       {static_cast<float>(v), static_cast<float>(v * 0.01), static_cast<float>(v * v), 1.0F});
    }
    const auto width = static_cast<int>(samples.size() / 4);
    std::vector<float> result(samples.size());
    for (const bool toLinear : {true, false}) {
        ASSERT_EQ(PB_Convert(samples.data(), 0, toLinear ? 0x104 : 0x106, result.data(), 0, toLinear ? 0x106 : 0x104,
                             width, 1, 0),
                  0);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double value = samples[i];
            const double expected = i % 4 == 3 ? 1
                                    : toLinear ? reference::ToLinear(value)
                                               : reference::FromLinear(value);
            ASSERT_NEAR(result[i], expected, 1e-6 * std::abs(expected)) << value << " " << toLinear;
        }
    }
}

} // namespace
