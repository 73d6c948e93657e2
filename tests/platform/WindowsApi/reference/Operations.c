/* The same file is compiled against Windows' headers and against this library's. Nothing that it prints depends on
   addresses, on the display, on undefined bytes or on the order in which a compiler evaluates arguments. */
#include "Operations.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include "WindowsApi.h"
#endif

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#define COUNT(array) ((int)(sizeof(array) / sizeof(array)[0]))

static FILE* sOut;
static int sDraw;
static unsigned sSum;
static unsigned sChance;

static void Text(const char* inText) {
    fprintf(sOut, "\n%s", inText);
}

static void Show(int inValue) {
    fprintf(sOut, " %d", inValue);
}

static void Mix(unsigned inValue) {
    sSum = (sSum ^ inValue) * 16777619u;
}

static void ShowSum(void) {
    fprintf(sOut, " %08x", sSum);
    sSum = 2166136261u;
}

static unsigned Chance(void) {
    sChance = sChance * 1664525u + 1013904223u;
    return sChance >> 8;
}

static void ShowMemory(HGLOBAL inMemory) {
    fprintf(sOut, " flags %x size %d", GlobalFlags(inMemory), (int)GlobalSize(inMemory));
}

static void PrintMemory(void) {
    static const UINT flags[] = {GMEM_FIXED, GMEM_MOVEABLE, GPTR, GHND, GMEM_MOVEABLE | GMEM_DISCARDABLE};
    static const SIZE_T sizes[] = {0, 1, 100, 70000};
    int f, s, lock;
    HGLOBAL memory, other;
    char* address;
    for (f = 0; f < COUNT(flags); ++f) {
        for (s = flags[f] & GMEM_MOVEABLE ? 0 : 1; s < COUNT(sizes); ++s) {
            memory = GlobalAlloc(flags[f], sizes[s]);
            fprintf(sOut, "\nalloc %x %d:", flags[f], (int)sizes[s]);
            ShowMemory(memory);
            address = (char*)GlobalLock(memory);
            Show(address != NULL);
            Show(address == (char*)memory);
            Show(address != NULL && GlobalHandle(address) == memory);
            ShowMemory(memory);
            Show(GlobalUnlock(memory));
            Show(GlobalUnlock(memory));
            Show(GlobalFree(memory) == NULL);
        }
    }
    Text("locks");
    memory = GlobalAlloc(GMEM_MOVEABLE, 10);
    for (lock = 0; lock < 300; ++lock) {
        GlobalLock(memory);
    }
    ShowMemory(memory);
    for (lock = 0; GlobalUnlock(memory) && lock < 1000; ++lock) {
    }
    Show(lock);
    GlobalLock(memory);
    Show(GlobalFree(memory) == NULL);
    for (s = 0; s < COUNT(sizes); ++s) {
        for (f = 0; f < 4; ++f) {
            const int isLocked = f & 1;
            const int mayMove = f & 2;
            if (isLocked && !mayMove && sizes[s] > 100) {
                continue; /* whether it can grow where it is depends on the heap */
            }
            memory = GlobalAlloc(GHND, 100);
            strcpy((char*)GlobalLock(memory), "kept");
            if (!isLocked) {
                GlobalUnlock(memory);
            }
            other = GlobalReAlloc(memory, sizes[s], mayMove ? GHND : GMEM_ZEROINIT);
            fprintf(sOut, "\nresize %d locked %d movable %d:", (int)sizes[s], isLocked, mayMove);
            Show(other == memory);
            Show(other == NULL);
            ShowMemory(memory);
            address = (char*)GlobalLock(memory);
            if (address != NULL && GlobalSize(memory) > 99) {
                fprintf(sOut, " %s %d %d", address, address[5], address[GlobalSize(memory) - 1]);
            }
            GlobalFree(memory);
        }
    }
    Text("modified");
    memory = GlobalAlloc(GHND, 100);
    Show(GlobalReAlloc(memory, 0, GMEM_MODIFY | GMEM_DISCARDABLE) == memory);
    ShowMemory(memory);
    fprintf(sOut, " %x", LocalFlags(memory));
    Show(GlobalDiscard(memory) == memory);
    ShowMemory(memory);
    Show(GlobalLock(memory) == NULL);
    Show(GlobalReAlloc(memory, 50, GHND) == memory);
    ShowMemory(memory);
    Show(GlobalReAlloc(memory, 0, GMEM_MODIFY) == memory);
    ShowMemory(memory);
    GlobalFree(memory);
    Text("fixed");
    memory = GlobalAlloc(GPTR, 100);
    strcpy((char*)memory, "kept");
    Show(GlobalReAlloc(memory, 0, GMEM_MODIFY) == memory);
    other = GlobalReAlloc(memory, 0, GMEM_MODIFY | GMEM_MOVEABLE);
    Show(other == memory);
    address = (char*)GlobalLock(other);
    fprintf(sOut, " %s %d", address, GlobalHandle(address) == other);
    ShowMemory(other);
    GlobalFree(other);
    memory = GlobalAlloc(GPTR, 100);
    strcpy((char*)memory, "kept");
    memory = GlobalReAlloc(memory, 90000, GHND);
    fprintf(sOut, " %s %d", (char*)memory, ((char*)memory)[89999]);
    ShowMemory(memory);
    memory = GlobalReAlloc(memory, 10, GMEM_FIXED);
    fprintf(sOut, " %s", (char*)memory);
    ShowMemory(memory);
    GlobalFree(memory);
    Text("null");
    Show(GlobalFree(NULL) == NULL);
    Show(GlobalLock(NULL) == NULL);
    ShowMemory(NULL);
    Show(GlobalUnlock(NULL));
    Show(GlobalReAlloc(NULL, 10, GMEM_MOVEABLE) == NULL);
    Text("local");
    memory = LocalAlloc(LHND, 10);
    address = (char*)LocalLock(memory);
    Show(address[9]);
    Show(LocalHandle(address) == memory);
    fprintf(sOut, " %x %d", LocalFlags(memory), (int)LocalSize(memory));
    Show(LocalUnlock(memory));
    Show(LocalReAlloc(memory, 20, LMEM_ZEROINIT) == memory);
    Show(LocalDiscard(memory) == memory);
    fprintf(sOut, " %x %d", LocalFlags(memory), (int)LocalSize(memory));
    Show(LocalFree(memory) == NULL);
}

