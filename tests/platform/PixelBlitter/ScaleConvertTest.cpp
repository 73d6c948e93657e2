#include "../PixelBlitterScale/FailingAllocator.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

int Scale(const TestPicture& from, TestPicture& to, int quality, int fromField = 0, int toField = 0) {
    return PB_ScaleConvert(from.base, from.RowBytes(), from.width, from.height, from.format.value, fromField, to.base,
                           to.RowBytes(), to.width, to.height, to.format.value, toField, quality);
}

TEST(Plan, NamesThePath) {
    const auto path = [](std::int32_t from, std::int32_t to, int width = 64) {
        return PB_PlanScaleConvert(64, 64, from, 0, width, 64, to, 0, 3).path;
    };
    EXPECT_EQ(path(0x4, 0x4), "copy");
    EXPECT_EQ(path(0x4, 0x1004), "shuffle");
    EXPECT_EQ(path(0x88, 0x8C), "shuffle");
    EXPECT_EQ(path(0x4, 0x1104), "depth");
    EXPECT_EQ(path(0x84, 0x905), "float tiles");
    EXPECT_EQ(path(0x811, 0x851), "integers");
    EXPECT_EQ(path(0x851, 0x905), "fused");
    EXPECT_EQ(path(0x1A11, 0x9000A31), "integers");
    EXPECT_EQ(path(0x811, 0x9000A31), "float tiles"); // another matrix
    EXPECT_EQ(path(0x104, 0x104, 32), "scale");
    EXPECT_EQ(path(0x4, 0x8, 32), "scale integers");
    EXPECT_EQ(path(0x4, 0x805, 32), "scale"); // another model
    EXPECT_EQ(PB_PlanScaleConvert(64, 64, 0xC, 0, 32, 32, 0x1004, 0, 2).path, "scale 2:1");
    EXPECT_EQ(PB_PlanScaleConvert(64, 64, 0xC, 1, 32, 32, 0x1004, 1, 2).path, "scale integers fields");
    EXPECT_EQ(PB_PlanScaleConvert(64, 64, 0xC, 1, 32, 32, 0x1004, 0, 2).filter, "box"); // one field: half its width
    EXPECT_EQ(path(0x4, 0x4, 0), "nothing");
    const PB_Plan plan = PB_PlanScaleConvert(64, 64, 0x4, 1, 32, 32, 0x811, 1, 4);
    EXPECT_EQ(plan.filter, "lanczos3");
    EXPECT_EQ(plan.path, "scale fields");
    EXPECT_EQ(plan.bytesMoved, 64U * 64 * 4 + 32 * 32 * 2);
    EXPECT_EQ(PB_PlanScaleConvert(64, 64, 4, 0, 64, 64, 0x1000821, 0, 0).result, kPB_UnsupportedGeometry);
    EXPECT_EQ(PB_PlanScaleConvert(64, 64, 4, 0, 32, 64, kPB_CustomFormat, 0, 0).result, kPB_UnsupportedFormat);
}

TEST(Scale, KeepsAConstantPictureBetweenAllFormats) {
    const float colour[4] = {0.25F, 0.5F, 0.75F, 1}; // B G R A
    for (const std::int32_t from : reference::AllFormats()) {
        for (const std::int32_t to : reference::AllFormats()) {
            const int quality = (from + to) % 5;
            TestPicture source(from, 37, 11, 3), scaled(to, 521, 6, 5, true), wanted(to, 521, 6);
            ASSERT_EQ(PB_FillWithColor(source.base, source.RowBytes(), 37, 11, from, colour, 0x104), 0);
            ASSERT_EQ(Scale(source, scaled, quality), 0);
            EXPECT_TRUE(scaled.PaddingUntouched());
            // What one pixel of the source converts to.
            TestPicture one(from, 6, 6), converted(to, 6, 6);
            ASSERT_EQ(PB_FillWithColor(one.base, one.RowBytes(), 6, 6, from, colour, 0x104), 0);
            ASSERT_EQ(Convert(one, converted), 0);
            const auto got = scaled.Codes(), want = converted.Codes();
            for (int c = 0; c < (scaled.format.Is444() ? 4 : 3); ++c) {
                for (const double code : got.plane[c].samples) {
                    ASSERT_NEAR(code, want.plane[c].samples[0],
                                scaled.format.layout == reference::Layout::Floats  ? 1e-5
                                : scaled.format.layout == reference::Layout::Words ? 2
                                                                                   : 1)
                        << std::hex << from << " " << to;
                }
            }
        }
    }
}

