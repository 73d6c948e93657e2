// Composites through masks and onto black, against their definitions pixel by pixel: every format, every processor.

#include "EveryTarget.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace {

using reference::Layout;

std::vector<std::int32_t> FormatsWithRows() {
    std::vector<std::int32_t> formats;
    for (const std::int32_t value : reference::AllFormats()) {
        if (reference::Format(value).HasRows()) {
            formats.push_back(value);
        }
    }
    return formats;
}

class CompositeTo : public testing::TestWithParam<std::int32_t> {};
INSTANTIATE_TEST_SUITE_P(Every, CompositeTo, testing::ValuesIn(FormatsWithRows()), [](const auto& format) {
    std::ostringstream name;
    name << std::hex << format.param;
    return name.str();
});

// Rows of bits that end at a forbidden page.
struct TestMask {
    TestMask(int width, int height, int startBit, bool upsideDown, std::uint32_t seed)
        : start(startBit), rowBytes((startBit + width + 7) / 8 + static_cast<int>(seed % 3)),
          buffer(static_cast<std::size_t>(rowBytes * (height - 1) + (startBit + width + 7) / 8)), base(buffer.data()) {
        std::minstd_rand random(seed + 1);
        std::generate_n(base, buffer.size(), [&] {
            const auto bits = static_cast<std::uint8_t>(random() >> 9);
            return bits % 8 == 0 ? std::uint8_t{0} : bits % 8 == 1 ? std::uint8_t{255} : bits;
        });
        if (upsideDown) {
            base += rowBytes * (height - 1);
            rowBytes = -rowBytes;
        }
    }
    bool At(int x, int row) const { return (base[row * rowBytes + (start + x) / 8] >> (7 - (start + x) % 8) & 1) != 0; }
    int start, rowBytes;
    GuardedBuffer buffer;
    std::uint8_t* base;
};

