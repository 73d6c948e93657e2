#include "TestHelpers.h"
#include "WindowsApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

TEST(WindowsApiTest, HandlesOfAnotherKindAndHandlesNoLongerInUseAreRefused) {
    HGLOBAL const memory = GlobalAlloc(GMEM_MOVEABLE, 100);
    void* const address = GlobalLock(memory);
    HRGN const region = CreateRectRgn(0, 0, 5, 5);
    HDC const context = CreateCompatibleDC(nullptr);
    int local = 0;
    const std::array<HANDLE, 6> others{address, static_cast<char*>(address) + 1, region, context, &local, memory};
    for (HANDLE const handle : std::vector<HANDLE>(others.begin(), others.end() - 1)) {
        EXPECT_EQ(GlobalFree(handle), handle);
        EXPECT_EQ(GlobalLock(handle), nullptr);
        EXPECT_EQ(GlobalUnlock(handle), FALSE);
        EXPECT_EQ(GlobalFlags(handle), UINT{GMEM_INVALID_HANDLE});
        EXPECT_EQ(GlobalReAlloc(handle, 10, GMEM_MOVEABLE), nullptr);
    }
    EXPECT_EQ(GlobalFree(memory), nullptr);
    for (HANDLE const handle : others) {
        EXPECT_EQ(GetDeviceCaps(static_cast<HDC>(handle), PLANES), handle == context ? 1 : 0);
        EXPECT_EQ(SelectObject(context, handle) != nullptr, handle == region);
        EXPECT_EQ(GetNearestPaletteIndex(static_cast<HPALETTE>(handle), 0), CLR_INVALID);
        EXPECT_EQ(GetBitmapBits(static_cast<HBITMAP>(handle), sizeof local, &local), 0);
        EXPECT_EQ(DeleteObject(handle), handle == region ? TRUE : FALSE);
        EXPECT_EQ(GlobalHandle(handle), nullptr);
    }
    // The slots are used again, under other handles.
    HRGN const later = CreateRectRgn(0, 0, 5, 5);
    HGLOBAL const laterMemory = GlobalAlloc(GMEM_MOVEABLE, 100);
    EXPECT_EQ(PtInRegion(region, 1, 1), FALSE);
    EXPECT_EQ(GlobalSize(memory), 0U);
    EXPECT_EQ(GlobalFree(memory), memory);
    EXPECT_EQ(DeleteDC(context), TRUE);
    EXPECT_EQ(DeleteObject(later), TRUE);
    EXPECT_EQ(GlobalFree(laterMemory), nullptr);
}

TEST(WindowsApiTest, ImpossibleSizesAreRefused) {
    const POINT far[] = {{0, 0}, {INT_MAX, 3}, {INT_MIN, 9}};
    EXPECT_EQ(GlobalAlloc(GMEM_FIXED, SIZE_MAX), nullptr);
    EXPECT_EQ(CreatePolygonRgn(far, 3, ALTERNATE), nullptr);
    EXPECT_EQ(CreatePolygonRgn(far, 1, ALTERNATE), nullptr);
    EXPECT_EQ(CreatePolygonRgn(nullptr, 3, ALTERNATE), nullptr);
    EXPECT_EQ(CreateEllipticRgn(INT_MIN, INT_MIN, INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(CreateBitmap(INT_MAX, INT_MAX, 1, 32, nullptr), nullptr);
    EXPECT_EQ(CreateBitmap(INT_MIN, 1 << 10, 1, 1, nullptr), nullptr);
    EXPECT_EQ(CreateBitmap(4, 4, 1, 0xFFFFFFFF, nullptr), nullptr);
    EXPECT_EQ(CreateBitmap(4, 4, 2, 1, nullptr), nullptr);
    EXPECT_EQ(CreatePalette(nullptr), nullptr);
    EXPECT_EQ(GetStockObject(-1), nullptr);
    EXPECT_EQ(GetStockObject(INT_MAX), nullptr);

    HRGN const widest = CreateRectRgn(INT_MIN, INT_MIN, INT_MAX, INT_MAX);
    EXPECT_EQ(OffsetRgn(widest, 1, 0), ERROR);
    EXPECT_EQ(OffsetRgn(widest, 0, -1), ERROR);
    HBITMAP const bitmap = CreateBitmap(9, 2, 1, 1, nullptr);
    HDC const context = CreateCompatibleDC(nullptr);
    SelectObject(context, bitmap);
    EXPECT_EQ(FillRgn(context, widest, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH))), TRUE);
    std::array<BYTE, 4> bits{};
    EXPECT_EQ(GetBitmapBits(bitmap, INT_MAX, bits.data()), 4);
    EXPECT_EQ(bits, (std::array<BYTE, 4>{0xFF, 0x80, 0xFF, 0x80}));
    EXPECT_EQ(GetBitmapBits(bitmap, INT_MIN, bits.data()), 0);
    // The bitmap's pixels outlive its handle while it is selected.
    EXPECT_EQ(DeleteObject(bitmap), TRUE);
    EXPECT_EQ(FillRgn(context, widest, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))), TRUE);
    DeleteDC(context);
    DeleteObject(widest);
}

