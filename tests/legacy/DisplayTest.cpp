#include "Display.h"

#include "TPixHandleUtilities.h"
#include "TestFrames.h"
#include "VirtualDisplay.h"
#include "WindowsApi.h"

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using namespace vftest;
using Pixels = std::vector<std::uint32_t>;

class DisplayTest : public LibraryTest {
protected:
    /// What a picture looks like in a memory context of this size.
    static Pixels Shown(TPixHand hand, int width, int height, const RECT& to, const RECT& from) {
        const HDC context = CreateCompatibleDC(nullptr);
        const HBITMAP bitmap = CreateBitmap(width, height, 1, 32, nullptr);
        SelectObject(context, bitmap);
        EXPECT_EQ(tpixToScreen(hand, context, &to, &from), 0);
        Pixels pixels(static_cast<std::size_t>(width * height));
        GetBitmapBits(bitmap, static_cast<LONG>(pixels.size() * 4), pixels.data());
        DeleteDC(context);
        DeleteObject(bitmap);
        return pixels;
    }

    static TPixHand Striped(int width, int height) { // line y from the top holds y
        const RECT bounds{0, 0, width, height};
        const TPixHand hand = tpixNew(&bounds);
        for (int y = 0; y < height; ++y) {
            std::uint8_t* const row = tpixTopLine((*hand)->pixels, (*hand)->rowbytes, height) - y * (*hand)->rowbytes;
            std::fill_n(reinterpret_cast<std::uint32_t*>(row), width, static_cast<std::uint32_t>(y));
        }
        return hand;
    }
};

TEST_F(DisplayTest, PicturesAndFieldsAreShownWithTheirTopLineFirst) {
    const TPixHand hand = Striped(4, 8);
    const RECT all{0, 0, 4, 8};
    EXPECT_EQ(tpixToScreen(hand, nullptr, &all, &all), 1);
    const Pixels whole = Shown(hand, 4, 8, all, all);
    const RECT part{1, 2, 4, 5};
    const Pixels cut = Shown(hand, 3, 3, {0, 0, 3, 3}, part);
    for (std::uint32_t y = 0; y < 8; ++y) {
        EXPECT_EQ(whole[y * 4], y);
        EXPECT_TRUE(y >= 3 || cut[y * 3 + 2] == y + 2);
    }
    TPixFieldsPrep(hand, 0);
    TPixFields_PointAtField(hand, 0); // begins with the bottom line; the lines 1, 3, 5 and 7
    (*hand)->bounds.bottom = 4;
    const Pixels bothFields = Shown(hand, 8, 4, {0, 0, 8, 4}, {0, 0, 8, 4});
    for (std::uint32_t y = 0; y < 4; ++y) {
        EXPECT_EQ(bothFields[y * 8], 2 * y + 1);
        EXPECT_EQ(bothFields[y * 8 + 4], 2 * y);
    }
    (*hand)->bounds.bottom = 8; // of rows that reach beyond the frame those outside are not read
    const Pixels beyond = Shown(hand, 4, 8, {0, 0, 4, 8}, {0, 0, 4, 8});
    EXPECT_EQ(beyond, Pixels(32));
    TPixFieldsCleanup(hand);
    tpixDispose(hand);
}

TEST_F(DisplayTest, LargePicturesAreScaledByTheCopy) {
    for (const int width : {801, 800}) {
        const TPixHand hand = Striped(width, 40);
        const RECT from{0, 0, width, 40};
        const RECT to{0, 0, 100, 40};
        for (const bool opaque : {true, false}) {
            tpixFillAlpha(hand, opaque ? 255 : 0);
            const Pixels shown = Shown(hand, 100, 40, to, from);
            // The copy weighs colours with alpha, the screen does not look at it: so much tells them apart.
            const std::uint32_t seen = opaque || width == 800 ? 1 : 0;
            for (std::uint32_t y = 0; y < 40; ++y) {
                ASSERT_EQ(shown[y * 100 + 50] & 0xFFFFFF, seen * y) << "width " << width;
            }
        }
        tpixDispose(hand);
    }
}

TEST_F(DisplayTest, WindowsAndServersMayEndWhilePicturesAreShown) {
    const TPixHand hand = Striped(801, 40); // scaled by the copy
    const RECT from{0, 0, 801, 40};
    const RECT to{0, 0, 64, 40};
    for (const bool serverEnds : {false, true}) {
        VirtualDisplay display("320x240x24");
        const HWND window =
            CreateWindowExA(0, "STATIC", "", WS_VISIBLE, 0, 0, 64, 40, nullptr, nullptr, nullptr, nullptr);
        const HDC context = GetDC(window);
        std::atomic<int> drawn = 0;
        {
            const std::jthread drawer([&](const std::stop_token& stop) {
                for (; !stop.stop_requested(); ++drawn) {
                    EXPECT_EQ(tpixToScreen(hand, context, &to, &from), 0);
                }
            });
            const auto untilDrawn = [&](int more) {
                for (const int last = drawn + more; drawn < last;) {
                    std::this_thread::yield();
                }
            };
            untilDrawn(20);
            serverEnds ? display.Kill() : static_cast<void>(DestroyWindow(window));
            untilDrawn(20);
        }
        EXPECT_EQ(IsWindow(window), FALSE);
        ReleaseDC(window, context);
        DestroyWindow(window);
    }
    tpixDispose(hand);
}

} // namespace
