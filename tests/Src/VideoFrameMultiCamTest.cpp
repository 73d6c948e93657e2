// The multi-camera monitor: every pixel of it against a plain account of the layout.

#include "VideoFrameMultiCam.h"

#include "ContractLog.h"
#include "TestFrames.h"
#include "VectorFrame.h"

#include "PixelFormatUtilities.h"
#include "SharedVideoFrameCache.h"
#include "VideoFrameManipulators.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace vftest {
namespace {

using VF::MultiCamRenderParams;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

constexpr std::uint32_t kBlack = 0xFF000000U;
constexpr std::uint32_t kRed = 0xFFFF0000U;
constexpr std::uint32_t kYellow = 0xFFFFFF00U;

class MultiCamTest : public LibraryTest {};

MultiCamRenderParams Params(std::uint32_t width, std::uint32_t height, PixelFormat format = kPixelFormat_BGRA_4444_8u,
                            double scale = 1) {
    MultiCamRenderParams params;
    params.width = width;
    params.height = height;
    params.pixelAspectRatio = {1, 1};
    params.pixelFormat = format;
    params.scaleX = params.scaleY = scale;
    return params;
}

FrameRef Camera(std::uint32_t width, std::uint32_t height, std::uint32_t number) {
    FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, width, height);
    PaintCoordinates(frame);
    for (int y = 0; y < frame->GetBounds().bottom; ++y) {
        for (int x = 0; x < frame->GetBounds().right; ++x) {
            PixelAt(frame, x, y) ^= (number + 1) << 8;
        }
    }
    return frame;
}

FrameRef Converted(const FrameRef& picture, PixelFormat format) {
    FrameRef frame = MakeFrame(format, static_cast<std::uint32_t>(picture->GetBounds().right),
                               static_cast<std::uint32_t>(picture->GetBounds().bottom));
    EXPECT_EQ(VF::VideoFrameManipulators::CopyFrame(picture, frame, zynmediatypes::kRenderQuality_High), 0);
    return frame;
}

std::vector<std::uint8_t> BytesOf(const FrameRef& frame) {
    const auto size = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize();
    return {Pixels(frame), Pixels(frame) + size};
}

} // namespace

TEST_F(MultiCamTest, DerivedParametersFollowTheLayout) {
    MultiCamRenderParams monitor = Params(1921, 1081);
    monitor.secondModeWord = 7;
    monitor.pixelAspectRatio = {10, 11};
    const struct {
        MultiCamRenderParams got;
        std::uint32_t width, height;
        double scale;
        std::int32_t unscaledWidth, unscaledHeight;
    } cases[] = {
        {VF::UnSelectedRenderParams(monitor, true), 480, 540, 0.5, 960, 1080},
        {VF::SelectedRenderParams(monitor, true), 960, 1081, 1, 960, 1081},
        {VF::UnSelectedRenderParams(Params(11, 11, monitor.pixelFormat, 2 * 11 / 15.0), false), 5, 5, 11 / 15.0, 6, 6},
        {VF::SelectedRenderParams(Params(8, 8, monitor.pixelFormat, 0), true), 4, 8, 0, 0, 0},
        {VF::SelectedRenderParams(Params(8, 8, monitor.pixelFormat, NAN), true), 4, 8, NAN, 0, 0},
    };
    for (const auto& [got, width, height, scale, unscaledWidth, unscaledHeight] : cases) {
        SCOPED_TRACE(&got - &cases[0].got);
        EXPECT_EQ(got.width, width);
        EXPECT_EQ(got.height, height);
        EXPECT_TRUE(got.scaleX == scale || std::isnan(scale));
        EXPECT_EQ(got.unscaledWidth, unscaledWidth);
        EXPECT_EQ(got.unscaledHeight, unscaledHeight);
        EXPECT_EQ(got.unscaledPixelAspectRatio, got.pixelAspectRatio);
        EXPECT_EQ(got.firstModeWord * 100 + got.secondModeWord * 10 + got.thirdModeWord, 101U);
    }
}