TEST(WindowsApiTest, NarrowEllipsesReachTheirEndsAndAreSymmetric) {
    for (int height = 3; height < 40; ++height) {
        for (int width = 3; width < 8; ++width) {
            HRGN const ellipse = CreateEllipticRgn(0, 0, width, height);
            RECT box{};
            GetRgnBox(ellipse, &box);
            EXPECT_EQ(box.right, width - 1);
            EXPECT_EQ(box.bottom, height - 1) << width;
            for (int y = 0; y < box.bottom; ++y) {
                for (int x = 0; x < box.right; ++x) {
                    const BOOL inside = PtInRegion(ellipse, x, y);
                    EXPECT_EQ(inside, PtInRegion(ellipse, x, box.bottom - 1 - y));
                    EXPECT_EQ(inside, PtInRegion(ellipse, box.right - 1 - x, y));
                }
            }
            DeleteObject(ellipse);
        }
    }
}

TEST(WindowsApiTest, TheScreenPaletteHasTheStaticColoursAtBothEnds) {
    std::array<PALETTEENTRY, 256> entries;
    std::array<PALETTEENTRY, 20> colours;
    entries.fill({1, 2, 3, 4});
    GetPaletteEntries(static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE)), 0, 20, colours.data());
    HDC const screen = GetDC(nullptr);
    EXPECT_EQ(GetSystemPaletteEntries(screen, 0, 10, entries.data()), 10U);
    EXPECT_EQ(GetSystemPaletteEntries(screen, 246, 11, &entries[246]), 10U);
    EXPECT_EQ(std::memcmp(&entries[0], &colours[0], 40), 0);
    EXPECT_EQ(std::memcmp(&entries[246], &colours[10], 40), 0);
    EXPECT_EQ(entries[10].peBlue, 3);
    EXPECT_EQ(GetSystemPaletteEntries(screen, 10, 236, &entries[10]), 236U);
    EXPECT_TRUE(std::all_of(&entries[10], &entries[246],
                            [](const PALETTEENTRY& e) { return (e.peRed | e.peGreen | e.peBlue | e.peFlags) == 0; }));
    EXPECT_EQ(ReleaseDC(nullptr, screen), 1);
    EXPECT_EQ(GetSystemPaletteEntries(screen, 0, 10, entries.data()), 0U);
}

TEST(WindowsApiTest, ThreadsMakeUseAndFreeObjectsSideBySide) {
    OnThreads(4, [](unsigned thread) {
        for (unsigned n = 0; n < 300; ++n) {
            HGLOBAL const memory = GlobalAlloc(GHND, 100 + n);
            void* const address = GlobalLock(memory);
            std::memset(address, static_cast<int>(thread), 100 + n);
            HDC const context = CreateCompatibleDC(nullptr);
            HBITMAP const bitmap = CreateBitmap(64, 4, 1, 1, nullptr);
            HGDIOBJ const before = SelectObject(context, bitmap);
            HRGN const region = CreateEllipticRgn(0, 0, 30, 30);
            EXPECT_EQ(FillRgn(context, region, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH))), TRUE);
            EXPECT_EQ(SelectObject(context, before), bitmap);
            EXPECT_EQ(DeleteObject(region) & DeleteObject(bitmap) & DeleteDC(context), TRUE);
            EXPECT_EQ(GlobalHandle(address), memory);
            EXPECT_EQ(static_cast<char*>(address)[99 + n], static_cast<char>(thread));
            EXPECT_EQ(GlobalFree(memory), nullptr);
        }
    });
}

} // namespace