TEST_P(CompositeTo, TakesPixelsAsTheMaskSays) {
    static const auto formats = FormatsWithRows();
    auto turn = static_cast<std::uint32_t>(GetParam() % 89);
    for (const int width : {1, 2, 5, 7, 16, 33, 66, 131, 4700}) {
        for (const char* const layout : {"apart", "onto a", "onto b", "over rows of b"}) {
            const int height = width > 4000 ? 2 : 3 + static_cast<int>(turn % 3);
            const bool converted = turn % 3 == 0, onto = layout[0] == 'o';
            const auto other = [&](std::uint32_t i) {
                return converted ? formats[(turn * 7 + i) % formats.size()] : GetParam();
            };
            const std::int32_t formatOfA = layout == std::string_view("onto a") ? GetParam() : other(1);
            const std::int32_t formatOfB = onto && layout[5] != 'a' ? GetParam() : other(5);
            TestPicture a(formatOfA, width, height, static_cast<int>(turn % 4 * 16), turn % 2 != 0);
            TestPicture b(formatOfB, width, height, static_cast<int>(turn % 3 * 16), turn % 5 < 2);
            TestPicture to(GetParam(), width, height, 32, turn % 4 == 0);
            const TestMask mask(width, height, static_cast<int>(turn % 8), turn % 7 < 3, turn);
            ++turn;
            a.Randomise(turn);
            b.Randomise(turn + 1);
            SCOPED_TRACE(testing::Message() << layout << " " << width << "x" << height << std::hex << " " << formatOfA
                                            << " " << formatOfB);
            // What is taken from: the sources in the destination's format.
            TestPicture pixels[2] = {{GetParam(), width, height}, {GetParam(), width, height}};
            ASSERT_EQ(Convert(a, pixels[0]), kPB_Success);
            ASSERT_EQ(Convert(b, pixels[1]), kPB_Success);
            const reference::Picture codes[2] = {pixels[1].Codes(), pixels[0].Codes()};
            const std::vector<std::uint8_t> before[2] = {a.Pixels(), b.Pixels()};
            std::vector<std::uint8_t> first;
            OnEveryTarget([&] {
                a.Randomise(turn);
                b.Randomise(turn + 1);
                // Row 1 of b is where the destination begins: its rows are written before they are read.
                const bool shifted = layout == std::string_view("over rows of b") && height > 1;
                TestPicture& out = layout == std::string_view("apart") ? to : layout[5] == 'a' ? a : b;
                const int rows = shifted ? height - 1 : height;
                std::uint8_t* const at = shifted ? out.base + out.stride : out.base;
                ASSERT_EQ(PB_OneBitMaskComposite(a.base, a.RowBytes(), formatOfA, b.base, b.RowBytes(), formatOfB,
                                                 mask.base, mask.rowBytes, mask.start, at, out.RowBytes(), GetParam(),
                                                 width, rows, 3),
                          kPB_Success);
                ASSERT_TRUE(out.PaddingUntouched());
                if (&out != &a) {
                    ASSERT_EQ(a.Pixels(), before[0]);
                }
                if (!first.empty()) {
                    ASSERT_EQ(out.Pixels(), first); // the same on every processor
                    return;
                }
                first = out.Pixels();
                const reference::Picture got = reference::ReadCodes(out.format, at, out.stride, width, rows);
                for (int c = 0; c < (out.format.Is444() ? 4 : 3); ++c) {
                    const bool shared = c < 2 && !out.format.Is444();
                    for (int row = 0; row < rows; ++row) {
                        for (int x = 0; x < got.plane[c].width; ++x) {
                            const int left = shared ? 2 * x : x, right = std::min(left + (shared ? 1 : 0), width - 1);
                            const bool bits[2] = {mask.At(left, row), mask.At(right, row)};
                            // Rows of a picture count from the top, which is the last one in memory.
                            const double l = codes[bits[0]].plane[c].At(x, height - 1 - row),
                                         r = codes[bits[1]].plane[c].At(x, height - 1 - row);
                            const double wanted = l == r ? l : std::floor((l + r + 1) / 2);
                            const double is = got.plane[c].At(x, rows - 1 - row);
                            ASSERT_TRUE(is == wanted || (std::isnan(is) && std::isnan(wanted)))
                                << "component " << c << " of " << x << ", " << row << ": " << is << ", not " << wanted;
                        }
                    }
                }
            });
        }
    }
}

TEST_P(CompositeTo, BlackLeavesNothingBehindPixels) {
    const reference::Format format(GetParam());
    std::uint8_t byte = 0;
    if (!format.Is444()) {
        EXPECT_EQ(PB_CompositeToBlack(&byte, 1, GetParam(), &byte, 1, GetParam(), 1, 1, 1, 4), kPB_UnsupportedFormat);
        return;
    }
    const double white = format.layout == Layout::Bytes ? 255 : format.layout == Layout::Words ? 32768 : 1;
    const double black[4] = {format.yuv && white == 255 ? 128.0 : 0, format.yuv && white == 255 ? 128.0 : 0,
                             format.yuv && white == 255 ? 16.0 : 0, 0};
    auto turn = static_cast<std::uint32_t>(GetParam() % 89);
    for (const int width : {1, 7, 33, 700}) {
        for (const float weight : {1.0F, 0.3F, 0.5F, 0.0F, -1.0F, 9.0F, std::numeric_limits<float>::quiet_NaN()}) {
            TestPicture from(GetParam(), width, 5, static_cast<int>(turn % 3 * 4), turn % 2 != 0);
            TestPicture to(GetParam(), width, 5, 16, turn % 4 < 2);
            const bool inPlace = turn % 3 == 0;
            from.Randomise(++turn);
            const reference::Picture codes = from.Codes();
            const double share = weight > 0 ? std::min(weight, 1.0F) : 0;
            std::vector<std::uint8_t> first;
            SCOPED_TRACE(testing::Message() << width << (inPlace ? " in place " : " ") << weight);
            OnEveryTarget([&] {
                from.Randomise(turn);
                TestPicture& out = inPlace ? from : to;
                ASSERT_EQ(PB_CompositeToBlack(from.base, from.RowBytes(), GetParam(), out.base, out.RowBytes(),
                                              GetParam(), width, 5, weight, 4),
                          kPB_Success);
                ASSERT_TRUE(out.PaddingUntouched());
                if (!first.empty()) {
                    ASSERT_EQ(out.Pixels(), first);
                    return;
                }
                first = out.Pixels();
                const reference::Picture got = out.Codes();
                for (int c = 0; c < 4; ++c) {
                    for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
                        const double was = codes.plane[c].samples[i], is = got.plane[c].samples[i];
                        const double alpha =
                            format.alpha == reference::Alpha::Straight ? codes.plane[3].samples[i] / white : 1;
                        if (c == 3) {
                            // What the fourth channel holds of pixels without alpha is not looked at.
                            ASSERT_TRUE(is == white || format.alpha == reference::Alpha::None) << is;
                            continue;
                        }
                        // Words above white are clipped where they are computed with.
                        const bool computed = share < 1 || format.alpha == reference::Alpha::Straight;
                        const double exact = std::min(black[c] + (was - black[c]) * alpha * share,
                                                      computed && white > 1 ? white : 65535.0);
                        const double tolerance = white == 1 ? std::abs(was) * 0x1p-22 : 0.51;
                        ASSERT_LE(std::abs(is - exact), tolerance) << c << ": " << was << " of alpha " << alpha;
                    }
                }
            });
        }
    }
}

