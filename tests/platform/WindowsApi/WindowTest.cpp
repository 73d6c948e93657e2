#include "ScreenPixels.h"
#include "VirtualDisplay.h"
#include "WindowsApi.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using vftest::Pixels;
using vftest::Screen;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

/// A picture whose pixels all differ, bottom row first.
Pixels Picture(int width, int height) {
    Pixels pixels;
    for (int y = height - 1; y >= 0; --y) {
        for (int x = 0; x < width; ++x) {
            pixels.push_back(0xAA000000U | static_cast<std::uint32_t>(x * 3 << 16 | y * 4 << 8 | (x ^ y)));
        }
    }
    return pixels;
}

BITMAPINFOHEADER HeaderOf(int width, int height) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 32;
    return header;
}

struct Rectangle {
    int x, y, width, height;
};

bool Draw(HDC context, const Rectangle& to, const Pixels& picture, int width, int height, const Rectangle& from) {
    BITMAPINFOHEADER header = HeaderOf(width, height);
    const HDRAWDIB drawDib = DrawDibOpen();
    const BOOL drawn =
        DrawDibDraw(drawDib, context, to.x, to.y, to.width, to.height, &header,
                    const_cast<std::uint32_t*>(picture.data()), from.x, from.y, from.width, from.height, 0);
    EXPECT_EQ(DrawDibClose(drawDib), TRUE);
    return drawn == TRUE;
}

class Shown {
public:
    Shown(int width, int height)
        : window(CreateWindowExA(0, "STATIC", "pictures", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, width, height,
                                 nullptr, nullptr, nullptr, nullptr)),
          context(GetDC(window)) {}
    ~Shown() {
        ReleaseDC(window, context);
        DestroyWindow(window);
    }
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;

    const HWND window;
    const HDC context;
};

/// The same into a memory context of a window's size.
Pixels DrawnInMemory(const Rectangle& to, const Pixels& picture, const Rectangle& from, bool expected) {
    const HDC context = CreateCompatibleDC(nullptr);
    const HBITMAP bitmap = CreateBitmap(kWidth, kHeight, 1, 32, nullptr);
    SelectObject(context, bitmap);
    EXPECT_EQ(Draw(context, to, picture, kWidth, kHeight, from), expected);
    Pixels pixels(kWidth * kHeight);
    GetBitmapBits(bitmap, static_cast<LONG>(pixels.size() * 4), pixels.data());
    DeleteDC(context);
    DeleteObject(bitmap);
    for (std::uint32_t& pixel : pixels) {
        pixel &= 0xFFFFFF;
    }
    return pixels;
}

class WindowTest : public ::testing::TestWithParam<bool> {};

TEST_P(WindowTest, PicturesLandWhereTheyShallAndNowhereElse) {
    const vftest::VirtualDisplay display("320x240x24", GetParam());
    const Pixels picture = Picture(kWidth, kHeight);
    const auto at = [&](int x, int y) {
        return picture[static_cast<std::size_t>((kHeight - 1 - y) * kWidth + x)] & 0xFFFFFF;
    };
    const Rectangle all{0, 0, kWidth, kHeight};
    for (const Rectangle& to : {all, Rectangle{-5, -7, kWidth, kHeight}, Rectangle{9, 3, kWidth, kHeight}}) {
        const Shown shown(kWidth, kHeight);
        ASSERT_TRUE(Draw(shown.context, to, picture, kWidth, kHeight, all));
        const Pixels screen = Screen(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const bool covered = x >= to.x && y >= to.y && x < to.x + to.width && y < to.y + to.height;
                ASSERT_EQ(screen[static_cast<std::size_t>(y * kWidth + x)], covered ? at(x - to.x, y - to.y) : 0)
                    << x << ", " << y << " of a picture at " << to.x << ", " << to.y;
            }
        }
        EXPECT_EQ(screen, DrawnInMemory(to, picture, all, true));
    }
    // Parts of a stretched picture are those that the whole of it has there, but for the last digit.
    const Rectangle part{8, 4, 40, 30};
    for (const auto& [width, height] : {std::pair(60, 40), std::pair(20, 13), std::pair(50, 20), std::pair(200, 130)}) {
        const Shown shown(width, height);
        ASSERT_TRUE(Draw(shown.context, {0, 0, width, height}, picture, kWidth, kHeight, part));
        const Pixels whole = Screen(width, height);
        for (const auto& [x, y] : {std::pair(-9, -5), std::pair(7, 6)}) {
            const Pixels clipped = DrawnInMemory({x, y, width, height}, picture, part, true);
            for (int row = std::max(0, y); row < std::min(kHeight, y + height); ++row) {
                for (int column = std::max(0, x); column < std::min(kWidth, x + width); ++column) {
                    const std::uint32_t a = whole[static_cast<std::size_t>((row - y) * width + column - x)];
                    const std::uint32_t b = clipped[static_cast<std::size_t>(row * kWidth + column)];
                    for (int shift = 0; shift < 24; shift += 8) {
                        ASSERT_LE(std::abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF)),
                                  1)
                            << width << "x" << height << " at " << column << ", " << row;
                    }
                }
            }
        }
    }
    for (const Rectangle& from : {Rectangle{-1, 0, 4, 4}, Rectangle{0, 45, 4, 4}, Rectangle{61, 0, 4, 4},
                                  Rectangle{0, 0, 0, 4}, Rectangle{0, 0, 0x7FFFFFFF, 4}}) {
        EXPECT_EQ(DrawnInMemory(all, picture, from, false), Pixels(kWidth * kHeight));
    }
    EXPECT_EQ(DrawnInMemory({0x7FFFFFFF, 0, 9, 9}, picture, all, false), Pixels(kWidth * kHeight));
}

