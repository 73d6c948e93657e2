// Mixes of two pictures and replaced alpha, against the definitions in double precision: every format, on every
// processor, wherever the destination lies.

#include "EveryTarget.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <sstream>

namespace {

using reference::Layout;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Rows {
    std::uint8_t* first;
    std::ptrdiff_t stride;
};
Rows RowsOf(const TestPicture& picture) {
    return {picture.base, picture.stride};
}

// Calls of rows of one format, as different as their parameters. Only the mix looks at a second source.
struct Operation {
    enum { Mix, SetAlpha, InvertAlpha } kind;
    float weight = 0;

    int Run(Rows a, Rows b, Rows to, std::int32_t value, int width, int height) const {
        const auto bytes = [](Rows rows) { return static_cast<int>(rows.stride); };
        return kind == Mix ? PB_CrossDissolve(a.first, bytes(a), value, b.first, bytes(b), value, to.first, bytes(to),
                                              value, width, height, weight, 4)
               : kind == SetAlpha
                   ? PB_CopyAndSetAlpha(a.first, bytes(a), to.first, bytes(to), value, width, height, weight)
                   : PB_InvertAlpha(a.first, bytes(a), to.first, bytes(to), value, width, height);
    }
    bool Takes(const reference::Format& format) const {
        return kind == Mix || (format.Is444() && format.alpha != reference::Alpha::None);
    }
};

// Whether a code is the exact value, rounded.
bool IsRounded(const reference::Format& format, double got, double exact, double magnitude, bool halvesUp) {
    if (std::isnan(exact) || std::isinf(exact)) {
        return std::isnan(exact) ? std::isnan(got) : got == exact;
    }
    if (format.layout == Layout::Floats) {
        return std::abs(got - exact) <= magnitude * 0x1p-23;
    }
    return halvesUp ? got == std::floor(exact + 0.5) : std::abs(got - exact) <= 0.51;
}

// Whether component c is what the definition makes of x and y.
bool IsRight(const Operation& operation, const reference::Format& format, int c, double x, double y, double got) {
    const double share = operation.weight > 0 ? std::min(operation.weight, 1.0F) : 0;
    if (operation.kind == Operation::Mix && share > 0 && share < 1) {
        return IsRounded(format, got, x * (1 - share) + y * share, std::abs(x) + std::abs(y), share == 0.5);
    }
    if (operation.kind == Operation::Mix || c < 3) {
        return IsRounded(format, got, operation.kind == Operation::Mix && share == 1 ? y : x, 0, true);
    }
    const double white = format.layout == Layout::Bytes ? 255 : format.layout == Layout::Words ? 32768 : 1;
    if (operation.kind == Operation::SetAlpha) {
        return IsRounded(format, got, share * white, 1, operation.weight != 0.3F);
    }
    const double inverted = format.layout == Layout::Floats ? 1 - x : std::max(white - x, 0.0);
    return IsRounded(format, got, inverted, std::abs(x) + 1, true);
}

class RowsOfEveryFormat : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(Mix, RowsOfEveryFormat,
                         testing::ValuesIn(reference::AllFormats().begin(), reference::AllFormats().end()),
                         [](const auto& format) {
                             std::ostringstream name;
                             name << std::hex << format.param;
                             return name.str();
                         });

TEST_P(RowsOfEveryFormat, BecomeWhatTheDefinitionsSay) {
    constexpr int kWidths[] = {1, 2, 5, 6, 7, 16, 31, 48, 65, 131, 200};
    std::vector<Operation> operations{{Operation::InvertAlpha}, {Operation::InvertAlpha}, {Operation::InvertAlpha}};
    for (const float weight :
         {0.5F, 0.25F, 0.3F, 0.9F, 0.49999997F, 0.0001F, 0.999999F, 0.0F, -0.1F, 1.0F, 2.0F, kNaN, 0.7431F}) {
        operations.insert(operations.end(), 4, {Operation::Mix, weight});
        operations.push_back({Operation::SetAlpha, weight});
    }
    auto turn = static_cast<unsigned>(GetParam() % 97);
    for (const Operation& operation : operations) {
        ++turn;
        const int width = kWidths[turn % std::size(kWidths)], height = 1 + static_cast<int>(turn % 5);
        const int padding = static_cast<int>(turn % 3) * 4;
        TestPicture a(GetParam(), width, height, padding, turn % 4 == 1), b(GetParam(), width, height, padding);
        a.Randomise(turn);
        b.Randomise(turn + 1);
        const auto line = a.Lines()[0];
        for (std::size_t at = 0; const float special : {kNaN, kInfinity, -kInfinity, -0.0F}) {
            if (a.format.layout == Layout::Floats && at + 4 <= line.size()) {
                std::memcpy(line.data() + at, &special, 4);
            }
            at += 20;
        }
        SCOPED_TRACE(testing::Message() << "kind " << operation.kind << ", weight " << operation.weight << ", " << width
                                        << "x" << height);
        std::vector<std::uint8_t> first;
        OnEveryTarget([&] {
            TestPicture to(GetParam(), width, height, padding, turn % 4 == 2);
            const int result = operation.Run(RowsOf(a), RowsOf(b), RowsOf(to), GetParam(), width, height);
            if (!operation.Takes(to.format)) {
                ASSERT_EQ(result, kPB_UnsupportedFormat);
                ASSERT_TRUE(to.Untouched());
                return;
            }
            ASSERT_EQ(result, kPB_Success);
            ASSERT_TRUE(to.PaddingUntouched());
            if (!first.empty()) {
                ASSERT_EQ(to.Pixels(), first);
                return;
            }
            first = to.Pixels();
            const reference::Picture x = a.Codes(), y = b.Codes(), got = to.Codes();
            for (int c = 0; c < (to.format.Is444() ? 4 : 3); ++c) {
                for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
                    const double code = got.plane[c].samples[i];
                    ASSERT_TRUE(IsRight(operation, to.format, c, x.plane[c].samples[i], y.plane[c].samples[i], code))
                        << code << " of " << x.plane[c].samples[i] << " and " << y.plane[c].samples[i] << ", " << c;
                }
            }
        });
    }
}

