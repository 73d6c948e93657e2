#pragma once

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameUtilities.h"
#include "sharehub.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace vftest {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using Rect = BRT::ParamRect<BRT::CRect>;
using zynmediatypes::PixelFormat;

/// The library started over a broker directory of its own, which must be empty again at the end.
class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (std::filesystem::temp_directory_path() / "vf-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        mDirectory = name;
        setenv("VF_SHAREHUB_DIR", (mDirectory / "hub").c_str(), 1);
        VF::Initialize();
    }
    void TearDown() override {
        VF::SetCreatePublishableVideoFrames(false);
        VF::SetCreatePublishableCustomVideoFrames(false);
        VF::Shutdown();
        std::error_code error;
        if (std::filesystem::exists(mDirectory / "hub", error)) {
            EXPECT_TRUE(std::filesystem::is_empty(mDirectory / "hub")) << "blocks or names were left behind";
        }
        std::filesystem::remove_all(mDirectory, error);
    }
    std::filesystem::path mDirectory;
};

inline FrameRef MakeFrame(PixelFormat format, std::uint32_t width, std::uint32_t height, bool clear = true) {
    FrameRef frame;
    EXPECT_EQ(VF::CreateVideoFrame(frame, format, width, height, {1, 1}, clear, false), 0);
    return frame;
}

inline FrameRef MakePublishableFrame(PixelFormat format, std::uint32_t width, std::uint32_t height) {
    VF::SetCreatePublishableVideoFrames(true);
    FrameRef frame = MakeFrame(format, width, height);
    VF::SetCreatePublishableVideoFrames(false);
    return frame;
}

inline std::uint8_t* Pixels(const FrameRef& frame) {
    return static_cast<std::uint8_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData());
}

inline std::int32_t RowBytes(const FrameRef& frame) {
    return BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame)->GetRowBytes();
}

/// The 32-bit pixel at a place of the picture (row 0 at the top) of an 8-bit 4:4:4:4 frame.
inline std::uint32_t& PixelAt(const FrameRef& frame, int x, int y) {
    const int memoryRow = frame->GetBounds().bottom - 1 - y;
    return reinterpret_cast<std::uint32_t*>(Pixels(frame) +
                                            static_cast<std::ptrdiff_t>(memoryRow) * RowBytes(frame))[x];
}

/// Gives every pixel of an 8-bit 4:4:4:4 frame a value of its own place in the picture, opaque.
inline void PaintCoordinates(const FrameRef& frame) {
    const Rect bounds = frame->GetBounds();
    for (int y = 0; y < bounds.bottom; ++y) {
        for (int x = 0; x < bounds.right; ++x) {
            PixelAt(frame, x, y) = 0xFF000000U | static_cast<std::uint32_t>(y << 12) | static_cast<std::uint32_t>(x);
        }
    }
}

} // namespace vftest