static HPALETTE MakePalette(int inCount, unsigned inStep) {
    LOGPALETTE* palette = (LOGPALETTE*)calloc(1, sizeof(LOGPALETTE) + 4 * (size_t)inCount);
    HPALETTE made;
    int i;
    palette->palVersion = 0x300;
    palette->palNumEntries = (WORD)inCount;
    for (i = 0; i < inCount; ++i) {
        palette->palPalEntry[i].peRed = (BYTE)(Chance() & ~(inStep - 1));
        palette->palPalEntry[i].peGreen = (BYTE)(Chance() & ~(inStep - 1));
        palette->palPalEntry[i].peBlue = (BYTE)(Chance() & ~(inStep - 1));
    }
    made = CreatePalette(palette);
    free(palette);
    return made;
}

static void PrintPalettes(void) {
    static const int counts[] = {0, 1, 2, 16, 63, 64, 65, 236, 237, 256, 300, 1000};
    int c;
    unsigned step, colour;
    HPALETTE palette;
    PALETTEENTRY entries[20];
    WORD size = 0;
    for (c = 0; c < COUNT(counts); ++c) {
        for (step = 1; step <= 128; step *= 8) { /* coarse steps make ties */
            palette = MakePalette(counts[c], step);
            for (colour = 0; colour < 32768; ++colour) {
                Mix(GetNearestPaletteIndex(palette,
                                           RGB((colour >> 10) * 8, (colour >> 5 & 31) * 8, (colour & 31) * 8)));
            }
            fprintf(sOut, "\nnearest of %d in steps of %u:", counts[c], step);
            ShowSum();
            DeleteObject(palette);
        }
    }
    Text("entries");
    palette = MakePalette(5, 1);
    Show((int)GetPaletteEntries(palette, 0, 0, NULL));
    Show((int)GetPaletteEntries(palette, 3, 4, entries));
    Show((int)GetPaletteEntries(palette, 5, 4, entries));
    Show((int)GetPaletteEntries(palette, 0xFFFFFFFF, 4, entries));
    memset(entries, 200, sizeof entries);
    Show((int)SetPaletteEntries(palette, 4, 3, entries));
    Show((int)SetPaletteEntries(palette, 5, 1, entries));
    Show((int)SetPaletteEntries(palette, 2, 0, entries));
    Show((int)GetNearestPaletteIndex(palette, RGB(199, 201, 200)));
    Show((int)GetPaletteEntries(palette, 4, 1, entries + 1));
    Show(memcmp(entries, entries + 1, sizeof *entries));
    Show(GetObject(palette, sizeof size, &size));
    Show(size);
    Show(DeleteObject(palette));
    Show(DeleteObject(palette));
    Show((int)GetPaletteEntries(palette, 0, 1, entries));
    Show((int)SetPaletteEntries(palette, 0, 1, entries));
    palette = (HPALETTE)GetStockObject(DEFAULT_PALETTE);
    Text("static colours");
    Show((int)GetPaletteEntries(palette, 0, 20, entries));
    for (c = 0; c < 20; ++c) {
        fprintf(sOut, " %02x%02x%02x", entries[c].peRed, entries[c].peGreen, entries[c].peBlue);
    }
    Show(DeleteObject(palette));
}

