#include "PixelFormatUtilities.h"

#include "ContractLog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace VF {
namespace {

using namespace zynmediatypes;

TEST(PixelFormatMaps, EverySDKCodeNamesAFormat) {
    const std::string codes =
        "v210 v211 dvn1 dvp1 Yv12 yv12 Yvi2 yvi2 dvn2 dvp2 yuy2 yuy3 dvn5 dvp5 Yv17 yv17 Yvi7 yvi7 dvn7 VUp7 vup7 dvp7 "
        "uyv7 VUx7 vux7 VUYA BGaL ARgL PRgL XRgL BGpL BGxL vUYa BGra Bgra bgra VUya Vuya vuya ARgb PRgb XRgb Argb Prgb "
        "Xrgb argb prgb xrgb Yv1f yv1f Yvif yvif BGrp Bgrp bgrp VUyp vuyp BGrx Bgrx bgrx VUyx vuyx uyvy ";
    ASSERT_EQ(codes.size(), 63U * 5U);
    for (std::size_t i = 0; i < codes.size(); i += 5) {
        std::uint32_t code = 0;
        std::memcpy(&code, codes.data() + i, 4);
        SCOPED_TRACE(codes.substr(i, 4));
        EXPECT_TRUE(IsValidSDKPixelFormat(code));
        const PixelFormat format = SDKToBEPixelFormat(code);
        EXPECT_EQ(BEToSDKPixelFormat(format), code);
        EXPECT_NE(format.properties, kPixelFormatProperties_Invalid);
        // All but one code have a converter value, and every value leads back.
        const PB_PixelFormat value = BEPixelFormatToPBPixelFormat(format);
        EXPECT_EQ(value != 0, codes.substr(i, 4) != "Vuya");
        EXPECT_EQ(PBPixelFormatToBEPixelFormat(value), value ? format : kPixelFormat_Invalid);
    }
}

TEST(PixelFormatMaps, UnknownCustomAndChangedFormats) {
    const auto code = [](const char(&text)[5]) { return static_cast<std::uint32_t>(FourCharacterCode(text)); };
    for (const std::uint32_t unknown : {code("BGRA"), code("Bg16"), 0x40000000U, 1U}) {
        EXPECT_FALSE(IsValidSDKPixelFormat(unknown));
        EXPECT_EQ(SDKToBEPixelFormat(unknown), kPixelFormat_Invalid);
    }
    for (const std::uint32_t passed : {code("badf"), 0U}) {
        EXPECT_FALSE(IsValidSDKPixelFormat(passed));
        EXPECT_EQ(static_cast<std::uint32_t>(SDKToBEPixelFormat(passed).name), passed);
    }
    for (const std::uint32_t custom : {code("@abc"), 0xFFFFFF5FU}) {
        EXPECT_TRUE(IsValidSDKPixelFormat(custom));
        EXPECT_TRUE(IsCustomSDKPixelFormat(custom));
        const PixelFormat garbage{static_cast<PixelFormatName>(custom), 0x12345678};
        EXPECT_TRUE(IsCustomBEPixelFormat(garbage));
        EXPECT_FALSE(IsStandardBEPixelFormat(garbage));
        EXPECT_EQ(BEToPBPixelFormat(garbage), 0x7F000020);
    }
    EXPECT_EQ(PBPixelFormatToBEPixelFormat(0x7F000020), kPixelFormat_Invalid);
    PixelFormat changed = kPixelFormat_BGRA_4444_8u;
    changed.properties ^= kProperty_Linear;
    EXPECT_EQ(BEPixelFormatToPBPixelFormat(changed), 0);
    EXPECT_EQ(BEPixelFormatToPBPixelFormat(kPixelFormat_BGRA_4444_16u), 0);
    constexpr int kBits[8] = {8, 0, 16, 0, 0, 32, 0, 0};
    for (std::uint32_t precision = 0; precision < 8; ++precision) {
        EXPECT_EQ(PixelFormatComponentPrecision({PixelFormatName{7}, precision << 1 | 0xFFFFFFF1U}), kBits[precision]);
    }
}

TEST(FillColours, BlackAndWhiteFillOneUnit) {
    std::uint8_t pixels[17] = {};
    EXPECT_EQ(GetBlackForPixelFormat(kPixelFormat_UYVY_422_8u, pixels), 0);
    EXPECT_EQ(std::memcmp(pixels, "\x80\x10\x80\x10", 5), 0);
    EXPECT_EQ(GetWhiteForPixelFormat(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, pixels), 0);
    EXPECT_EQ(std::memcmp(pixels, "\xEB\x80\x80\x10", 5), 0);
    EXPECT_EQ(GetWhiteForPixelFormat(kPixelFormat_BGRA_4444_16u, pixels), -1);
    EXPECT_EQ(GetWhiteForPixelFormat(kPixelFormat_PALDV25, pixels), -1);
    EXPECT_EQ(GetWhiteForPixelFormat(kPixelFormat_V210_422_10u, pixels), 0);
    EXPECT_EQ(pixels[16], 0) << "a group of 16 bytes and nothing behind it";
}

TEST(FillColours, ColoursAndRefusals) {
    std::uint8_t pixel[4] = {};
    EXPECT_EQ(ConvertColorToPixelFormattedData(kPixelFormat_BGRA_4444_8u, 0.5F, 1.0F, 0.0F, 0.25F, pixel), 0);
    EXPECT_EQ(std::memcmp(pixel, "\x40\x00\xFF\x80", 4), 0);
    EXPECT_EQ(ConvertColorToPixelFormattedData(kPixelFormat_Invalid, 1, 1, 1, 1, pixel), -1);
    vftest::ContractLog log;
    EXPECT_EQ(GetBlackForPixelFormat(kPixelFormat_BGRA_4444_8u, nullptr), -1);
    EXPECT_EQ(GetWhiteForPixelFormat(kPixelFormat_BGRA_4444_8u, nullptr), -1);
    EXPECT_EQ(ConvertColorToPixelFormattedData(kPixelFormat_BGRA_4444_8u, 1, 1, 1, 1, nullptr), -1);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>(3, "pixelData != NULL")));
}

