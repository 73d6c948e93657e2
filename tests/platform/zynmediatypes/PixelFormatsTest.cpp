#include "zynmediatypes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace zynmediatypes {
namespace {

// The converter's numbering has a structure of its own; the properties must say the same thing in their bits.
TEST(PixelFormatTable, PropertiesAgreeWithTheConverterNumbering) {
    for (const PixelFormatRow& row : kPixelFormatTable) {
        SCOPED_TRACE(row.constant);
        const std::uint32_t value = row.converterValue;
        if (value == 0) {
            EXPECT_TRUE(row.format.properties & kProperty_FullRange16);
            continue;
        }
        const std::uint32_t storage = value >> 24;
        EXPECT_EQ(static_cast<std::uint32_t>(StorageOf(row.format)), storage);
        EXPECT_EQ((row.format.properties & kProperty_BT709) != 0, (value & 0x200) != 0);
        EXPECT_EQ((row.format.properties & kProperty_YUV) != 0, (value & 0x800) != 0 || (value & 0x30) != 0);
        EXPECT_EQ((row.format.properties & kProperty_FullRangeYUV) != 0, storage != 0 && (value & 0x800) == 0);
        EXPECT_EQ((row.format.properties & kPropertyMask_Order) != 0, (value & 0x1000) != 0);
        EXPECT_EQ(PrecisionOf(row.format) == Precision::Float32, (value & 0x100) != 0);
        EXPECT_EQ(PrecisionOf(row.format) == Precision::Words16, (value & 0x80) != 0);
        EXPECT_EQ(PrecisionOf(row.format) == Precision::Bits10, (value & 0x40) != 0);
        if ((value & 0x30) == 0) {
            EXPECT_EQ((row.format.properties & kProperty_Linear) != 0, (value & 0x2) != 0);
            EXPECT_EQ(AlphaOf(row.format), (value & 0xC) >> 2);
            EXPECT_EQ(ChromaOf(row.format), Chroma::C444);
        } else {
            EXPECT_EQ(AlphaOf(row.format), kAlphaType_None);
            EXPECT_NE(ChromaOf(row.format), Chroma::C444);
        }
    }
}

TEST(PixelFormatTable, NamesAndPropertiesInvert) {
    for (const PixelFormatRow& row : kPixelFormatTable) {
        EXPECT_EQ(LookupPropertiesForName(row.format.name), row.format.properties) << row.constant;
        EXPECT_EQ(GuessNameForProperties(row.format.properties), row.format.name) << row.constant;
        const PixelFormatRow* const found = FindPixelFormatByConverterValue(row.converterValue);
        ASSERT_EQ(found != nullptr, row.converterValue != 0);
        EXPECT_TRUE(!found || found->format == row.format) << row.constant;
    }
    const auto properties = [](const char(&code)[5]) { return LookupPropertiesForName(FourCharacterCode(code)); };
    EXPECT_EQ(properties("badf"), kPixelFormatProperties_Invalid);
    EXPECT_EQ(properties("BGRA"), kPixelFormatProperties_Invalid);
    EXPECT_EQ(LookupPropertiesForName(PixelFormatName{}), kPixelFormatProperties_Invalid);
    EXPECT_EQ(properties("@xyz"), kPixelFormatProperties_Custom);
    EXPECT_EQ(properties("_abc"), kPixelFormatProperties_Custom);
    EXPECT_EQ(LookupPropertiesForName(PixelFormatName{0x40000000}), kPixelFormatProperties_Invalid);
    EXPECT_EQ(GuessNameForProperties(kPixelFormatProperties_Custom), kPixelFormat_Invalid.name);
    EXPECT_EQ(GuessNameForProperties(0), kPixelFormat_Invalid.name);
}

TEST(PixelFormatSizes, FollowTheStorageLayout) {
    EXPECT_EQ(PixelFormatSize(kPixelFormat_XRGB_4444_15u, 3, 5), 120U);
    EXPECT_EQ(PixelFormatSize(kPixelFormat_BGRP_4444_32f_Linear, 3, 5), 240U);
    EXPECT_EQ(PixelFormatSize(kPixelFormat_UYVY_422_8u, 3, 2), 16U);
    EXPECT_EQ(PixelFormatSize(kPixelFormat_V210_422_10u, 49, 2), 512U);
    EXPECT_EQ(PixelFormatSize(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 5, 3), 15U + 2U * 3U * 2U);
    EXPECT_EQ(PixelFormatSize(kPixelFormat_PALDV25, 7, 9), 144000U);
    EXPECT_EQ(UncompressedPixelFormatRowBytes(kPixelFormat_V210_422_10u, 1280), 3456);
    for (const PixelFormatRow& row : kPixelFormatTable) {
        EXPECT_EQ(PixelFormatSize(row.format, 0, 10) + PixelFormatSize(row.format, 10, -1), 0U) << row.constant;
    }
    EXPECT_EQ(PixelFormatSize(kPixelFormat_Invalid, 10, 10), 0U);
}

TEST(PixelFormatSizes, HugeSizesNeverWrap) {
    constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
    for (const PixelFormatRow& row : kPixelFormatTable) {
        const std::uint64_t size = PixelFormatSize(row.format, kMax, kMax);
        if (!IsDV(StorageOf(row.format))) {
            EXPECT_GE(size, std::uint64_t{kMax} * kMax) << row.constant;
        }
        EXPECT_LE(size, static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) << row.constant;
    }
}

TEST(PixelFormatRules, RectanglesThatAFormatCanHold) {
    const auto valid = [](PixelFormat format, int width, int height) {
        return IsRectValidForFormat(format, width, height, kPixelAspectRatio_Square);
    };
    EXPECT_TRUE(valid(kPixelFormat_BGRA_4444_8u, 1, 1));
    EXPECT_FALSE(valid(kPixelFormat_BGRA_4444_8u, 0, 1));
    EXPECT_FALSE(valid(kPixelFormat_BGRA_4444_8u, 1, -1));
    EXPECT_TRUE(valid(kPixelFormat_UYVY_422_8u, 2, 1));
    EXPECT_FALSE(valid(kPixelFormat_V210_422_10u, 3, 1));
    EXPECT_TRUE(valid(kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709, 2, 2));
    EXPECT_FALSE(valid(kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709, 2, 3));
    EXPECT_FALSE(valid(kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709, 2, 6));
    EXPECT_TRUE(valid(kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709, 2, 8));
    EXPECT_TRUE(valid(kPixelFormat_NTSCDV25, 720, 480));
    EXPECT_TRUE(valid(kPixelFormat_NTSCDV25, 180, 120));
    EXPECT_FALSE(valid(kPixelFormat_NTSCDV25, 720, 576));
    EXPECT_FALSE(valid(kPixelFormat_Invalid, 16, 16));
}

} // namespace
} // namespace zynmediatypes
