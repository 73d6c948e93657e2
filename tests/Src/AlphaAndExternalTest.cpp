#include "Components.h"
#include "ContractLog.h"
#include "VectorFrame.h"
#include "VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

namespace {

using namespace vftest;
using namespace VF::VideoFrameManipulators;
using namespace zynmediatypes;

class AlphaOperations : public LibraryTest {};

TEST_F(AlphaOperations, RewriteAlphaAlone) {
    for (const PixelFormat& format : PixelFormats()) {
        SCOPED_TRACE(format.name);
        const bool has = AlphaOf(format) != kAlphaType_None;
        const bool first = ((format.properties >> 5) & 3) == 1; // the order of the components
        const double full = PrecisionOf(format) == Precision::Float32   ? 1
                            : PrecisionOf(format) == Precision::Words16 ? 32768
                                                                        : 255;
        for (const bool invert : {true, false}) {
            const FrameRef frame = MakeNoise(format, 37, 5);
            frame->SetAlphaBounds({1, 2, 3, 4});
            auto expected = AllComponents(frame);
            for (auto& row : expected) {
                for (std::size_t i = first ? 0 : 3; has && i < row.size(); i += 4) {
                    row[i] = invert ? static_cast<double>(static_cast<float>(full - row[i])) : full;
                }
            }
            invert ? InvertAlpha(frame) : OpaqueAlpha(frame);
            EXPECT_EQ(AllComponents(frame), expected) << (invert ? "invert" : "opaque");
            Rect bounds;
            EXPECT_TRUE(frame->GetAlphaBounds(bounds));
            EXPECT_EQ(bounds, (Rect{1, 2, 3, 4}));
        }
    }
    // A frame whose alpha means nothing, and one without rows.
    const FrameRef meaningless = MakeNoise(kPixelFormat_BGRA_4444_8u, 4, 4);
    const FrameRef planar = MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 4, 4);
    meaningless->SetAlphaType(kAlphaType_None);
    const auto before = AllComponents(meaningless);
    for (const FrameRef& frame : {meaningless, planar}) {
        InvertAlpha(frame);
        OpaqueAlpha(frame);
    }
    EXPECT_EQ(AllComponents(meaningless), before);
}

constexpr PixelFormat kScanned[] = {
    kPixelFormat_BGRA_4444_8u,  kPixelFormat_VUYA_4444_8u,      kPixelFormat_VUYA_4444_8u_709,
    kPixelFormat_BGRA_4444_16u, kPixelFormat_VUYA_4444_16u,     kPixelFormat_BGRA_4444_32f,
    kPixelFormat_VUYA_4444_32f, kPixelFormat_VUYA_4444_32f_709,
};

// Against the definition: colours are noise, alpha is 0 but at a few places, around the steps that the scan takes.
TEST_F(AlphaOperations, BoundsHoldEveryVisiblePixel) {
    std::mt19937 random(7);
    for (const PixelFormat& format : kScanned) {
        SCOPED_TRACE(format.name);
        for (const std::uint32_t width : {1U, 15U, 16U, 17U, 63U, 64U, 129U, 200U}) {
            constexpr int kHeight = 6;
            const FrameRef frame = MakeNoise(format, width, kHeight);
            const auto pixelSize = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame)->GetPixelSize();
            const auto alpha = [&](int x, int y) { return RowAt(frame, y) + (4 * x + 3) * (pixelSize / 4); };
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < static_cast<int>(width); ++x) {
                    std::memset(alpha(x, y), 0, pixelSize / 4);
                }
            }
            const auto calculated = [&] {
                Rect bounds{9, 9, 9, 9};
                CalculateAlphaBounds(frame, bounds);
                return bounds;
            };
            EXPECT_EQ(calculated(), (Rect{0, 0, 0, 0})) << width;
            Rect expected{static_cast<int>(width), kHeight, 0, 0};
            for (int placed = 0; placed < 4; ++placed) {
                const int x = static_cast<int>(random() % width);
                const int y = static_cast<int>(random() % kHeight);
                // The lowest or the highest bit alone must be seen; of a float, a value of any sign and NaN.
                const float values[] = {-0.5F, std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::denorm_min()};
                if (pixelSize == 16) {
                    std::memcpy(alpha(x, y), &values[placed % 3], 4);
                } else {
                    alpha(x, y)[placed % static_cast<int>(pixelSize / 4)] = placed % 2 == 0 ? 1 : 0x80;
                }
                expected = {std::min(expected.left, x), std::min(expected.top, y), std::max(expected.right, x + 1),
                            std::max(expected.bottom, y + 1)};
                EXPECT_EQ(calculated(), expected) << width << ": " << x << "," << y;
            }
        }
    }
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_32f, 2, 2);
    BRT::QueryInterface<RK::IVideoFrameClearable>(frame)->FillWithTransparentWhite();
    const float negativeZero = -0.0F;
    std::memcpy(RowAt(frame, 0) + 12, &negativeZero, 4);
    Rect bounds;
    CalculateAlphaBounds(frame, bounds);
    EXPECT_EQ(bounds, (Rect{0, 0, 0, 0})) << "zero has no sign";
}

