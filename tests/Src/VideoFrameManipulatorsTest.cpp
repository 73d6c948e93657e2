#include "VideoFrameManipulators.h"

#include "ContractLog.h"
#include "TestFrames.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace vftest;
using namespace VF::VideoFrameManipulators;
using namespace zynmediatypes;

constexpr RenderQuality kLow = kRenderQuality_Low;

class CopyRectTest : public LibraryTest {};

TEST_F(CopyRectTest, MovesRectanglesThatAreClampedEachIntoItsOwnFrame) {
    FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 20, 10);
    PaintCoordinates(source);
    struct Case {
        Rect from, to, copied; ///< the pixels of the destination that become others
        int left, top;         ///< from where in the source
    };
    for (const Case& c : {Case{{2, 1, 7, 4}, {3, 5, 8, 8}, {3, 5, 8, 8}, 2, 1},
                          Case{{16, 6, 100, 100}, {-5, -5, 4, 4}, {0, 0, 4, 4}, 16, 6},
                          // Outside, inverted and empty ones leave the picture alone.
                          Case{{20, 0, 40, 10}, {0, 0, 8, 8}, {}, 0, 0}, Case{{5, 5, 2, 2}, {0, 0, 8, 8}, {}, 0, 0},
                          Case{{0, 0, 8, 8}, {3, 3, 3, 9}, {}, 0, 0}, Case{{0, 0, 8, 8}, {-9, -9, -2, -2}, {}, 0, 0}}) {
        FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 8, 8);
        EXPECT_EQ(CopyRect(source, c.from, destination, c.to, kLow, 2), 0);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const bool inside =
                    x >= c.copied.left && x < c.copied.right && y >= c.copied.top && y < c.copied.bottom;
                EXPECT_EQ(PixelAt(destination, x, y),
                          inside ? PixelAt(source, x - c.copied.left + c.left, y - c.copied.top + c.top) : 0xFF000000U)
                    << x << "," << y;
            }
        }
    }
}

TEST_F(CopyRectTest, FieldSelectorsTakeEverySecondRowOfMemory) {
    FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 8);
    PaintCoordinates(source);
    for (const int selector : {0, 1}) {
        FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
        EXPECT_EQ(CopyRect(source, {0, 0, 4, 8}, destination, {0, 0, 4, 4}, kLow, selector), 0);
        for (int row = 0; row < 4; ++row) {
            const std::uint8_t* const expected = Pixels(source) + (2 * row + (selector == 0 ? 1 : 0)) * 16;
            EXPECT_EQ(std::memcmp(Pixels(destination) + row * 16, expected, 16), 0) << selector << " row " << row;
        }
    }
    // Rows so wide that twice their bytes are no 32-bit word: refused, like everything the converter refuses.
    FrameRef wide = MakeFrame(kPixelFormat_BGRA_4444_8u, 1U << 28, 4, false);
    FrameRef small = MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 4);
    for (const int selector : {0, 1}) {
        EXPECT_EQ(CopyRect(wide, {0, 0, 16, 4}, small, {0, 0, 16, 4}, kLow, selector), 0);
        EXPECT_EQ(PixelAt(small, 0, 0), 0xFF000000U);
    }
    FrameRef planar = MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 4, 8);
    EXPECT_THROW(CopyRect(planar, {0, 0, 4, 8}, source, {0, 0, 4, 4}, kLow, 0), BRT::NullInterfaceException);
}

TEST_F(CopyRectTest, ScalesAndConverts) {
    FrameRef source = MakeFrame(kPixelFormat_ARGB_4444_8u, 64, 64);
    BRT::QueryInterface<RK::IVideoFrameClearable>(source)->FillWithOpaqueWhite();
    FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 32, 32);
    EXPECT_EQ(CopyRect(source, {0, 0, 64, 32}, destination, {0, 0, 16, 32}, kRenderQuality_Highest, 2), 0);
    EXPECT_EQ(PixelAt(destination, 15, 31), 0xFFFFFFFFU);
    EXPECT_EQ(PixelAt(destination, 16, 0), 0xFF000000U);
    // Formats without rows copy whole or not at all; neither is an error here.
    FrameRef planar = MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 32, 32);
    EXPECT_EQ(CopyRect(planar, {0, 0, 32, 32}, destination, {0, 0, 32, 32}, kLow, 2), 0);
    EXPECT_EQ(PixelAt(destination, 15, 31), 0xFF000000U);
    EXPECT_EQ(CopyRect(source, {0, 0, 64, 64}, planar, {1, 0, 32, 32}, kLow, 2), 0);
    EXPECT_EQ(Pixels(planar)[31], 16);
}