/* A memory context over a bitmap of its own. */
typedef struct {
    HDC dc;
    HBITMAP bitmap;
    HGDIOBJ before;
} Canvas;

static Canvas OpenCanvas(int inWidth, int inHeight, UINT inDepth) {
    Canvas canvas;
    canvas.dc = CreateCompatibleDC(NULL);
    canvas.bitmap = CreateBitmap(inWidth, inHeight, 1, inDepth, NULL);
    canvas.before = SelectObject(canvas.dc, canvas.bitmap);
    return canvas;
}

static void CloseCanvas(Canvas inCanvas) {
    SelectObject(inCanvas.dc, inCanvas.before);
    DeleteObject(inCanvas.bitmap);
    DeleteDC(inCanvas.dc);
}

/* Adds the bitmap to the sum, and draws one of depth 1. */
static void MixBits(HBITMAP inBitmap, int inDraw) {
    BITMAP info;
    unsigned char* bits;
    LONG size, i;
    int x;
    GetObject(inBitmap, sizeof info, &info);
    size = info.bmWidthBytes * info.bmHeight;
    bits = (unsigned char*)calloc(1, (size_t)size);
    Mix(GetBitmapBits(inBitmap, size, bits) == size);
    for (i = 0; i < size; ++i) {
        Mix(bits[i]);
        for (x = 0; inDraw && i % info.bmWidthBytes == 0 && x < info.bmWidth; ++x) {
            fprintf(sOut, "%s%c", x == 0 ? "\n" : "", bits[i + x / 8] >> (7 - x % 8) & 1 ? '#' : '.');
        }
    }
    free(bits);
}

/* Draws the region white on black, adds it to the sum, and deletes it. */
static void MixRegion(HRGN inRegion, int inWidth, int inHeight) {
    RECT box = {0, 0, 0, 0};
    Canvas canvas = OpenCanvas(inWidth, inHeight, 1);
    Mix((unsigned)GetRgnBox(inRegion, &box));
    Mix((unsigned)(box.left * 31 + box.top));
    Mix((unsigned)(box.right * 31 + box.bottom));
    Mix(FillRgn(canvas.dc, inRegion, (HBRUSH)GetStockObject(WHITE_BRUSH)) != 0);
    MixBits(canvas.bitmap, sDraw);
    CloseCanvas(canvas);
    DeleteObject(inRegion);
}

static void PrintEllipses(void) {
    int n, w, h;
    for (h = 4; h <= 24; ++h) {
        fprintf(sOut, "\nellipses of height %d:", h);
        for (w = 1; w <= 24; ++w) {
            /* The reference cuts the tips off narrow ellipses. */
            if (w > 5 && 2 * w >= h) {
                MixRegion(CreateEllipticRgn(0, 0, w, h), 24, 24);
            }
        }
        ShowSum();
    }
    for (n = 0; n < 10; ++n) {
        w = 100 + (int)(Chance() & 511);
        h = 100 + (int)(Chance() & 127);
        fprintf(sOut, "\nellipse %d x %d:", w, h);
        MixRegion(CreateEllipticRgn(-3, 5, w - 3, h + 5), 640, 240);
        ShowSum();
    }
    Text("ellipse 1920 x 1080:");
    MixRegion(CreateEllipticRgn(1920, 0, 0, 1080), 1920, 1080);
    ShowSum();
    for (h = -2; h <= 14; ++h) {
        fprintf(sOut, "\nround rectangles with corners of height %d:", h);
        for (w = -2; w <= 20; ++w) {
            if (abs(w) > 5 && abs(h) > 2 && 2 * abs(w) >= abs(h)) {
                MixRegion(CreateRoundRectRgn(1, 2, 18, 13, w, h), 24, 16);
            }
        }
        ShowSum();
    }
}

