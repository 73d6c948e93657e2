#include "VideoFrameTemplate.h"

#include "VectorFrame.h"

#include <gtest/gtest.h>

namespace {

using namespace zynmediatypes;
using vftest::VectorFrame;

TEST(VideoFrameTemplate, StartsEmptyAndInvalid) {
    VectorFrame frame;
    EXPECT_EQ(frame.GetPixelType(), kPixelFormat_Invalid);
    EXPECT_EQ(frame.GetBounds(), (BRT::ParamRect<BRT::CRect>{}));
    EXPECT_FALSE(frame.GetReadOnly());
    EXPECT_EQ(frame.GetFieldType(), kFieldType_NotSet);
    EXPECT_EQ(frame.GetRenderTime(), 0U);
    EXPECT_EQ(frame.GetDataSize(), 0U);
    EXPECT_FALSE(frame.HasAlpha());
}

TEST(VideoFrameTemplate, GeometryFollowsFormatAndSize) {
    VectorFrame frame(kPixelFormat_UYVY_422_8u, 7, 5);
    EXPECT_EQ(frame.GetRowBytes(), 16);
    EXPECT_EQ(frame.GetPixelSize(), 2U);
    EXPECT_EQ(frame.GetBufferSize(), 80U);
    frame.SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(frame.GetField0Data(), frame.GetData());
    EXPECT_EQ(frame.GetField1Data(), static_cast<std::uint8_t*>(frame.GetData()) + 16);
    EXPECT_EQ(VectorFrame(kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601, 8, 8).GetPixelSize(), 0U);
    frame.SetUserTriple({1, 2, 3});
    EXPECT_EQ(frame.GetUserTriple(), (RK::UserTriple{1, 2, 3}));
    frame.SetOrigin({-4, 9});
    EXPECT_EQ(frame.GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{-4, 9}));
    frame.ResetAlphaBounds();
    BRT::ParamRect<BRT::CRect> bounds;
    EXPECT_TRUE(frame.GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (BRT::ParamRect<BRT::CRect>{0, 0, 7, 5}));
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