TEST_F(MultiCamTest, NativeCamerasAreCopiedIntoTheirCells) {
    constexpr std::uint32_t kWidth = 96, kHeight = 48;
    for (const bool large : {false, true}) {
        for (const std::uint64_t selected : {0ULL, 1ULL, 3ULL, 4ULL, (1ULL << 32) + 1}) {
            const double scale = selected == 3 ? 0.5 : 1.0;
            const bool red = selected % 2 != 0;
            const MultiCamRenderParams params = Params(kWidth, kHeight, kPixelFormat_BGRA_4444_8u, scale);
            const MultiCamRenderParams cell = VF::UnSelectedRenderParams(params, large);
            std::vector<FrameRef> cameras;
            for (std::uint32_t i = 0; i < 5; ++i) {
                cameras.push_back(Camera(cell.width, cell.height, i));
            }
            cameras[2].Reset();
            const FrameRef native = large && selected < 4 ? Camera(kWidth / 2, kHeight, 9) : FrameRef();
            if (native) {
                cameras[selected] = native; // fills the large half, and is scaled into its cell
            }
            const FrameRef serial = VF::RenderMulticam(cameras, selected, large, red, params, false);
            ASSERT_EQ(BytesOf(serial), BytesOf(VF::RenderMulticam(cameras, selected, large, red, params, true)));
            const auto cellWidth = static_cast<int>(cell.width), cellHeight = static_cast<int>(cell.height);
            const int line = scale == 1 ? 4 : 2;
            for (int y = 0; y < static_cast<int>(kHeight); ++y) {
                for (int x = 0; x < static_cast<int>(kWidth); ++x) {
                    const auto camera = static_cast<std::size_t>(y / cellHeight * 2 + x / cellWidth);
                    const int left = x % cellWidth, top = y % cellHeight;
                    const bool inBorder = std::min({left, top, cellWidth - 1 - left, cellHeight - 1 - top}) < line;
                    std::uint32_t wanted = kBlack;
                    if (large && x >= 48) {
                        if (!native) {
                            continue; // nobody draws there
                        }
                        wanted = PixelAt(native, x - 48, y);
                    } else if (camera == selected && inBorder) {
                        wanted = red ? kRed : kYellow;
                    } else if (camera == selected && native) {
                        continue;
                    } else if (cameras[camera]) {
                        wanted = PixelAt(cameras[camera], left, top);
                    }
                    ASSERT_EQ(PixelAt(serial, x, y), wanted) << large << selected << " at " << x << ", " << y;
                }
            }
        }
    }
}

TEST_F(MultiCamTest, CamerasKeepTheirShapeAndStandUpright) {
    // The upper half of each camera is red. A 4:3 picture of any layout in a cell of 64x36 is 48 wide.
    const FrameRef picture = MakeFrame(kPixelFormat_BGRA_4444_8u, 160, 120);
    for (int y = 0; y < 120; ++y) {
        std::fill_n(&PixelAt(picture, 0, y), 160, y < 60 ? kRed : 0xFFFFFFFFU);
    }
    const FrameRef wide = MakeFrame(kPixelFormat_BGRA_4444_8u, 200, 20);
    for (const PixelFormat format : {kPixelFormat_BGRA_4444_8u, zynmediatypes::kPixelFormat_UYVY_422_8u,
                                     zynmediatypes::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601}) {
        const FrameRef out =
            VF::RenderMulticam({Converted(picture, format), wide}, 9, false, false, Params(128, 72), true);
        for (int y = 1; y < 35; ++y) {
            const std::uint32_t inside = PixelAt(out, 32, y);
            EXPECT_NEAR(static_cast<double>(inside & 0xFF), y < 18 ? 0 : 255, y == 17 || y == 18 ? 255 : 3) << y;
            EXPECT_EQ(PixelAt(out, 7, y), kBlack) << y;
            EXPECT_NE(PixelAt(out, 8, y), kBlack) << y;
            EXPECT_NE(PixelAt(out, 55, y), kBlack) << y;
            EXPECT_EQ(PixelAt(out, 56, y), kBlack) << y;
        }
        EXPECT_EQ(PixelAt(out, 64, 0), kBlack);
    }
}

