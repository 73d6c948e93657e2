#include "ContractLog.h"
#include "SharedMemoryFormat.h"
#include "TestFrames.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace vftest;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

class VideoFrameFactory : public LibraryTest {};

TEST_F(VideoFrameFactory, SwitchesChooseTheBlock) {
    const auto isPublishable = [](const FrameRef& frame) {
        return static_cast<bool>(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame));
    };
    const PixelFormat custom{zynmediatypes::FourCharacterCode("@own"), 0};
    const auto makeCustom = [&] {
        FrameRef frame;
        EXPECT_EQ(VF::CreateCustomVideoFrame(frame, custom, 10, 10, 1000, {1, 1}), 0);
        return frame;
    };
    EXPECT_FALSE(VF::GetCreatePublishableVideoFrames());
    EXPECT_FALSE(VF::GetCreatePublishableCustomVideoFrames());
    EXPECT_FALSE(isPublishable(MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4)));
    EXPECT_FALSE(isPublishable(makeCustom()));
    VF::SetCreatePublishableCustomVideoFrames(true);
    EXPECT_FALSE(isPublishable(MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4)));
    EXPECT_TRUE(isPublishable(makeCustom()));
    VF::SetCreatePublishableCustomVideoFrames(false);
    VF::SetCreatePublishableVideoFrames(true);
    EXPECT_TRUE(VF::GetCreatePublishableCustomVideoFrames());
    EXPECT_TRUE(isPublishable(MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4)));
    EXPECT_TRUE(isPublishable(makeCustom()));
}

TEST_F(VideoFrameFactory, ClearsWhatTheFormatCanSay) {
    struct Case {
        PixelFormat format;
        bool transparent;
        std::uint32_t pixel;
    };
    for (const Case& c : {Case{kPixelFormat_BGRA_4444_8u, true, 0}, Case{kPixelFormat_BGRA_4444_8u, false, 0xFF000000U},
                          Case{zynmediatypes::kPixelFormat_BGRX_4444_8u, true, 0xFF000000U},
                          Case{zynmediatypes::kPixelFormat_UYVY_422_8u, true, 0x10801080U}}) {
        FrameRef frame;
        ASSERT_EQ(VF::CreateVideoFrame(frame, c.format, 6, 1, {1, 1}, true, c.transparent), 0);
        std::uint32_t pixel = 1;
        std::memcpy(&pixel, Pixels(frame) + 8, 4);
        EXPECT_EQ(pixel, c.pixel);
    }
}

TEST_F(VideoFrameFactory, PlacementLetsReadsGoStraightIn) {
    for (const int alignment : {0, 16, 512}) {
        for (const int blockSize : {0, 512, 4096}) {
            for (const int prefix : {-3, 0, 11}) {
                SCOPED_TRACE(testing::Message() << alignment << " " << blockSize << " " << prefix);
                FrameRef frame;
                ASSERT_EQ(VF::CreateDiskAlignedVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 31, 17, {1, 1}, alignment,
                                                          blockSize, prefix, false, false),
                          0);
                const auto read = reinterpret_cast<std::uintptr_t>(Pixels(frame)) - (prefix > 0 ? 11U : 0U);
                const int effective = alignment ? alignment : std::max(blockSize, 1);
                EXPECT_EQ(read % static_cast<std::uintptr_t>(effective), 0U);
                std::memset(Pixels(frame), 0x42, 31 * 17 * 4); // for the sanitizer
            }
        }
    }
}

TEST_F(VideoFrameFactory, SizingAndPlacementRules) {
    const auto size = [](int width, int height, int alignment, int blockSize, int prefix) {
        std::uint64_t result = 0;
        EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(kPixelFormat_BGRA_4444_8u, width, height, alignment,
                                                               blockSize, prefix, result),
                  0);
        return result;
    };
    EXPECT_EQ(size(500, 500, 0, 0, 0), 1000128U);
    EXPECT_EQ(size(500, 500, 0, 4096, 0), 1007615U);
    EXPECT_EQ(size(500, 500, 64, 0, 0), 1000191U);
    EXPECT_EQ(size(500, 500, -64, -4096, -7), 1000128U);
    EXPECT_EQ(size(1000, 1, -1, 4096, 0), 8192U) << "a negative alignment is chosen over the block size";
    EXPECT_EQ(size(500, 500, 0, 0, 100), 1000228U);
    EXPECT_EQ(size(-1, 500, 0, 0, 0), 128U);

    const auto offset = [](std::uintptr_t start, int alignment, int blockSize, int prefix) {
        return VF::DeterminePixelOffsetForVideoFrame(reinterpret_cast<const void*>(start), alignment, blockSize,
                                                     prefix);
    };
    EXPECT_EQ(offset(0x10000, 64, 0, 0), 0);
    EXPECT_EQ(offset(0x10000, 0, 4096, 9), 4096 - 128 + 9);
    EXPECT_EQ(offset(0x10000, -1, 4096, 0), 0);
    EXPECT_EQ(offset(0x1000F, 16, 0, -5), 1);
    EXPECT_EQ(offset(0x10000 - 128, 4096, 0, 33), 33) << "already aligned past the header";
}

