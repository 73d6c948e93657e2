#include "TestPicture.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace {

constexpr std::int32_t kCompressed[] = {0x1000821, 0x2000821, 0x3000A21, 0x4000A21,
                                        0x5000A21, 0x6000A21, 0x7000821, 0x8000821};

using FillFunction = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;
struct Fill {
    FillFunction function;
    float colour[4]; // B G R A
};
constexpr Fill kFills[] = {{PB_FillWithOpaqueBlack, {0, 0, 0, 1}},
                           {PB_FillWithOpaqueWhite, {1, 1, 1, 1}},
                           {PB_FillWithTransparentBlack, {0, 0, 0, 0}},
                           {PB_FillWithTransparentWhite, {1, 1, 1, 0}}};

int FillPicture(FillFunction fill, TestPicture& picture) {
    return fill(picture.base, picture.RowBytes(), picture.width, picture.height, picture.format.value);
}

TEST(Fill, WritesTheReferenceColourInEveryFormat) {
    for (const std::int32_t value : reference::AllFormats()) {
        for (const Fill& fill : kFills) {
            for (const int width : {1, 2, 5, 7, 49, 700}) {
                TestPicture picture(value, width, 3, width % 3, width == 5);
                SCOPED_TRACE(testing::Message() << std::hex << value << std::dec << " width " << width);
                if (fill.colour[3] == 0 && picture.format.alpha == reference::Alpha::None) {
                    EXPECT_EQ(FillPicture(fill.function, picture), kPB_UnsupportedFormat);
                    EXPECT_TRUE(picture.Untouched());
                    continue;
                }
                ASSERT_EQ(FillPicture(fill.function, picture), kPB_Success);
                EXPECT_TRUE(picture.PaddingUntouched());
                TestPicture one(0x104, 1, 1);
                std::memcpy(one.base, fill.colour, sizeof fill.colour);
                const auto expected = reference::Convert(one.format, picture.format, one.Codes());
                const auto got = picture.Codes();
                for (int c = 0; c < (picture.format.Is444() ? 4 : 3); ++c) {
                    const double want = expected.plane[c].samples[0];
                    for (const double code : got.plane[c].samples) {
                        ASSERT_NEAR(code, want, picture.format.layout == reference::Layout::Floats ? 1e-6 : 0.5) << c;
                    }
                }
            }
        }
    }
}

TEST(Fill, RepeatsOrConvertsAColour) {
    const std::uint8_t pair[4] = {90, 40, 200, 60};
    TestPicture uyvy(0x811, 6, 2);
    ASSERT_EQ(PB_FillWithColor(uyvy.base, uyvy.RowBytes(), 6, 2, 0x811, pair, 0x811), 0);
    for (std::size_t i = 0; i < 24; ++i) {
        ASSERT_EQ(uyvy.Pixels()[i], pair[i % 4]);
    }
    const std::uint8_t red[4] = {0, 0, 255, 255};
    for (const std::int32_t to : reference::AllFormats()) {
        TestPicture filled(to, 13, 4), source(0x4, 13, 4), converted(to, 13, 4);
        ASSERT_EQ(PB_FillWithColor(filled.base, filled.RowBytes(), 13, 4, to, red, 0x4), 0);
        ASSERT_EQ(PB_FillWithColor(source.base, source.RowBytes(), 13, 4, 0x4, red, 0x4), 0);
        ASSERT_EQ(Convert(source, converted), 0);
        const auto got = filled.Codes(), want = converted.Codes();
        for (int c = 0; c < 3; ++c) {
            for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
                ASSERT_NEAR(got.plane[c].samples[i], want.plane[c].samples[i], 1e-6) << std::hex << to;
            }
        }
    }
}