TEST(Composite, RefusesWhatItCannotDo) {
    std::uint8_t memory[96] = {};
    const std::uint8_t mask[4] = {255, 255, 255, 255};
    const auto composite = [&](const void* a, std::int32_t ofA, std::int32_t to, const void* bits, int rowBytes,
                               int start, int width, int height) {
        return PB_OneBitMaskComposite(a, 16, ofA, memory + 32, 16, 0x4, bits, rowBytes, start, memory + 64, 16, to,
                                      width, height, 3);
    };
    std::fill_n(memory, 32, 7);
    EXPECT_EQ(composite(nullptr, 0, 0, nullptr, 0, -1, 0, 3), kPB_Success);
    EXPECT_EQ(composite(nullptr, 0x4, 0x4, mask, 1, 0, 4, 2), kPB_BadArgument);
    EXPECT_EQ(composite(memory, 0x4, 0x4, nullptr, 1, 0, 4, 2), kPB_BadArgument);
    EXPECT_EQ(composite(memory, 0x4, 0x4, mask, 1, -1, 4, 2), kPB_BadArgument);
    EXPECT_EQ(composite(memory, 0x4, 0x4, mask, 1, 5, 4, 2), kPB_BadArgument);
    EXPECT_EQ(composite(memory, 0x4, 0x4, mask, 1, 0, 5, 2), kPB_BadArgument); // rows of 16 bytes
    for (const std::int32_t other : {kPB_NoFormat, kPB_CustomFormat, 0x1000821, 0xA000831}) {
        EXPECT_EQ(composite(memory, other, 0x4, mask, 1, 0, 4, 2), kPB_UnsupportedFormat);
        EXPECT_EQ(composite(memory, 0x4, other, mask, 1, 0, 4, 2), kPB_UnsupportedFormat);
    }
    EXPECT_EQ(PB_CompositeToBlack(memory, 16, 0x4, memory + 64, 16, 0x8, 4, 2, 1, 4), kPB_UnsupportedFormat);
    EXPECT_EQ(PB_CompositeToBlack(memory, 12, 0x4, memory + 64, 16, 0x4, 4, 2, 1, 4), kPB_BadArgument);
    EXPECT_EQ(PB_CompositeToBlack(nullptr, 0, 0, nullptr, 0, 0, -1, 2, 1, 4), kPB_Success);
    EXPECT_EQ(std::count(memory + 64, memory + 96, 0), 32);
    EXPECT_EQ(composite(memory, 0x4, 0x4, mask, -1, 13, 4, 1), kPB_Success); // of one row the stride does not count
    EXPECT_EQ(std::count(memory + 64, memory + 96, 7), 16);
}

} // namespace