TEST(NativeRectangles, WholeHalfQuarterAndField) {
    using Rect = BRT::ParamRect<BRT::CRect>;
    const auto planar = kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601;
    const auto dv = kPixelFormat_PALDV25; // 4:2:0 like the planar kinds, but no field sizes
    const Rect frame{0, 0, 720, 480};
    EXPECT_TRUE(IsRectNativeToFrame(frame, frame, kPixelFormat_Invalid));
    EXPECT_FALSE(IsRectNativeToFrame({0, 0, 360, 240}, frame, kPixelFormat_Invalid));
    EXPECT_FALSE(IsRectNativeToFrame({0, 0, 360, 240}, frame, kPixelFormat_BGRA_4444_8u));
    for (const auto& format : {planar, dv}) {
        EXPECT_TRUE(IsRectNativeToFrame({7, 9, 367, 249}, frame, format));
        EXPECT_TRUE(IsRectNativeToFrame({0, 0, 180, 120}, frame, format));
        EXPECT_FALSE(IsRectNativeToFrame({0, 0, 361, 240}, frame, format));
        EXPECT_FALSE(IsRectNativeToFrame({0, 0, 360, 240}, {1, 0, 720, 480}, format));
        EXPECT_TRUE(IsRectNativeToFrame({1, 0, 720, 480}, {1, 0, 720, 480}, format));
    }
    EXPECT_TRUE(IsRectNativeToFrame({0, 0, 720, 240}, frame, planar));
    EXPECT_TRUE(IsRectNativeToFrame({0, 0, 360, 120}, frame, planar));
    EXPECT_FALSE(IsRectNativeToFrame({0, 0, 720, 240}, frame, dv));
    // Products wrap: 4 x 0x40000000 is 0.
    EXPECT_TRUE(IsRectNativeToFrame({0, 0, 0x40000000, 0x40000000}, {0, 0, 0, 0}, planar));
}

} // namespace
} // namespace VF
