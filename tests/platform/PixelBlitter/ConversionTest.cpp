#include "TestPicture.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

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

// The largest distance from the unrounded result; a half is rounding, the rest is float arithmetic.
double Tolerance(const reference::Format& to, double magnitude) {
    return to.layout == reference::Layout::Floats ? 1e-6 * magnitude : 0.51;
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

TEST_P(EveryFormat, ConvertsToEveryFormatAsTheDefinitionsSay) {
    const reference::Format from(GetParam());
    unsigned turn = static_cast<unsigned>(GetParam());
    for (const std::int32_t to : reference::AllFormats()) {
        for (int i = 0; i < 3; ++i, ++turn) {
            const Size size = kSizes[turn % std::size(kSizes)];
            TestPicture source(from.value, size.width, size.height, static_cast<int>(turn % 3) * 5, turn % 4 == 1);
            TestPicture destination(to, size.width, size.height, static_cast<int>(turn % 5) * 3, turn % 4 == 2);
            source.Randomise(turn);
            const auto before = source.Pixels();
            SCOPED_TRACE(testing::Message() << std::hex << to << std::dec << " " << size.width << "x" << size.height);
            ASSERT_EQ(Convert(source, destination), kPB_Success);
            ASSERT_TRUE(destination.PaddingUntouched());
            ASSERT_EQ(source.Pixels(), before);
            if (from.value == to) {
                EXPECT_EQ(destination.Pixels(), before);
                continue;
            }
            double magnitude = 1;
            const reference::Picture expected =
                reference::Convert(from, destination.format, source.Codes(), &magnitude);
            const double error = LargestError(expected, destination, from.layout == reference::Layout::Words,
                                              PathOf(from.value, to, size) == "integers");
            ASSERT_LE(error, Tolerance(destination.format, magnitude)) << "magnitude " << magnitude;
        }
    }
}

// Formats of 8 bits and V210, and element types of one colour model, meet in kernels of their own: exact at every
// width, the same on every processor.
TEST_P(EveryFormat, MeetsThoseOfItsKindInOnePass) {
    const reference::Format from(GetParam());
    const auto hasBytes = [](const reference::Format& format) {
        return format.layout == reference::Layout::Bytes || format.layout == reference::Layout::Pairs ||
               format.layout == reference::Layout::Planar || format.layout == reference::Layout::V210;
    };
    const std::int64_t targets = hwy::SupportedTargets();
    unsigned turn = 0;
    for (const std::int32_t to : reference::AllFormats()) {
        const reference::Format format(to);
        const std::string path = PathOf(from.value, to, {2, 2});
        // Planes or V210 of another matrix, alpha and matrix together, planes on both sides or from V210 take the
        // tiles.
        const bool sameModel = from.yuv == format.yuv && from.bt709 == format.bt709;
        const bool alpha = from.alpha != reference::Alpha::None && format.alpha != reference::Alpha::None &&
                           from.alpha != format.alpha;
        const bool groups = from.layout == reference::Layout::V210 || format.layout == reference::Layout::V210;
        const bool planes = !format.HasRows() && (!from.HasRows() || from.layout == reference::Layout::V210);
        const bool range = !from.Is444() && !format.Is444() && from.fullRange != format.fullRange;
        const bool bytes = hasBytes(from) && hasBytes(format) &&
                           (!from.yuv || !format.yuv || sameModel || (from.layout == format.layout && !groups)) &&
                           !planes && !range && (!alpha || sameModel);
        const bool elements = from.Is444() && format.Is444() && sameModel && !bytes;
        const bool floats = groups && sameModel &&
                            (from.layout == reference::Layout::Floats || format.layout == reference::Layout::Floats);
        if (to == from.value || !(bytes || elements || floats)) {
            continue;
        }
        ASSERT_TRUE(path == "fused" || path == "integers" || path == "shuffle" || path == "depth") << path;
        for (int width = 1; width <= 130; width += width < 20 ? 1 : 7, ++turn) {
            const Size size{width, 1 + static_cast<int>(turn % 7)};
            TestPicture source(from.value, size.width, size.height, static_cast<int>(turn % 3) * 5, turn % 4 == 1);
            source.Randomise(turn);
            std::vector<std::uint8_t> first;
            for (const std::int64_t target : {HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
                if (target != HWY_EMU128 && (targets & target) == 0) {
                    continue;
                }
                hwy::GetChosenTarget().Update(target);
                TestPicture destination(to, size.width, size.height, static_cast<int>(turn % 5) * 3, turn % 4 == 2);
                SCOPED_TRACE(testing::Message()
                             << std::hex << to << std::dec << " " << size.width << "x" << size.height << " " << target);
                ASSERT_EQ(Convert(source, destination), kPB_Success);
                ASSERT_TRUE(destination.PaddingUntouched());
                if (first.empty()) {
                    first = destination.Pixels();
                    double magnitude = 1;
                    const auto expected = reference::Convert(from, format, source.Codes(), &magnitude);
                    const bool words = from.layout == reference::Layout::Words;
                    ASSERT_LE(LargestError(expected, destination, words, path == "integers"),
                              Tolerance(format, magnitude));
                }
                ASSERT_EQ(destination.Pixels(), first);
            }
        }
    }
    hwy::GetChosenTarget().Update(targets);
}
INSTANTIATE_TEST_SUITE_P(Conversion, EveryFormat,
                         testing::ValuesIn(reference::AllFormats().begin(), reference::AllFormats().end()), NameOf);

TEST(RoundTrip, IsByteIdentical) {
    // From, through, and back: the middle holds all that the first can say.
    constexpr std::int32_t kTrips[][2] = {
        {0x4, 0x104},   {0x4, 0x84},     {0x4, 0x1004},     {0x8, 0x108},    {0x4, 0x1104},  {0x84, 0x104},
        {0x84, 0x1104}, {0x88, 0x1088},  {0x1004, 0x106},   {0x805, 0x905},  {0xA05, 0xB05}, {0x104, 0x1104},
        {0x811, 0x851}, {0x1811, 0x851}, {0xA11, 0xA51},    {0x811, 0x1811}, {0x84, 0x106},  {0x811, 0x905},
        {0x851, 0x905}, {0x4, 0x905},    {0xA000831, 0x811}};
    for (const auto& [first, middle] : kTrips) {
        for (const Size size : kSizes) {
            TestPicture source(first, size.width, size.height, 3);
            TestPicture between(middle, size.width, size.height);
            TestPicture back(first, size.width, size.height, 0, true);
            source.Randomise(static_cast<std::uint32_t>(size.width));
            if (source.format.layout == reference::Layout::Words) { // above white there is no way back
                for (int row = 0; row < size.height; ++row) {
                    for (int x = 0; x < 4 * size.width; ++x) {
                        const auto word = static_cast<std::uint16_t>((x * 2731 + row * 77) % 32769);
                        std::memcpy(source.base + row * source.stride + 2 * x, &word, 2);
                    }
                }
            }
            ASSERT_EQ(Convert(source, between), kPB_Success);
            ASSERT_EQ(Convert(between, back), kPB_Success);
            // Chroma that went through another grid is not what it was; luma is.
            const bool sameGrid =
                source.format.layout != reference::Layout::Planar && (source.format.Is444() || !between.format.Is444());
            for (int c = sameGrid ? 0 : 2; c < 3; ++c) {
                EXPECT_EQ(back.Codes().plane[c].samples, source.Codes().plane[c].samples)
                    << std::hex << first << " " << middle;
            }
        }
    }
}

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

TEST(Conversion, EveryProcessorTargetGivesTheSameBytes) {
    std::vector<std::vector<std::uint8_t>> portable;
    const auto run = [](const auto& take) {
        unsigned turn = 0;
        for (const std::int32_t from : reference::AllFormats()) {
            for (const std::int32_t to : reference::AllFormats()) {
                const Size size = kSizes[++turn % std::size(kSizes)];
                TestPicture source(from, size.width, size.height), destination(to, size.width, size.height);
                source.Randomise(turn);
                ASSERT_EQ(Convert(source, destination), kPB_Success);
                take(turn, from, to, destination.Pixels());
            }
        }
    };
    const std::int64_t targets = hwy::SupportedTargets();
    hwy::GetChosenTarget().Update(HWY_EMU128);
    run([&](unsigned, std::int32_t, std::int32_t, std::vector<std::uint8_t> pixels) {
        portable.push_back(std::move(pixels));
    });
    int compared = 0;
    for (const std::int64_t target : {HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
        if ((targets & target) == 0) {
            continue;
        }
        hwy::GetChosenTarget().Update(target);
        run([&](unsigned turn, std::int32_t from, std::int32_t to, const std::vector<std::uint8_t>& pixels) {
            ASSERT_EQ(pixels, portable[turn - 1]) << std::hex << from << " to " << to << " on " << target;
        });
        ++compared;
    }
    hwy::GetChosenTarget().Update(targets);
    EXPECT_GT(compared, 0);
}

// The rows of a picture with what lies between them, in memory order: the whole picture, or luma, U, V of planes.
struct RowsInMemory {
    std::uint8_t* base;
    std::ptrdiff_t stride;
    std::size_t bytes;
    int count;
};
std::vector<RowsInMemory> RowsOf(TestPicture& picture) {
    const auto& format = picture.format;
    if (format.HasRows()) {
        return {{picture.base, picture.stride, format.RowBytes(picture.width), picture.height}};
    }
    const int width = (picture.width + 1) / 2, height = (picture.height + 1) / 2;
    std::uint8_t* const u = picture.base + std::ptrdiff_t{picture.width} * picture.height;
    const auto bytes = static_cast<std::size_t>(width);
    return {{picture.base, picture.width, static_cast<std::size_t>(picture.width), picture.height},
            {u, width, bytes, height},
            {u + std::ptrdiff_t{width} * height, width, bytes, height}};
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
                const auto inRows = RowsOf(in), outRows = RowsOf(out);
                for (std::size_t plane = 0; plane < inRows.size(); ++plane) {
                    const RowsInMemory &a = inRows[plane], &b = outRows[plane];
                    const bool half = plane > 0;
                    const int edge = compare ? kEdge / (half ? 2 : 1) : 0;
                    const int first = kEdge / (half ? 2 : 1), period = kPeriod / (half ? 2 : 1);
                    for (int row = edge; row < b.count - edge; ++row) {
                        const std::uint8_t* const model = a.base + a.stride * (first + row % period);
                        std::uint8_t* const copy = b.base + b.stride * row;
                        if (!compare) {
                            std::memcpy(copy, model, b.bytes);
                        } else if (std::memcmp(copy, model, b.bytes) != 0) {
                            return row;
                        }
                    }
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