static void PrintPolygons(void) {
    static const POINT bow[] = {{0, 0}, {15, 15}, {15, 0}, {0, 15}};
    static const POINT away[] = {{-20, -10}, {50, 10}, {5, 60}};
    static const POINT box[] = {{2, 3}, {12, 3}, {12, 9}, {2, 9}};
    POINT points[12];
    int n, i;
    Text("polygons:");
    for (n = ALTERNATE; n <= WINDING; ++n) {
        MixRegion(CreatePolygonRgn(bow, COUNT(bow), n), 40, 40);
        MixRegion(CreatePolygonRgn(away, COUNT(away), n), 40, 40);
        MixRegion(CreatePolygonRgn(box, COUNT(box), n), 40, 40);
        MixRegion(CreatePolygonRgn(box, 2, n), 40, 40);
        ShowSum();
    }
    for (n = 0; n < 200; ++n) {
        const unsigned mask = n < 100 ? 31 : 255;
        for (i = 0; i < COUNT(points); ++i) {
            points[i].x = (LONG)(Chance() & mask);
            points[i].y = (LONG)(Chance() & mask);
        }
        if (n % 10 == 0) {
            fprintf(sOut, "\npolygons from %d on:", n);
        }
        MixRegion(CreatePolygonRgn(points, 3 + n % 10, 1 + n / 10 % 2), (int)mask + 1, (int)mask + 1);
        ShowSum();
    }
}

static void PrintCombinations(void) {
    static const int edges[][4] = {{2, 3, 20, 10}, {5, 1, 9, 30}, {20, 10, 2, 3}, {4, 4, 4, 9}, {30, 30, 40, 40}};
    HRGN first, second, combined;
    int i, j, mode;
    for (i = 0; i < COUNT(edges); ++i) {
        fprintf(sOut, "\ncombinations with %d:", i);
        for (j = 0; j < COUNT(edges); ++j) {
            for (mode = 0; mode <= 6; ++mode) {
                first = CreateRectRgn(edges[i][0], edges[i][1], edges[i][2], edges[i][3]);
                second = CreateRectRgn(edges[j][0], edges[j][1], edges[j][2], edges[j][3]);
                combined = CreateRectRgn(0, 0, 1, 1);
                Mix((unsigned)CombineRgn(combined, first, second, mode));
                Mix((unsigned)EqualRgn(first, second));
                MixRegion(combined, 40, 40);
                DeleteObject(first);
                DeleteObject(second);
            }
            ShowSum();
        }
    }
    Text("ring");
    first = CreateEllipticRgn(0, 0, 31, 21);
    second = CreateRectRgn(10, 5, 40, 12);
    Show(CombineRgn(first, first, second, RGN_XOR));
    Show(OffsetRgn(first, 3, -2));
    for (i = 2; i < 44; ++i) {
        Mix((unsigned)PtInRegion(first, i, i / 4));
    }
    MixRegion(first, 48, 24);
    ShowSum();
    Show(CombineRgn(second, second, NULL, RGN_COPY));
    Show(CombineRgn(second, second, NULL, RGN_OR));
    Show(CombineRgn(NULL, second, second, RGN_OR));
    Show(DeleteObject(second));
    Show(OffsetRgn(second, 1, 1));
    Show(EqualRgn(second, second));
}

static void PrintBitmaps(void) {
    static const int sizes[][2] = {{1, 1}, {16, 2}, {17, 3}, {0, 5}, {5, 0}, {-9, 3}, {9, -3}};
    unsigned char bits[16], read[16];
    int s, i;
    UINT depth;
    for (depth = 1; depth <= 32; depth += 31) {
        for (s = 0; s < COUNT(sizes); ++s) {
            BITMAP info;
            HBITMAP bitmap = CreateBitmap(sizes[s][0], sizes[s][1], 1, depth, NULL);
            fprintf(sOut, "\nbitmap %d x %d x %u:", sizes[s][0], sizes[s][1], depth);
            Show(GetObject(bitmap, 0, NULL));
            Show(GetObject(bitmap, sizeof info, &info));
            Show(info.bmWidth);
            Show(info.bmHeight);
            Show(info.bmBitsPixel);
            Show(info.bmWidthBytes);
            Show(info.bmPlanes);
            Show(info.bmBits == NULL);
            Show(DeleteObject(bitmap));
        }
    }
    Text("bits");
    for (i = 0; i < COUNT(bits); ++i) {
        bits[i] = (unsigned char)(i * 37 + 11);
    }
    {
        HBITMAP bitmap = CreateBitmap(32, 3, 1, 1, bits);
        memset(read, 0, sizeof read);
        Show(GetBitmapBits(bitmap, sizeof read, read));
        Show(memcmp(bits, read, 12));
        Show(read[12]);
        Show(GetBitmapBits(bitmap, 0, NULL));
        Show(SetBitmapBits(bitmap, 7, bits + 5));
        Show(GetBitmapBits(bitmap, 9, read));
        Show(memcmp(bits + 5, read, 7));
        Show(memcmp(bits + 7, read + 7, 2));
        Show(SetBitmapBits(bitmap, sizeof bits, bits));
        Show(SetBitmapBits(bitmap, 4, NULL));
        Show(DeleteObject(bitmap));
        Show(GetBitmapBits(bitmap, 9, read));
    }
}