/// Where rows lie in memory that all share: the first row at so many strides, the next after so many more, and so many
/// bytes further on.
struct Place {
    int firstRow, rowStep, bytes = 0;
};

TEST_P(RowsOfEveryFormat, MayOverlap) {
    constexpr int kWidth = 67, kHeight = 5;
    const reference::Format format(GetParam());
    const int h = format.HasRows() ? kHeight : 1; // a planar image is one row
    const struct {
        const char* name;
        Place a, b, to;
    } layouts[] = {{"one source", {0, 1}, {0, 1}, {2 * h, 1}},
                   {"in place of a", {0, 1}, {h, 1}, {0, 1}},
                   {"in place of b", {0, 1}, {3 * h - 1, -1}, {3 * h - 1, -1}},
                   {"between", {0, 2}, {2, 2}, {1, 2}},
                   {"turned over", {0, 1}, {h, 1}, {h - 1, -1}},
                   {"rows moved", {0, 1}, {h, 1}, {1, 1}},
                   {"bytes moved", {0, 1}, {h, 1}, {0, 1, 16}},
                   {"bytes moved back", {h, 1}, {0, 1, 16}, {0, 1}},
                   {"other stride", {0, 1}, {0, 2}, {h / 2, 2}}};
    const std::size_t rowBytes = format.HasRows() ? format.RowBytes(kWidth) : format.ImageBytes(kWidth, kHeight);
    const auto stride = static_cast<std::ptrdiff_t>(format.HasRows() ? format.StrideUnit(kWidth) + 4 : rowBytes);
    TestPicture noise(GetParam(), kWidth, kHeight);
    noise.Randomise(1);
    const auto pixels = noise.Pixels();
    std::vector<std::uint8_t> before(static_cast<std::size_t>(stride * 3 * h + 64));
    for (std::size_t i = 0; i < before.size(); ++i) {
        before[i] = pixels[(i / 4 * 28 + i % 4) % pixels.size()]; // codes also between rows
    }
    for (const Operation& operation : {Operation{Operation::Mix, 0.5F},
                                       {Operation::Mix, 0.3F},
                                       {Operation::Mix, 1},
                                       {Operation::SetAlpha, 0.5F},
                                       {Operation::InvertAlpha}}) {
        for (const auto& layout : layouts) {
            if (!operation.Takes(format)) {
                continue;
            }
            std::vector<std::uint8_t> memory = before, source = before, expected = before;
            const auto rowsAt = [&](std::vector<std::uint8_t>& bytes, const Place& place) {
                return Rows{bytes.data() + place.firstRow * stride + place.bytes, place.rowStep * stride};
            };
            TestPicture apart(GetParam(), kWidth, kHeight);
            ASSERT_EQ(operation.Run(rowsAt(source, layout.a), rowsAt(source, layout.b), RowsOf(apart), GetParam(),
                                    kWidth, kHeight),
                      kPB_Success);
            for (int row = 0; row < h; ++row) {
                const Rows to = rowsAt(expected, layout.to);
                std::memcpy(to.first + row * to.stride, apart.base + row * apart.stride, rowBytes);
            }
            OnEveryTarget([&] {
                memory = before;
                ASSERT_EQ(operation.Run(rowsAt(memory, layout.a), rowsAt(memory, layout.b), rowsAt(memory, layout.to),
                                        GetParam(), kWidth, kHeight),
                          kPB_Success);
                ASSERT_TRUE(memory == expected) << layout.name << ", kind " << operation.kind;
            });
        }
    }
}