TEST_F(MultiCamTest, EveryTargetIsDrawnInsideItselfAndAlikeInParallel) {
    const FrameRef cameras[] = {Camera(31, 17, 0), Camera(8, 40, 1), Camera(1, 1, 2), Camera(19, 11, 3)};
    int drawn = 0;
    for (const auto& row : zynmediatypes::kPixelFormatTable) {
        const PixelFormat format = row.format;
        if (VF::BEToPBPixelFormat(format) == 0 || VF::IsCustomBEPixelFormat(format)) {
            continue;
        }
        for (const auto& [width, height] : {std::pair{37U, 23U}, {38U, 22U}, {6U, 1U}, {1U, 2U}, {3U, 3U}}) {
            for (const double scale : {0.3, 1.0, 2.6, 1e300, -3.0}) {
                const MultiCamRenderParams params = Params(width, height, format, scale);
                const std::vector<FrameRef> list(std::begin(cameras), std::end(cameras));
                const bool large = scale == 1.0;
                const FrameRef serial = VF::RenderMulticam(list, 3, large, true, params, false);
                const FrameRef parallel = VF::RenderMulticam(list, 3, large, true, params, true);
                ASSERT_TRUE(serial && parallel) << row.constant;
                const auto rows = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(serial);
                // What no cell covers is whatever was in memory, so only whole cells are compared.
                if (rows && rows->GetPixelSize() != 0 && height % 2 == 0 && width % 4 == 2 && !large) {
                    EXPECT_EQ(BytesOf(serial), BytesOf(parallel)) << row.constant << " scale " << scale;
                    ++drawn;
                }
            }
        }
    }
    EXPECT_GT(drawn, 100);
}

TEST_F(MultiCamTest, ACameraThatCannotBeShownIsBlackOrThrowsAfterTheOthersAreDrawn) {
    VectorFrame unknown({zynmediatypes::FourCharacterCode("????"), 0}, 32, 16, 32 * 16 * 4);
    VectorFrame device(kPixelFormat_BGRA_4444_8u, 32, 16);
    device.memory = device.rows = false;
    const FrameRef good = Camera(32, 16, 0);
    const MultiCamRenderParams params = Params(64, 32);
    const FrameRef out = VF::RenderMulticam({unknown.Ref(), good}, 9, false, false, params, true);
    EXPECT_EQ(PixelAt(out, 5, 5), kBlack);
    EXPECT_EQ(PixelAt(out, 37, 5), PixelAt(good, 5, 5));
    for (const bool parallel : {false, true}) {
        EXPECT_THROW(VF::RenderMulticam({device.Ref(), good}, 9, false, false, params, parallel),
                     BRT::NullInterfaceException);
    }
    EXPECT_EQ(device.References(), 0U);
    EXPECT_FALSE(VF::RenderMulticam({good}, 0, false, false, Params(0x80000000U, 32), false));
}

TEST_F(MultiCamTest, TheSingleCameraMonitorFallsBackToABlankFrame) {
    const MultiCamRenderParams params = Params(64, 32);
    const FrameRef camera = Camera(32, 32, 0);
    const zyncore::utility::Guid none, id{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    for (const bool parallel : {false, true}) {
        const FrameRef twice = VF::RenderNonMulticam({camera}, true, params, id, parallel);
        EXPECT_EQ(PixelAt(twice, 3, 4), PixelAt(camera, 3, 4));
        EXPECT_EQ(PixelAt(twice, 35, 4), PixelAt(camera, 3, 4));
        const FrameRef once = VF::RenderNonMulticam({camera}, false, params, none, parallel);
        EXPECT_EQ(PixelAt(once, 15, 9), kBlack);
        EXPECT_EQ(PixelAt(once, 16, 9), PixelAt(camera, 0, 9));
    }
    const FrameRef blank = VF::RenderNonMulticam({}, false, params, id, false);
    EXPECT_TRUE(blank->GetReadOnly());
    EXPECT_EQ(PixelAt(blank, 63, 31), 0U) << "transparent";
    EXPECT_EQ(VF::RenderNonMulticam({FrameRef()}, false, params, id, false), blank);
    const FrameRef other = VF::RenderNonMulticam({}, false, params, none, false);
    EXPECT_NE(other, blank);
    EXPECT_NE(VF::RenderNonMulticam({}, false, params, none, false), other);
    EXPECT_FALSE(VF::RenderNonMulticam({}, false, Params(0x80000000U, 1), none, false));
    VF::SharedVideoFrameCache::ExpireAllFramesFromCache();
}

} // namespace vftest