TEST_F(AlphaOperations, OtherFramesGiveTheirBounds) {
    FrameRef small;
    VF::CreateCustomVideoFrame(small, kPixelFormat_BGRA_4444_16u, 64, 64, 16, {1, 1}); // fewer pixels than it says
    for (const FrameRef& frame :
         {MakeFrame(kPixelFormat_ARGB_4444_8u, 64, 64), MakeFrame(kPixelFormat_V210_422_10u, 64, 64),
          MakeFrame(kPixelFormat_BGRP_4444_8u, 64, 64), small}) {
        Rect bounds;
        CalculateAlphaBounds(frame, bounds);
        EXPECT_EQ(bounds, (Rect{0, 0, 64, 64})) << frame->GetPixelType().name;
    }
}

class ExternalBuffers : public LibraryTest {};

TEST_F(ExternalBuffers, KeepTheOrderOfRowsInMemory) {
    for (const PixelFormat& format : {kPixelFormat_BGRA_4444_8u, kPixelFormat_ARGB_4444_15u, kPixelFormat_VUYA_4444_32f,
                                      kPixelFormat_YUYV_422_8u, kPixelFormat_V210_422_10u}) {
        for (const bool upwards : {false, true}) {
            SCOPED_TRACE(testing::Message() << format.name << (upwards ? " at decreasing addresses" : ""));
            const FrameRef frame = MakeNoise(format, 48, 5);
            const std::int32_t used = RowBytes(frame);
            const int stride = upwards ? -(used + 64) : used + 64;
            std::vector<std::uint8_t> block(static_cast<std::size_t>(5 * (used + 64)), 0x5A);
            std::uint8_t* const start = block.data() + (upwards ? 4 * (used + 64) : 0);
            StoreExternal(frame, start, stride);
            const FrameRef loaded = MakeFrame(format, 48, 5);
            LoadExternal(loaded, start, stride);
            for (std::ptrdiff_t row = 0; row < 5; ++row) {
                const std::uint8_t* const stored = start + row * stride;
                EXPECT_EQ(std::memcmp(stored, Pixels(frame) + row * used, static_cast<std::size_t>(used)), 0);
                EXPECT_EQ(std::memcmp(Pixels(loaded) + row * used, stored, static_cast<std::size_t>(used)), 0);
                EXPECT_TRUE(std::all_of(stored + used, stored + used + 64, [](int b) { return b == 0x5A; }));
            }
        }
    }
}

TEST_F(ExternalBuffers, ScaleOrLeaveAlone) {
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 72, 48);
    for (int y = 0; y < 48; ++y) {
        std::fill_n(&PixelAt(frame, 0, y), 72, y < 24 ? 0xFFFFFFFFU : 0xFF000000U);
    }
    std::vector<std::uint32_t> block(36 * 24, 0x5A5A5A5A);
    const auto untouched = block;
    for (const auto& [width, height, rowBytes] :
         {std::array{0, 24, 144}, {-36, 24, 144}, {36, 0, 144}, {36, -1, 144}, {36, 24, 143}, {36, 24, 0}}) {
        StoreExternal(frame, block.data(), width, height, rowBytes);
        LoadExternal(frame, block.data(), width, height, rowBytes);
    }
    StoreExternal(frame, nullptr, 36, 24, 144);
    LoadExternal(frame, nullptr, 288);
    EXPECT_EQ(block, untouched);
    EXPECT_EQ(PixelAt(frame, 71, 23), 0xFFFFFFFFU);
    StoreExternal(frame, block.data(), 36, 24, 144);
    EXPECT_EQ(block.front(), 0xFF000000U) << "the picture's bottom row comes first";
    EXPECT_EQ(block.back(), 0xFFFFFFFFU);
    std::fill_n(block.begin(), 36 * 12, 0xFF0000FFU);
    LoadExternal(frame, block.data(), 36, 24, 144);
    EXPECT_EQ(PixelAt(frame, 0, 47), 0xFF0000FFU);
    EXPECT_EQ(PixelAt(frame, 71, 0), 0xFFFFFFFFU);
}

TEST_F(ExternalBuffers, ReportsAndThenGoesOnOrThrows) {
    const FrameRef locked = MakeNoise(kPixelFormat_BGRA_4444_8u, 4, 4);
    locked->SetReadOnly(true);
    const FrameRef dv = MakeFrame(kPixelFormat_PALDV25, 720, 576, false);
    std::vector<std::uint8_t> block(64);
    ContractLog log;
    InvertAlpha(locked);
    OpaqueAlpha(locked);
    LoadExternal(locked, block.data(), 16);
    EXPECT_THROW(StoreExternal(dv, block.data(), 16), BRT::NullInterfaceException);
    EXPECT_THROW(LoadExternal(nullptr, block.data(), 4, 4, 16), BRT::NullInterfaceException);
    EXPECT_THROW(InvertAlpha(nullptr), BRT::NullInterfaceException);
    EXPECT_EQ(log.TakeConditions(),
              (std::vector<std::string>{"inDestFrame->GetReadOnly() == false", "inDestFrame->GetReadOnly() == false",
                                        "inDestVideoFrame->GetReadOnly() == false", "src2DPixelMemoryAccess != NULL",
                                        "destMemoryAccess != NULL", "dest2DPixelMemoryAccess != NULL"}));
    EXPECT_EQ(PixelAt(locked, 3, 3), 0U) << "nobody else reads the frame, so it is written";
}

} // namespace