TEST(Errors, LeaveTheDestinationUntouched) {
    std::uint8_t source[4096] = {};
    const auto refuses = [&](int expected, const void* from, int fromStride, std::int32_t fromFormat, int toStride,
                             std::int32_t toFormat, int width, int height) {
        std::vector<std::uint8_t> destination(4096, 0xA5);
        EXPECT_EQ(PB_Convert(from, fromStride, fromFormat, destination.data(), toStride, toFormat, width, height, 0),
                  expected)
            << std::hex << fromFormat << " " << toFormat << " " << width << "x" << height;
        EXPECT_EQ(destination, std::vector<std::uint8_t>(4096, 0xA5));
    };
    refuses(kPB_UnsupportedFormat, source, 16, 0, 16, 4, 4, 4);
    refuses(kPB_UnsupportedFormat, source, 16, 4, 16, 5, 4, 4);
    refuses(kPB_UnsupportedFormat, source, 16, 4, 16, 0, 4, 4);
    refuses(kPB_UnsupportedFormat, source, 16, kPB_CustomFormat, 16, 4, 4, 4);
    refuses(kPB_UnsupportedGeometry, source, 16, 4, 16, 0x1000821, 4, 4);
    refuses(kPB_UnsupportedGeometry, source, 16, 0x1000821, 16, 4, 4, 4);
    refuses(kPB_UnsupportedGeometry, source, 16, 0x1000821, 16, 0x2000821, 4, 4);
    refuses(kPB_BadArgument, nullptr, 16, 4, 16, 4, 4, 4);
    refuses(kPB_BadArgument, source, 15, 4, 16, 8, 4, 4);
    refuses(kPB_BadArgument, source, 16, 4, -15, 8, 4, 4);
    refuses(kPB_BadArgument, source, 16, 4, 8, 0x811, 5, 2);
    refuses(kPB_BadArgument, source, 127, 0x851, 64, 4, 4, 2); // a V210 row is whole blocks of 48 pixels
    refuses(kPB_BadArgument, source, INT_MAX, 4, INT_MAX, 0x104, INT_MAX, INT_MAX);
    refuses(kPB_BadArgument, source, INT_MIN, 4, INT_MIN, 8, INT_MAX, INT_MAX);
    refuses(kPB_BadArgument, source, INT_MAX, 0xA000831, 0, 0xB000831, INT_MAX, INT_MAX);
    refuses(kPB_BadArgument, source, 0, 0xA000831, 0, 0xA000831, INT_MAX, INT_MAX);
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, INT_MIN}}) {
        refuses(kPB_Success, nullptr, 0, 0, 0, 0, width, height);
        EXPECT_EQ(PB_ScaleConvert(nullptr, 0, width, height, 0, 0, nullptr, 0, 4, 4, 0, 0, 0), 0);
        EXPECT_EQ(PB_FillWithOpaqueBlack(nullptr, 0, width, height, 0), 0);
    }
    EXPECT_EQ(PB_Convert(source, 16, 4, nullptr, 16, 8, 4, 4, 0), kPB_BadArgument);
    std::uint8_t two[2] = {7, 7};
    for (const std::int32_t format : kCompressed) {
        EXPECT_NE(PB_FillWithOpaqueBlack(two, 0, 2, 1, format), 0);
    }
    EXPECT_NE(PB_FillWithOpaqueBlack(two, 0, 2, 1, kPB_CustomFormat), 0);
    EXPECT_NE(PB_FillWithColor(two, 0, 1, 1, 0x811, nullptr, 4), 0);
    EXPECT_EQ(two[0] + two[1], 14);
}

