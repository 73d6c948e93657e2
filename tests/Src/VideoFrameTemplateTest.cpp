#include "VideoFrameTemplate.h"

#include "VectorFrame.h"

#include <gtest/gtest.h>

namespace {

using namespace zynmediatypes;
using vftest::VectorFrame;

TEST(VideoFrameTemplate, GeometryFollowsFormatAndSize) {
    EXPECT_EQ(VectorFrame().GetDataSize(), 0U);
    VectorFrame frame(kPixelFormat_UYVY_422_8u, 7, 5);
    EXPECT_EQ(frame.GetRowBytes(), 16);
    EXPECT_EQ(frame.GetPixelSize(), 2U);
    EXPECT_EQ(frame.GetBufferSize(), 80U);
    frame.SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(frame.GetField0Data(), frame.GetData());
    EXPECT_EQ(frame.GetField1Data(), static_cast<std::uint8_t*>(frame.GetData()) + 16);
    EXPECT_EQ(VectorFrame(kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601, 8, 8).GetPixelSize(), 0U);
    // The first operation behind the interface's slots is the reference to itself.
    using Self = BRT::InterfaceRef<RK::IVideoFrame>(void*);
    auto* const object = static_cast<RK::IVideoFrame*>(&frame);
    auto* const slot = reinterpret_cast<Self*>((*reinterpret_cast<void***>(object))[28]);
    EXPECT_EQ(slot(object).GetPtr(), object);
}

TEST(VideoFrameTemplate, TheAlphaTypeIsPartOfTheFormat) {
    VectorFrame frame(kPixelFormat_BGRA_4444_8u, 4, 4);
    EXPECT_TRUE(frame.HasAlpha());
    frame.SetAlphaType(3);
    EXPECT_EQ(frame.GetPixelType(), kPixelFormat_BGRX_4444_8u);
    EXPECT_FALSE(frame.HasAlpha());
    frame.SetAlphaType(2 + 8);
    EXPECT_EQ(frame.GetPixelType(), kPixelFormat_BGRP_4444_8u) << "only the low three bits count";
    frame.SetAlphaType(5);
    EXPECT_EQ(frame.GetPixelType(), kPixelFormat_BGRP_4444_8u) << "no such variant";
    VectorFrame pairs(kPixelFormat_UYVY_422_8u, 4, 4);
    pairs.SetAlphaType(1);
    EXPECT_EQ(pairs.GetPixelType(), kPixelFormat_UYVY_422_8u);
    EXPECT_EQ(pairs.GetAlphaType(), kAlphaType_None);
}

} // namespace