INSTANTIATE_TEST_SUITE_P(SharedMemory, WindowTest, ::testing::Bool());

TEST(WindowLifeTest, PixelsOfOtherWidthsKeepTheHighestBits) {
    // Red, green and blue in 5, 6 and 5, in 5 and in 10 bits.
    for (const auto& [depth, pixel] : {std::pair("16", 0x043FU), std::pair("15", 0x021FU), std::pair("30", 0x84BE3U)}) {
        const vftest::VirtualDisplay display(std::string("320x240x") + depth);
        const Shown shown(1, 1);
        ASSERT_TRUE(Draw(shown.context, {0, 0, 1, 1}, {0xFF0084F8}, 1, 1, {0, 0, 1, 1}));
        EXPECT_EQ(Screen(1, 1), Pixels{pixel}) << depth;
    }
    const vftest::VirtualDisplay palette("320x240x8");
    EXPECT_EQ(Shown(1, 1).window, nullptr);
}

TEST(WindowLifeTest, DrawingMayRaceTheEndOfTheWindowOrTheServer) {
    const Pixels picture = Picture(kWidth, kHeight);
    const Rectangle all{0, 0, kWidth, kHeight};
    const auto drawUntil = [&](const std::function<void(const Shown&)>& end) {
        const Shown shown(kWidth, kHeight);
        std::atomic<int> drawn = 0;
        {
            const auto drawToTheEnd = [&] {
                while (Draw(shown.context, all, picture, kWidth, kHeight, all)) {
                    ++drawn;
                }
            };
            const std::jthread one(drawToTheEnd), other(drawToTheEnd);
            while (drawn < 20) {
                std::this_thread::yield();
            }
            end(shown);
        }
        EXPECT_EQ(IsWindow(shown.window), FALSE);
    };
    for (const bool sharesMemory : {true, false}) {
        vftest::VirtualDisplay display("320x240x24", sharesMemory);
        for (int round = 0; round < 20; ++round) {
            drawUntil([](const Shown& shown) { DestroyWindow(shown.window); });
        }
        drawUntil([&](const Shown&) { display.Kill(); });
    }
}

TEST(WindowLifeTest, WhatIsGoneAnswersFailure) {
    const Pixels picture = Picture(kWidth, kHeight);
    const Rectangle all{0, 0, kWidth, kHeight};
    {
        vftest::VirtualDisplay display("320x240x24");
        const Shown destroyed(kWidth, kHeight);
        const Shown orphaned(kWidth, kHeight);
        EXPECT_EQ(IsWindow(destroyed.window), TRUE);
        DestroyWindow(destroyed.window);
        EXPECT_EQ(IsWindow(destroyed.window), FALSE);
        EXPECT_FALSE(Draw(destroyed.context, all, picture, kWidth, kHeight, all));
        EXPECT_TRUE(Draw(orphaned.context, all, picture, kWidth, kHeight, all));
        display.Kill();
        EXPECT_FALSE(Draw(orphaned.context, all, picture, kWidth, kHeight, all));
        EXPECT_EQ(IsWindow(orphaned.window), FALSE);
    }
    const Shown none(kWidth, kHeight);
    EXPECT_EQ(none.window, nullptr); // without a display
}

} // namespace