TEST_F(CopyRectTest, ReportsAndThenThrows) {
    FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    ContractLog log;
    const Rect rect{0, 0, 4, 4};
    EXPECT_EQ(CopyRect(nullptr, rect, nullptr, {2, 0, 2, 4}, kLow, 2), 0) << "an empty destination is looked at first";
    EXPECT_EQ(log.TakeConditions(), std::vector<std::string>{});
    EXPECT_THROW(CopyRect(nullptr, rect, nullptr, rect, kLow, 2), BRT::NullInterfaceException);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>{"srcMemoryAccess != NULL", "destMemoryAccess != NULL"}));
    EXPECT_THROW(CopyRect(nullptr, rect, frame, rect, kLow, 2), BRT::NullInterfaceException);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>{"srcMemoryAccess != NULL"}));
    FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    PaintCoordinates(source);
    frame->SetReadOnly(true);
    EXPECT_EQ(CopyRect(source, rect, frame, rect, kLow, 2), 0);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>{"destVideoFrame->GetReadOnly() == false"}));
    EXPECT_EQ(PixelAt(frame, 3, 3), PixelAt(source, 3, 3)) << "nobody else reads the frame, so it is written";
}

class CopyFrameTest : public LibraryTest {};

TEST_F(CopyFrameTest, FieldTypeOfTheDestination) {
    struct Case {
        std::uint32_t sourceHeight, destinationHeight;
        int source, destination, given, quality, expected;
    };
    for (const Case& c : {Case{1080, 540, 1, 3, -1, 0, 0},   // fast and at most half as high: progressive
                          Case{1080, 540, 1, 2, -1, 3, 2},   // good: the destination's own
                          Case{1080, 720, 1, 3, -1, 0, 1},   // not set: the source's
                          Case{1080, 720, 1, 2, -1, 0, 2},   // set, and the source is higher
                          Case{540, 1080, 1, 2, -1, 0, 1},   // set, but the source is not higher
                          Case{540, 1080, 1, 2, 0, 0, 2},    // set, and the source's type was given
                          Case{540, 1080, 1, 3, 2, 5, 2}}) { // not set: the given one
        FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 8, c.sourceHeight);
        FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 8, c.destinationHeight);
        source->SetFieldType(static_cast<FieldType>(c.source));
        destination->SetFieldType(static_cast<FieldType>(c.destination));
        EXPECT_EQ(CopyFrameWithFields(source, destination, static_cast<RenderQuality>(c.quality),
                                      static_cast<FieldType>(c.given)),
                  0);
        EXPECT_EQ(destination->GetFieldType(), c.expected) << c.sourceHeight << "->" << c.destinationHeight;
    }
}

TEST_F(CopyFrameTest, CarriesPropertiesAndAlphaBoundsOfEqualSizes) {
    FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 8, 8);
    source->SetOrigin({5, 6});
    source->SetAlphaBounds({1, 2, 3, 4});
    Rect bounds;
    for (const std::uint32_t width : {8U, 4U}) {
        FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_32f, width, 8);
        EXPECT_EQ(CopyFrame(source, destination, kRenderQuality_High), 0);
        EXPECT_EQ(destination->GetOrigin(), source->GetOrigin());
        destination->GetAlphaBounds(bounds);
        EXPECT_EQ(bounds, width == 8 ? (Rect{1, 2, 3, 4}) : (Rect{0, 0, 4, 8}));
    }
}

// The alpha type of the source decides how both frames' pixels are read.
TEST_F(CopyFrameTest, AlphaTypeChoosesTheVariant) {
    for (const std::uint32_t alphaType : {1U, 2U, 3U}) {
        FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
        std::fill_n(&PixelAt(source, 0, 3), 16, 0x40302010U);
        source->SetAlphaType(alphaType);
        FrameRef premultiplied = MakeFrame(kPixelFormat_BGRP_4444_8u, 4, 4);
        EXPECT_EQ(CopyFrame(source, premultiplied, kRenderQuality_High), 0);
        // 0x40 of alpha: 0x10 becomes 0x04, 0x20 0x08, 0x30 0x0C.
        const std::uint32_t expected[4] = {0, 0x400C0804U, 0x40302010U, 0xFF302010U};
        EXPECT_EQ(PixelAt(premultiplied, 1, 1), expected[alphaType]) << alphaType;
    }
}