TEST_F(VideoFrameFactory, CustomFramesHoldWhatTheCallerSays) {
    const PixelFormat custom{zynmediatypes::FourCharacterCode("_own"), 0xFFFFFFFFU};
    FrameRef frame;
    for (const std::int32_t size : {1000, 0}) {
        ASSERT_EQ(VF::CreateCustomVideoFrame(frame, custom, 7, 9, size, {1, 1}), 0);
        ASSERT_TRUE(frame);
        EXPECT_EQ(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize(), static_cast<unsigned>(size));
        EXPECT_FALSE(BRT::QueryInterface<RK::IVideoFrameClearable>(frame));
        EXPECT_FALSE(BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame));
    }
    for (const std::int32_t size : {-1, -128, -1000, 0x7FFFFFFF}) {
        EXPECT_EQ(VF::CreateCustomVideoFrame(frame, custom, 7, 9, size, {1, 1}), 0);
        EXPECT_FALSE(frame) << size;
    }
    EXPECT_THROW(VF::MakeWriteableVideoFrame(nullptr, zynmediatypes::kRenderQuality_High), BRT::NullInterfaceException);
    // A writable copy of a read-only custom frame is one run of bytes.
    ASSERT_EQ(VF::CreateCustomVideoFrame(frame, custom, 7, 9, 1000, {1, 1}), 0);
    for (int i = 0; i < 1000; ++i) {
        Pixels(frame)[i] = static_cast<std::uint8_t>(i * 7);
    }
    frame->SetReadOnly(true);
    FrameRef copy = VF::MakeWriteableVideoFrame(frame, zynmediatypes::kRenderQuality_High);
    ASSERT_TRUE(copy);
    EXPECT_EQ(std::memcmp(Pixels(copy), Pixels(frame), 1000), 0);
    // A standard format with too small a block: pixel operations refuse it.
    ASSERT_EQ(VF::CreateCustomVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 100, 100, 10, {1, 1}), 0);
    EXPECT_EQ(BRT::QueryInterface<RK::IVideoFrameClearable>(frame)->FillWithOpaqueWhite(), -1);
}

TEST_F(VideoFrameFactory, ZeroAndHugeSizes) {
    ContractLog log;
    FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    EXPECT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 0, 0, {1, 1}, true, false), 0);
    ASSERT_TRUE(frame) << "creation goes on with the zero value";
    EXPECT_EQ(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize(), 0U);
    EXPECT_EQ(VF::CreateCustomVideoFrame(frame, {zynmediatypes::FourCharacterCode("@own"), 0}, 0, 0, 5, {1, 1}), 0);
    EXPECT_EQ(log.Take(), (std::vector<std::string>{"inWidth != 0 @ Src/VideoFrameFactory:79",
                                                    "inHeight != 0 @ Src/VideoFrameFactory:80",
                                                    "inWidth != 0 @ Src/VideoFrameFactory:148",
                                                    "inHeight != 0 @ Src/VideoFrameFactory:149"}));
    for (const bool publishable : {false, true}) {
        VF::SetCreatePublishableVideoFrames(publishable);
        for (const std::uint32_t side : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            for (const PixelFormat& format : {kPixelFormat_BGRA_4444_8u, zynmediatypes::kPixelFormat_V210_422_10u,
                                              zynmediatypes::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601}) {
                const std::int32_t result = VF::CreateVideoFrame(frame, format, side, side, {1, 1}, true, false);
                EXPECT_TRUE(result == 0 || result == VF::kResult_MemoryExhausted);
                EXPECT_FALSE(frame) << format.name << " " << side;
            }
        }
    }
}

} // namespace