TEST(Scale, HandlesFieldsApart) {
    // Even lines (from the top) white, odd ones black: scaled as fields each keeps its colour, as a frame they mix.
    TestPicture source(0x805, 8, 16), scaled(0x805, 8, 8);
    for (int row = 0; row < 16; ++row) {
        const std::uint8_t y = (15 - row) % 2 == 0 ? 235 : 16;
        for (int x = 0; x < 8; ++x) {
            const std::uint8_t pixel[4] = {128, 128, y, 255};
            std::memcpy(source.base + row * source.stride + 4 * x, pixel, 4);
        }
    }
    const auto lumaOfRow = [&](int fromField, int toField, int row) {
        EXPECT_EQ(Scale(source, scaled, 2, fromField, toField), 0);
        return scaled.Codes().plane[2].At(3, row);
    };
    EXPECT_EQ(lumaOfRow(1, 1, 2), 235);
    EXPECT_EQ(lumaOfRow(1, 1, 3), 16);
    EXPECT_EQ(lumaOfRow(2, 3, 2), 235); // unset takes the other side's
    EXPECT_EQ(lumaOfRow(-7, 1, 3), 16);
    EXPECT_EQ(lumaOfRow(1, 2, 2), 16);  // field 0 stays field 0, which lies on the other lines
    EXPECT_EQ(lumaOfRow(1, 0, 2), 235); // field 0 alone
    EXPECT_EQ(lumaOfRow(2, 0, 2), 16);
    EXPECT_NEAR(lumaOfRow(3, 3, 2), 125.5, 1);
}

TEST(Scale, LinesOfFieldsKeepTheirPlaceInThePicture) {
    // A slope down the picture stays the same slope, whatever lines it is taken from and put on; a field mistaken for
    // the other one is off by a line, which is six codes.
    for (const int fromField : {0, 1, 2}) {
        for (const int toField : {0, 1, 2}) {
            for (const int height : {20, 40, 27}) {
                TestPicture source(0x805, 4, 30), scaled(0x805, 4, height);
                for (int row = 0; row < 30; ++row) {
                    const std::uint8_t pixel[4] = {128, 128, static_cast<std::uint8_t>(40 + 6 * row), 255};
                    for (int x = 0; x < 4; ++x) {
                        std::memcpy(source.base + (29 - row) * source.stride + 4 * x, pixel, 4);
                    }
                }
                ASSERT_EQ(Scale(source, scaled, 2, fromField, toField), 0);
                const reference::Picture codes = scaled.Codes();
                for (int row = height / 4; row < height - height / 4; ++row) {
                    EXPECT_NEAR(codes.plane[2].At(1, row), 40 + 6 * ((row + 0.5) * 30 / height - 0.5), 1.6)
                        << fromField << " to " << toField << ", " << height << " lines, line " << row;
                }
            }
        }
    }
}

TEST(Lifecycle, TheLastTerminateFreesTheTables) {
    const TestPicture source(0x4, 8, 8);
    TestPicture destination(0x4, 5, 5);
    const auto allocations = [&] { // weight tables are made anew when they are not cached
        constexpr int kMany = 1000000;
        scaletest::allocationsUntilFailure = kMany;
        EXPECT_EQ(Scale(source, destination, 3), 0);
        const int used = kMany - scaletest::allocationsUntilFailure;
        scaletest::allocationsUntilFailure = -1;
        return used;
    };
    EXPECT_EQ(PB_Initialize(), 0);
    static_cast<void>(allocations()); // what is made once in the life of the process
    PB_Terminate();
    PB_Terminate(); // one without a start is not counted
    EXPECT_EQ(PB_Initialize(), 0);
    EXPECT_EQ(PB_Initialize(), 0);
    const int fresh = allocations();
    const int cached = allocations();
    EXPECT_LT(cached, fresh);
    PB_Terminate();
    EXPECT_EQ(allocations(), cached);
    PB_Terminate();
    EXPECT_EQ(allocations(), fresh);
    PB_Terminate();
    EXPECT_EQ(allocations(), cached);
}

TEST(Scale, RefusesWhatItCannotDo) {
    TestPicture source(0x4, 8, 8), destination(0x4, 4, 4);
    const auto refuses = [&](int expected, std::int32_t from, std::int32_t to, int toStride, int width, int height) {
        EXPECT_EQ(PB_ScaleConvert(source.base, 32, 8, 8, from, 0, destination.base, toStride, width, height, to, 0, 3),
                  expected);
        EXPECT_TRUE(destination.Untouched());
    };
    refuses(kPB_UnsupportedGeometry, 0x4, 0x1000821, 16, 4, 4);
    refuses(kPB_UnsupportedFormat, 0x4, 0, 16, 4, 4);
    refuses(kPB_BadArgument, 0x4, 0x4, 15, 4, 4);
    refuses(kPB_BadArgument, 0x4, 0xA000831, 0, std::numeric_limits<int>::max(), std::numeric_limits<int>::max());
}

} // namespace