// Large pictures are stored past the caches from the first aligned address on, rows one by one never.
TEST(MixOfLargePictures, GivesTheSameBytesAsRows) {
    struct Size {
        std::int32_t value;
        int width, height, oddBytes;
    };
    for (const auto& [value, width, height, oddBytes] :
         {Size{0x4, 1921, 1080, 1}, Size{0x811, 1921, 1080, 3}, Size{0x88, 1001, 1080, 2}, Size{0x88, 1001, 1080, 8},
          Size{0x851, 1915, 1080, 4}, Size{0x104, 701, 900, 4}, Size{0x1104, 701, 900, 20}}) {
        TestPicture a(value, width, height), b(value, width, height);
        a.Randomise(1);
        b.Randomise(2);
        const std::ptrdiff_t stride = a.stride;
        const auto bytes = static_cast<std::size_t>(stride * height);
        std::vector<std::uint8_t> rows(bytes + 64), whole(bytes + 64);
        for (const Operation& operation : {Operation{Operation::Mix, 0.5F},
                                           {Operation::Mix, 0.4F},
                                           {Operation::SetAlpha, 0.5F},
                                           {Operation::InvertAlpha}}) {
            if (!operation.Takes(a.format)) {
                continue;
            }
            for (std::ptrdiff_t row = 0; row < stride * height; row += stride) {
                ASSERT_EQ(operation.Run({a.base + row, stride}, {b.base + row, stride},
                                        {rows.data() + oddBytes + row, stride}, value, width, 1),
                          0);
            }
            ASSERT_EQ(operation.Run(RowsOf(a), RowsOf(b), {whole.data() + oddBytes, stride}, value, width, height), 0);
            EXPECT_TRUE(rows == whole) << std::hex << value << " kind " << operation.kind;
        }
        const std::size_t used = bytes - static_cast<std::size_t>(stride) + a.format.RowBytes(width);
        PB_CopyMemory(whole.data() + oddBytes, a.base, used);
        EXPECT_EQ(std::memcmp(whole.data() + oddBytes, a.base, used), 0) << std::hex << value;
    }
}

TEST(Mix, RefusesWhatItCannotDo) {
    std::uint8_t memory[64] = {};
    const auto mix = [&](const void* a, std::int32_t ofA, std::int32_t ofB, std::int32_t to, int width, int height,
                         int stride = 16) {
        return PB_CrossDissolve(a, stride, ofA, memory, 16, ofB, memory + 32, 16, to, width, height, 0.5F, 4);
    };
    EXPECT_EQ(mix(nullptr, 0, 0, 0, 0, 1), kPB_Success);
    EXPECT_EQ(mix(nullptr, 0x4, 0x4, 0x4, 4, -1), kPB_Success);
    EXPECT_EQ(mix(nullptr, 0x4, 0x4, 0x4, 4, 1), kPB_BadArgument);
    EXPECT_EQ(mix(memory, 0x4, 0x4, 0x4, 4, 2, 12), kPB_BadArgument);
    EXPECT_EQ(mix(memory, 0x4, 0x4, 0x4, INT32_MAX, INT32_MAX), kPB_BadArgument);
    for (const std::int32_t other : {0x8, 0x1004, 0x84, 0}) {
        EXPECT_EQ(mix(memory, 0x4, other, 0x4, 2, 1), kPB_UnsupportedFormat);
        EXPECT_EQ(mix(memory, 0x4, 0x4, other, 2, 1), kPB_UnsupportedFormat);
    }
    for (const std::int32_t opaque : {kPB_CustomFormat, 0x1000821, 0x123}) {
        EXPECT_EQ(mix(memory, opaque, opaque, opaque, 2, 1), kPB_UnsupportedFormat);
        EXPECT_EQ(PB_InvertAlpha(memory, 16, memory, 16, opaque, 2, 1), kPB_UnsupportedFormat);
    }
    EXPECT_EQ(PB_CopyAndSetAlpha(nullptr, 0, nullptr, 0, 0x4, 0, 1, 1), kPB_Success);
    EXPECT_EQ(PB_InvertAlpha(memory, 15, memory, 16, 0x4, 4, 2), kPB_BadArgument);
    EXPECT_EQ(PB_CopyAndSetAlpha(memory, 16, nullptr, 16, 0x4, 4, 2, 1), kPB_BadArgument);
    PB_CopyMemory(memory, nullptr, 4);
    PB_CopyMemory(nullptr, memory, 4);
    EXPECT_EQ(std::count(memory, memory + 64, 0), 64);
    std::iota(memory, memory + 64, std::uint8_t{0});
    PB_CopyMemory(memory + 1, memory, 40); // overlapping
    EXPECT_EQ(memory[40], 39);
    EXPECT_EQ(memory[41], 41);
}

} // namespace