static void ShowFill(Canvas inCanvas, int inLeft, int inTop, int inRight, int inBottom, HGDIOBJ inBrush) {
    RECT rectangle;
    rectangle.left = inLeft;
    rectangle.top = inTop;
    rectangle.right = inRight;
    rectangle.bottom = inBottom;
    Show(FillRect(inCanvas.dc, &rectangle, (HBRUSH)inBrush));
    MixBits(inCanvas.bitmap, sDraw);
    ShowSum();
}

static void PrintContexts(void) {
    UINT depth;
    for (depth = 1; depth <= 32; depth += 31) {
        Canvas canvas = OpenCanvas(23, 7, depth);
        HGDIOBJ brush = CreateSolidBrush(depth == 1 ? RGB(255, 255, 255) : RGB(1, 2, 3));
        HGDIOBJ black = GetStockObject(BLACK_BRUSH), white = GetStockObject(WHITE_BRUSH);
        HRGN region = CreateRectRgn(-5, -5, 4, 4);
        HDC other = CreateCompatibleDC(canvas.dc);
        fprintf(sOut, "\ncanvas of depth %u:", depth);
        ShowFill(canvas, 3, 1, 14, 5, white);
        ShowFill(canvas, 9, -5, 100, 5, black);
        ShowFill(canvas, 1, 2, 22, 4, brush);
        ShowFill(canvas, 0, 0, 20, 7, GetStockObject(NULL_BRUSH));
        ShowFill(canvas, 16, 3, 24, 9, white);
        Show(FillRgn(canvas.dc, region, (HBRUSH)black));
        Show(FillRgn(canvas.dc, NULL, (HBRUSH)black));
        Show(FillRgn(canvas.dc, region, NULL));
        Show(FillRgn(NULL, region, (HBRUSH)black));
        Show((int)(intptr_t)SelectObject(canvas.dc, region));
        ShowFill(canvas, 0, 0, 6, 6, brush);
        Text("selection");
        Show(SelectObject(other, canvas.bitmap) == NULL);
        Show(SelectObject(canvas.dc, canvas.bitmap) == canvas.bitmap);
        Show(SelectObject(canvas.dc, brush) == white);
        Show(SelectObject(canvas.dc, black) == brush);
        Show(SelectObject(canvas.dc, GetStockObject(DEFAULT_PALETTE)) == NULL);
        Show(SelectObject(canvas.dc, NULL) == NULL);
        Show(ReleaseDC(NULL, canvas.dc));
        Show(DeleteDC(canvas.dc));
        Show(SelectObject(other, canvas.bitmap) == canvas.before);
        Show(GetDeviceCaps(other, PLANES));
        Show(GetDeviceCaps(other, TECHNOLOGY));
        Show(GetDeviceCaps(other, SIZEPALETTE));
        Show(GetDeviceCaps(other, RASTERCAPS) & RC_PALETTE);
        Show(DeleteDC((HDC)brush));
        Show(DeleteDC(other));
        Show(DeleteDC(other));
        Show(DeleteObject(canvas.bitmap));
        Show(DeleteObject(brush));
        Show(DeleteObject(region));
    }
    {
        HDC screen = GetDC(NULL);
        HBITMAP bitmap = CreateBitmap(4, 4, 1, 1, NULL);
        int i;
        Text("screen");
        Show(SelectObject(screen, bitmap) == NULL);
        Show(GetDeviceCaps(screen, BITSPIXEL));
        Show(GetDeviceCaps(screen, NUMCOLORS));
        Show(ReleaseDC(NULL, screen));
        DeleteObject(bitmap);
        for (i = WHITE_BRUSH; i <= NULL_BRUSH; ++i) {
            const HGDIOBJ object = GetStockObject(i);
            Show(DeleteObject(object));
            Show(object != NULL && GetStockObject(i) == object);
        }
    }
}

void PrintOperations(FILE* inOut, int inDraw) {
    sOut = inOut;
    sDraw = inDraw;
    sChance = 1;
    fprintf(sOut, "operations");
    ShowSum();
    PrintMemory();
    PrintPalettes();
    PrintBitmaps();
    PrintContexts();
    PrintCombinations();
    PrintEllipses();
    PrintPolygons();
    fprintf(sOut, "\n");
}

#if defined(_WIN32) || defined(OPERATIONS_MAIN)
int main(int argc, char** argv) {
    (void)argv;
    PrintOperations(stdout, argc > 1);
    return 0;
}
#endif