TEST(WholeImages, MoveAsOneRun) {
    std::vector<std::uint8_t> source(150000), destination(150000, 0);
    for (std::size_t i = 0; i < source.size(); ++i) {
        source[i] = static_cast<std::uint8_t>(1 + i % 255);
    }
    struct Case {
        std::int32_t format;
        int fromBytes, toBytes, width, height;
        std::ptrdiff_t copied;
        bool scaling = false;
    };
    for (const auto& [format, fromBytes, toBytes, width, height, copied, scaling] :
         {Case{kPB_CustomFormat, 1000, -600, 7, 900, 600}, Case{kPB_CustomFormat, 1000, 1200, 7, 9, 1000, true},
          Case{0x1000821, 120000, 120000, 720, 480, 120000, true}, Case{0x1000821, 120000, 4000, 720, 480, 4000},
          Case{0xA000831, 5, 5, 10, 10, 150, true}}) { // planes, whatever the stride says
        std::fill(destination.begin(), destination.end(), std::uint8_t{0});
        EXPECT_EQ(scaling ? PB_ScaleConvert(source.data(), fromBytes, width, height, format, 2, destination.data(),
                                            toBytes, width, height, format, 2, 3)
                          : PB_Convert(source.data(), fromBytes, format, destination.data(), toBytes, format, width,
                                       height, 3),
                  0);
        EXPECT_EQ(std::count(destination.begin(), destination.end(), 0), 150000 - copied);
        EXPECT_TRUE(std::equal(source.begin(), source.begin() + copied, destination.begin()));
    }
    EXPECT_NE(PB_ScaleConvert(source.data(), 1000, 7, 9, kPB_CustomFormat, 0, destination.data(), 1000, 7, 8,
                              kPB_CustomFormat, 0, 3),
              0);
}

TEST(Address, CountsPixelsInTheUnitsThatHaveOne) {
    std::uint8_t buffer[8192] = {};
    const void* start = nullptr;
    const auto offset = [&](std::int32_t format, int rowBytes, int width, int height, int left,
                            int top) -> std::ptrdiff_t {
        start = buffer;
        const int result = PB_ClipBufferToRect(buffer, rowBytes, width, height, format, left, top, &start);
        return result == 0 ? static_cast<const std::uint8_t*>(start) - buffer : -100000 + result;
    };
    constexpr std::ptrdiff_t kBad = -100000 + kPB_BadArgument;
    EXPECT_EQ(offset(0x4, -400, 10, 10, 3, 2), -788);
    EXPECT_EQ(offset(0x88, 400, 10, 2, 3, 2), 824);
    EXPECT_EQ(offset(0x10E, 400, 10, 2, 3, 2), 848);
    EXPECT_EQ(offset(0x811, 400, 10, 2, 3, 1), 404);
    EXPECT_EQ(offset(0x851, 256, 10, 2, 17, 1), 256 + 32);
    EXPECT_EQ(offset(0x4, 400, 98, 2, 3, 2), kBad);
    EXPECT_EQ(offset(0x4, 400, 10, 2, -1, 2), kBad);
    EXPECT_EQ(offset(0x4, 400, 10, 2, INT_MAX, 2), kBad);
    EXPECT_EQ(offset(0xA000831, 150, 10, 10, 0, 0), 0);
    EXPECT_EQ(offset(0xA000831, 150, 10, 10, 2, 0), kBad);
    EXPECT_EQ(offset(0xA000831, 150, 10, 8, 0, 0), kBad);
    EXPECT_EQ(offset(kPB_CustomFormat, 77, 10, 8, 0, 0), 0);
    EXPECT_EQ(offset(kPB_CustomFormat, 77, 10, 8, 0, 1), kBad);
    EXPECT_EQ(offset(3, 77, 10, 8, 0, 1), -100000 + kPB_UnsupportedFormat);
    EXPECT_EQ(offset(0x4, 400, 0, 10, 3, 2), 0); // nothing to do, nothing touched

    EXPECT_TRUE(PB_IsOriginBottomLeft(0x851));
    EXPECT_FALSE(PB_IsOriginBottomLeft(0xA000831) || PB_IsOriginBottomLeft(0x1000821) ||
                 PB_IsOriginBottomLeft(kPB_CustomFormat) || PB_IsOriginBottomLeft(0));
    EXPECT_EQ(PB_PixelFormatSize(0x851, 49, 2), 512U);
    EXPECT_EQ(PB_PixelFormatSize(0xA000831, 3, 3), 17U);
    EXPECT_EQ(PB_PixelFormatSize(kPB_CustomFormat, 3, 3) + PB_PixelFormatSize(0, 3, 3) + PB_PixelFormatSize(4, 0, 3),
              0U);
}

} // namespace