TEST_F(CopyFrameTest, ReadOnlyDestinations) {
    FrameRef source = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    PaintCoordinates(source);
    FrameRef recycled = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    recycled->SetReadOnly(true);
    FrameRef published = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    BRT::QueryInterface<VF::IPublishableVideoFrame>(published)->Publish(zyncore::utility::Guid::Generate());
    const std::string write = "!GetReadOnly() && InternalGetWritableData()";
    for (const FrameRef& destination : {recycled, published}) {
        ContractLog log;
        EXPECT_EQ(CopyFrame(source, destination, kRenderQuality_High), 0);
        // One for the copy, then field type, alpha type, origin and alpha bounds.
        EXPECT_EQ(log.TakeConditions(),
                  (std::vector<std::string>{"inDestVideoFrame->GetReadOnly() == false", write, write, write, write}));
        EXPECT_EQ(PixelAt(destination, 2, 1), destination == recycled ? PixelAt(source, 2, 1) : 0xFF000000U);
    }
    EXPECT_THROW(CopyFrame(source, nullptr, kRenderQuality_High), BRT::NullInterfaceException);
    EXPECT_THROW(CopyFrame(nullptr, source, kRenderQuality_High), BRT::NullInterfaceException);
}

TEST_F(CopyFrameTest, WhatTheConverterCannotDoFails) {
    FrameRef invalid = MakeFrame(kPixelFormat_Invalid, 4, 4, false);
    FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    EXPECT_EQ(CopyFrame(invalid, frame, kRenderQuality_High), VF::kResult_Failed);
    EXPECT_EQ(CopyFrame(frame, invalid, kRenderQuality_High), VF::kResult_Failed);
    EXPECT_EQ(CopyRect(invalid, {0, 0, 4, 4}, frame, {0, 0, 4, 4}, kLow, 2), 0);
    FrameRef sixteen = MakeFrame(kPixelFormat_BGRA_4444_16u, 4, 4);
    EXPECT_EQ(CopyFrame(sixteen, frame, kRenderQuality_High), VF::kResult_Failed);
}

TEST_F(CopyFrameTest, AddressableCopies) {
    struct Case {
        PixelFormat source, preferred;
        int quality;
        PixelFormat expected;
    };
    for (const Case& c :
         {Case{kPixelFormat_UYVY_422_8u, kPixelFormat_BGRA_4444_8u, 3, kPixelFormat_VUYA_4444_8u},
          Case{kPixelFormat_V210_422_10u, kPixelFormat_BGRA_4444_32f, 3, kPixelFormat_VUYA_4444_32f},
          Case{kPixelFormat_V210_422_10u, kPixelFormat_BGRA_4444_8u, 3, kPixelFormat_VUYA_4444_8u},
          Case{kPixelFormat_V210_422_10u, kPixelFormat_BGRA_4444_8u, 5, kPixelFormat_VUYA_4444_32f},
          Case{kPixelFormat_V210_422_10u_709, kPixelFormat_BGRA_4444_15u, 3, kPixelFormat_VUYA_4444_32f_709},
          Case{kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709, kPixelFormat_Invalid, 3,
               kPixelFormat_VUYA_4444_8u_709}}) {
        FrameRef source = MakeFrame(c.source, 12, 8);
        source->SetFieldType(kFieldType_LowerFirst);
        FrameRef out;
        EXPECT_EQ(MakeAddressableVideoFrame(source, out, c.preferred, static_cast<RenderQuality>(c.quality)), 0);
        ASSERT_TRUE(out);
        EXPECT_EQ(out->GetPixelType(), c.expected);
        EXPECT_EQ(out->GetBounds(), source->GetBounds());
        EXPECT_EQ(out->GetFieldType(), kFieldType_LowerFirst);
    }
    FrameRef addressable = MakeFrame(kPixelFormat_PRGB_4444_32f, 4, 4);
    FrameRef out;
    EXPECT_EQ(MakeAddressableVideoFrame(addressable, out, kPixelFormat_BGRA_4444_8u, kRenderQuality_High), 0);
    EXPECT_EQ(out, addressable);
    // A failure leaves what the reference held.
    FrameRef dv = MakeFrame(kPixelFormat_PALDV25, 16, 16, false);
    EXPECT_LT(MakeAddressableVideoFrame(dv, out, kPixelFormat_BGRA_4444_8u, kRenderQuality_High), 0);
    EXPECT_EQ(out, addressable);
    EXPECT_THROW(MakeAddressableVideoFrame(nullptr, out, kPixelFormat_BGRA_4444_8u, kRenderQuality_High),
                 BRT::NullInterfaceException);
}

} // namespace
