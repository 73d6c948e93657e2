// Copies, composites and warps between pixel maps.

#include "../platform/PixelBlitterScale/FailingAllocator.h"
#include "EveryTarget.h"
#include "FrameKinds.h"
#include "PixelBlitter.h"
#include "TPixCopy.h"
#include "TPixHandleUtilities.h"
#include "TestHelpers.h"
#include "WindowsApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <random>
#include <utility>
#include <vector>

namespace {

using namespace vftest;

using Bytes = std::vector<std::uint8_t>;

/// A caller's own record, with bytes around its rows.
struct Pixmap {
    Pixmap(int width, int height, std::uint32_t seed, int padding = 8, int pixelBytes = 4)
        : bytes(static_cast<std::size_t>((width * pixelBytes + padding) * (height + 2))) {
        record.bounds = {0, 0, width, height};
        record.rowbytes = width * pixelBytes + padding;
        record.bitsPerPixel = 8 * pixelBytes;
        record.pixels = bytes.data() + record.rowbytes;
        std::minstd_rand random(seed + 1);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random() >> 8); });
    }
    TPixHand Hand() { return &pointer; }
    std::uint8_t* At(int x, int y) {
        return record.pixels + (record.bounds.bottom - 1 - y) * record.rowbytes + x * (record.bitsPerPixel / 8);
    }
    Bytes bytes;
    TPix record{};
    TPix* pointer = &record;
};

/// Bits of a mask in rows of so many bytes, the last row for a picture's lowest line.
struct Bits {
    Bits(int width, int height, std::uint32_t seed)
        : rowBytes(((width - 1) / 16 + 1) * 2), global(GlobalAlloc(GHND, static_cast<std::size_t>(rowBytes * height))) {
        auto* const bytes = static_cast<std::uint8_t*>(GlobalLock(global));
        std::minstd_rand random(seed + 7);
        std::generate_n(bytes, rowBytes * height, [&] { return static_cast<std::uint8_t>(random() >> 9); });
        copy.assign(bytes, bytes + rowBytes * height);
        GlobalUnlock(global);
    }
    ~Bits() { GlobalFree(global); }
    bool At(int x, int row) const { return (copy[row * rowBytes + x / 8] >> (7 - x % 8) & 1) != 0; }
    int rowBytes;
    HGLOBAL global;
    Bytes copy;
};

class PixelCopy : public LibraryTest {};

struct Clipping {
    const char* name;
    RECT from, to;                ///< in pictures of 40 x 20 and 50 x 30
    int left, top, right, bottom; ///< of what is written; nothing when left is right
    int fromLeft, fromTop;
};
const Clipping kClippings[] = {
    {"whole", {0, 0, 40, 20}, {5, 6, 45, 26}, 5, 6, 45, 26, 0, 0},
    {"one pixel", {39, 19, 40, 20}, {0, 0, 1, 1}, 0, 0, 1, 1, 39, 19},
    {"sticks out right of the source", {20, 2, 50, 12}, {1, 1, 31, 11}, 1, 1, 21, 11, 20, 2},
    {"sticks out left of both", {-3, -4, 17, 16}, {-5, 1, 15, 21}, 0, 5, 15, 21, 2, 0},
    {"sticks out below the destination", {3, 3, 33, 18}, {25, 20, 55, 35}, 25, 20, 50, 30, 3, 3},
    {"beside the source", {40, 0, 50, 10}, {0, 0, 10, 10}, 0, 0, 0, 0, 0, 0},
    {"beside the destination", {0, 0, 10, 10}, {-20, 0, -10, 10}, 0, 0, 0, 0, 0, 0},
    {"empty", {5, 5, 5, 10}, {5, 5, 5, 10}, 0, 0, 0, 0, 0, 0},
    {"upside down", {5, 10, 10, 5}, {5, 10, 10, 5}, 0, 0, 0, 0, 0, 0},
    {"far away", {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, 0, 0, 40, 20, 0, 0},
};

TEST_F(PixelCopy, CutsBlendsAndMasks) {
    for (const Clipping& clipping : kClippings) {
        const bool huge = clipping.from.left == INT_MIN;
        for (const int weight : {-1, 0, 1, 100, 128, 254, 255}) {
            for (const char* const masked : {"", "bits", "bytes", "region"}) {
                SCOPED_TRACE(testing::Message() << clipping.name << " weight " << weight << " " << masked);
                const int width = huge ? 1 : std::max(1, static_cast<int>(clipping.from.right - clipping.from.left)),
                          height = huge ? 1 : std::max(1, static_cast<int>(clipping.from.bottom - clipping.from.top));
                if (huge && (*masked != 0)) {
                    continue; // below
                }
                Pixmap from(40, 20, 1), to(50, 30, 2), grey(width, height, 3, 5, 1);
                const Bits bits(width, height, 4);
                const HRGN region = CreateEllipticRgn(1, 0, std::max(4, width - 3), std::max(4, height));
                const Bytes before = to.bytes;
                Pixmap wanted = to;
                wanted.record.pixels = wanted.bytes.data() + wanted.record.rowbytes;
                for (int y = clipping.top; y < clipping.bottom; ++y) {
                    for (int x = clipping.left; x < clipping.right; ++x) {
                        const int column = x - clipping.left,
                                  row = clipping.bottom - 1 - y; // from the lowest that is left
                        std::uint8_t* const d = wanted.At(x, y);
                        const std::uint8_t* const s =
                            from.At(clipping.fromLeft + column, clipping.fromTop + y - clipping.top);
                        const bool set = *masked == 0 || *masked == 'b'
                                             ? *masked == 0 || bits.At(column, height - 1 - row)
                                             : PtInRegion(region, column, height - 1 - row) != 0;
                        const bool byBytes = masked == std::string_view("bytes");
                        const int m = byBytes ? grey.record.pixels[row * grey.record.rowbytes + column] : 0;
                        const int k = 255 - m;
                        for (int c = 0; c < 4; ++c) {
                            const int a = weight < 0 ? 255 : weight;
                            if (weight == 0) {
                                continue;
                            }
                            if (byBytes) {
                                d[c] = static_cast<std::uint8_t>(m == 0     ? d[c]
                                                                 : m == 255 ? s[c]
                                                                 : c < 3    ? s[c] + ((d[c] - s[c]) * k >> 8)
                                                                            : d[c] + (255 - d[c]) * s[c] * k / 65536);
                            } else if (set) {
                                d[c] =
                                    static_cast<std::uint8_t>((a * s[c] + 127) / 255 + (d[c] * (255 - a) + 127) / 255);
                            }
                        }
                    }
                }
                const int mode = (weight < 0 ? 0x0F : 0x8000 | weight) | (*masked == 'r' || *masked == 0 ? 0
                                                                          : masked[1] == 'i'             ? 0x2000
                                                                                                         : 0x3000);
                void* const mask = *masked == 0       ? nullptr
                                   : *masked == 'r'   ? static_cast<void*>(region)
                                   : masked[1] == 'i' ? bits.global
                                                      : static_cast<void*>(grey.Hand());
                OnEveryTarget([&] {
                    std::copy(before.begin(), before.end(), to.bytes.begin());
                    tpixCopyRgn(from.Hand(), to.Hand(), &clipping.from, &clipping.to, static_cast<std::uint16_t>(mode),
                                mask);
                    ASSERT_EQ(to.bytes, wanted.bytes);
                });
                EXPECT_EQ(GlobalFlags(bits.global) & GMEM_LOCKCOUNT, 0U);
                DeleteObject(region);
            }
        }
    }
}

TEST_F(PixelCopy, OverlappingPartsOfOnePictureAreReadAsTheyWere) {
    for (const POINT shift : {POINT{1, 0}, {0, 1}, {-3, -2}, {17, 0}, {20, 0}}) {
        for (const int mode : std::initializer_list<int>{0, 0x8080, kTPixCopy_BitMask, kTPixCopy_ByteMask}) {
            const RECT from{3, 2, 23, 12};
            RECT to{from.left + shift.x, from.top + shift.y, from.right + shift.x, from.bottom + shift.y};
            Pixmap source(50, 20, 5), picture(50, 20, 5), wanted(50, 20, 5), grey(20, 10, 3, 5, 1);
            const Bits bits(20, 10, 4);
            void* const mask = mode == kTPixCopy_BitMask    ? bits.global
                               : mode == kTPixCopy_ByteMask ? grey.Hand()
                                                            : nullptr;
            tpixCopyRgn(source.Hand(), wanted.Hand(), &from, &to, static_cast<std::uint16_t>(mode), mask);
            tpixCopyRgn(picture.Hand(), picture.Hand(), &from, &to, static_cast<std::uint16_t>(mode), mask);
            EXPECT_TRUE(picture.bytes == wanted.bytes) << shift.x << " " << shift.y << " " << mode;
        }
    }
}

TEST_F(PixelCopy, GoesOnWithoutMasksThatAreNotThere) {
    Pixmap from(40, 20, 1);
    const RECT rect{3, 3, 23, 13}, huge{INT_MIN, INT_MIN, INT_MAX, INT_MAX};
    const Bits small(20, 9, 1);
    const auto copied = [&](const RECT& area, int mode, void* mask) {
        Pixmap to(40, 20, 2);
        const Bytes before = to.bytes;
        tpixCopyRgn(from.Hand(), to.Hand(), &area, &area, static_cast<std::uint16_t>(mode), mask);
        return to.bytes == before ? 'n' : std::memcmp(to.At(4, 4), from.At(4, 4), 4) == 0 ? 'y' : '?';
    };
    int nothing = 0;
    const HRGN region = CreateRectRgn(0, 0, 1, 1);
    EXPECT_EQ(copied(huge, 0, region), 'y'); // no memory for its mask
    EXPECT_EQ(copied(rect, 0x2000, &nothing), 'y');
    EXPECT_EQ(copied(rect, 0x2000, small.global), 'n'); // a row too few
    TPix* disposed = nullptr;
    EXPECT_EQ(copied(rect, 0x1000, &disposed), 'n');
    DeleteObject(region);
    Pixmap narrow(40, 20, 3, 0, 2), to(40, 20, 2);
    const Bytes before = narrow.bytes;
    tpixCopy(from.Hand(), narrow.Hand(), &rect, &rect, 0); // has no 32-bit pixels
    EXPECT_EQ(narrow.bytes, before);
    for (const TPixHand dead : {TPixHand{nullptr}, TPixHand{&disposed}}) {
        tpixCopy(dead, to.Hand(), &rect, &rect, 0);
        tpixCopy(from.Hand(), dead, &rect, &rect, 0);
        RECT changed = rect;
        tpixStraightCopyRect(dead, {0, 0}, to.Hand(), &changed);
        tpixStraightScale(from.Hand(), dead);
        tpixOneBitMaskComposite(dead, to.Hand(), to.Hand(), &nothing);
        tpixCompositeToBlack(dead, to.Hand());
        bn_DistortPolygon(dead, to.Hand(), &rect, nullptr);
    }
    MyCopyPix(nullptr, &to.record, &rect, &rect, 0, nullptr);
    MyCopyPix(&from.record, &to.record, nullptr, &rect, 0, nullptr);
    EXPECT_EQ(to.bytes, Pixmap(40, 20, 2).bytes);
}

TEST_F(PixelCopy, ScalesWhatIsLeftOfBothRectangles) {
    struct Scaling {
        RECT from, to, cutFrom, cutTo;
    };
    for (const Scaling& scaling :
         {Scaling{{0, 0, 40, 20}, {0, 0, 20, 10}, {0, 0, 40, 20}, {0, 0, 20, 10}},
          Scaling{{20, 0, 60, 20}, {0, 0, 20, 10}, {20, 0, 40, 20}, {0, 0, 10, 10}},
          Scaling{{-11, 0, 29, 20}, {0, 0, 20, 10}, {0, 0, 29, 20}, {5, 0, 20, 10}}, // 11 * 20 / 40
          Scaling{{0, 0, 40, 20}, {-7, 20, 13, 35}, {14, 0, 40, 14}, {0, 20, 13, 30}}}) {
        Pixmap from(40, 20, 1), to(50, 30, 2), wanted(50, 30, 2);
        const RECT &s = scaling.cutFrom, &d = scaling.cutTo;
        ASSERT_EQ(PB_ScaleConvert(from.At(s.left, s.bottom - 1), from.record.rowbytes, s.right - s.left,
                                  s.bottom - s.top, 4, 0, wanted.At(d.left, d.bottom - 1), wanted.record.rowbytes,
                                  d.right - d.left, d.bottom - d.top, 4, 0, 3),
                  0);
        tpixCopyRgn(from.Hand(), to.Hand(), &scaling.from, &scaling.to, 0x8001, nullptr); // without a blend, too
        EXPECT_EQ(to.bytes, wanted.bytes) << scaling.from.left;
        if (s.left == 0 && scaling.from.left == 0 && d.left == 0 &&
            scaling.to.left == 0) { // nothing is cut in proportion there
            Pixmap straight(50, 30, 2);
            RECT a = scaling.from, b = scaling.to;
            EXPECT_EQ(tpixStraightScaleRect(from.Hand(), &a, straight.Hand(), &b), 0);
            EXPECT_EQ(straight.bytes, wanted.bytes);
        }
    }
}

TEST_F(PixelCopy, CopiesStraightFromAPoint) {
    Pixmap from(40, 20, 1), to(30, 15, 2);
    RECT rect{-2, 3, 12, 99};
    POINT point{5, -4};
    EXPECT_EQ(tpixStraightCopyRect(from.Hand(), point, to.Hand(), &rect), 0);
    EXPECT_EQ(rect.left + rect.top * 100 + rect.right * 10000 + rect.bottom * 1000000, 0 + 300 + 120000 + 15000000);
    const Bytes untouched = Pixmap(30, 15, 2).bytes;
    Pixmap was(30, 15, 2);
    for (int y = 0; y < 15; ++y) {
        for (int x = 0; x < 30; ++x) { // the point does not follow the cut
            ASSERT_EQ(std::memcmp(to.At(x, y), x < 12 && y >= 3 ? from.At(5 + x, y - 3) : was.At(x, y), 4), 0);
        }
    }
    RECT outside{30, 0, 35, 5};
    const Bytes before = to.bytes;
    tpixStraightCopyRect(from.Hand(), {0, 0}, to.Hand(), &outside);
    EXPECT_EQ(to.bytes, before);
    tpixStraightCopy(from.Hand(), to.Hand());
    EXPECT_EQ(std::memcmp(to.At(29, 14), from.At(29, 14), 4), 0);
}

TEST_F(PixelCopy, CompositesThroughMasksAndRegions) {
    Pixmap a(50, 30, 1), b(50, 30, 2);
    const HRGN region = CreateEllipticRgn(3, 2, 40, 28);
    Bytes mask(8 * 31); // one row more, of which nothing may be taken
    for (int y = 0; y < 31; ++y) {
        for (int x = 0; x < 64; ++x) {
            mask[y * 8 + x / 8] |= PtInRegion(region, x, y) != 0 ? 0x80 >> x % 8 : 0;
        }
    }
    struct Job {
        RECT rect;
        POINT a, b, mask;
    };
    for (const Job& job :
         {Job{{0, 0, 50, 30}, {0, 0}, {0, 0}, {0, 0}}, Job{{5, 4, 30, 20}, {7, 1}, {20, 9}, {13, 6}},
          Job{{0, 0, 50, 30}, {0, 0}, {0, 0}, {19, 11}}, Job{{0, 0, 9, 9}, {0, 0}, {0, 0}, {50, 30}}}) {
        Pixmap drawn(50, 30, 3), given(50, 30, 3), was(50, 30, 3);
        RECT first = job.rect, second = job.rect;
        tpixOneBitMaskCompositeRect(a.Hand(), job.a, b.Hand(), job.b, given.Hand(), &first, mask.data(), job.mask);
        tpixOneBitMaskRegionCompositeRect(a.Hand(), job.a, b.Hand(), job.b, drawn.Hand(), &second, region, job.mask);
        EXPECT_EQ(drawn.bytes, given.bytes);
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 50; ++x) {
                const int dx = x - job.rect.left, dy = y - job.rect.top, mx = job.mask.x + dx, my = job.mask.y + dy;
                const bool inside = x >= job.rect.left && x < job.rect.right && y >= job.rect.top &&
                                    y < job.rect.bottom && mx < 50 && my < 30;
                const std::uint8_t* const wanted = !inside                           ? was.At(x, y)
                                                   : PtInRegion(region, mx, my) != 0 ? a.At(job.a.x + dx, job.a.y + dy)
                                                                                     : b.At(job.b.x + dx, job.b.y + dy);
                ASSERT_EQ(std::memcmp(given.At(x, y), wanted, 4), 0) << x << ", " << y;
            }
        }
    }
    Pixmap to(50, 30, 3);
    tpixOneBitMaskComposite(a.Hand(), b.Hand(), to.Hand(), nullptr);
    EXPECT_EQ(to.bytes, Pixmap(50, 30, 3).bytes);
    tpixOneBitMaskRegionComposite(a.Hand(), b.Hand(), to.Hand(), region);
    EXPECT_EQ(std::memcmp(to.At(20, 15), a.At(20, 15), 4) | std::memcmp(to.At(0, 0), b.At(0, 0), 4), 0);
    tpixCompositeToBlack(a.Hand(), to.Hand());
    const std::uint8_t* const s = a.At(7, 9);
    EXPECT_EQ(to.At(7, 9)[1], (s[1] * s[3] * 2 + 255) / 510);
    EXPECT_EQ(to.At(7, 9)[3], 255);
    DeleteObject(region);
}

TEST_F(PixelCopy, WarpsInPictureCoordinates) {
    Pixmap from(40, 20, 1), to(50, 30, 2);
    for (std::size_t i = 3; i < from.bytes.size(); i += 4) {
        from.bytes[i] = 255;
    }
    const RECT whole{0, 0, 40, 20};
    const POINT moved[4] = {{8, 3}, {48, 3}, {48, 23}, {8, 23}}, turned[4] = {{25, 5}, {25, 45}, {5, 45}, {5, 5}};
    bn_DistortPolygon(from.Hand(), to.Hand(), &whole, moved);
    EXPECT_EQ(std::memcmp(to.At(8, 3), from.At(0, 0), 4) | std::memcmp(to.At(47, 22), from.At(39, 19), 4), 0);
    Pixmap was(50, 30, 2);
    EXPECT_EQ(std::memcmp(to.At(7, 3), was.At(7, 3), 4) | std::memcmp(to.At(8, 23), was.At(8, 23), 4), 0);
    bn_DistortPolygon(from.Hand(), to.Hand(), &whole, turned); // a quarter turn clockwise: its top is at the right
    EXPECT_EQ(std::memcmp(to.At(24, 5), from.At(0, 0), 4) | std::memcmp(to.At(5, 29), from.At(24, 19), 4), 0);
    const TPixFixedPoint half[4] = {{0x8000, 0}, {0x288000, 0}, {0x288000, 0x140000}, {0x8000, 0x140000}};
    bn_DistortFixed(from.Hand(), to.Hand(), &whole, half);
    EXPECT_EQ(to.At(10, 4)[2], (from.At(9, 4)[2] + from.At(10, 4)[2] + 1) / 2);
    const POINT wrapping[4] = {{65536, 0}, {65536 + 40, 0}, {40, 20}, {0, 20}};
    bn_MapPolygon(from.Hand(), to.Hand(), wrapping, wrapping);
    EXPECT_EQ(std::memcmp(to.At(39, 19), from.At(39, 19), 4), 0);
    EXPECT_EQ(reinterpret_cast<void*>(bn_Resample), reinterpret_cast<void*>(bn_AudioMix));
    EXPECT_EQ(reinterpret_cast<void*>(bn_StretchBits), reinterpret_cast<void*>(tpixCopyRgn));
}

// Frames: of other formats, published, and without rows.
TEST_F(PixelCopy, AsksWhatIsBehindHandles) {
    const zyncore::utility::Guid id{0x1F2E3D4C, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
    const RECT whole{0, 0, 32, 16};
    RECT bounds = whole;
    const zynmediatypes::PixelAspectRatio square;
    const auto make = [&](zynmediatypes::PixelFormat format) {
        return VF::NewTPixWithVideoFrame(&bounds, format, false, 0, square, 0, 0, 0);
    };
    TPixHand source = make(zynmediatypes::kPixelFormat_BGRA_4444_8u),
             yuv = make(zynmediatypes::kPixelFormat_UYVY_422_8u),
             planar = make(zynmediatypes::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601);
    ASSERT_TRUE(source && yuv && planar);
    EXPECT_EQ(tpixFillRect(source, nullptr, RGB(255, 0, 0)), 0);
    EXPECT_EQ(tpixFillRect(yuv, nullptr, RGB(0, 0, 0)), 0);
    EXPECT_EQ(tpixStraightCopy(source, yuv), 0);
    EXPECT_EQ((*yuv)->pixels[1], 81); // luma of red
    const POINT corners[4] = {{0, 0}, {32, 0}, {32, 16}, {0, 16}};
    tpixFillRect(yuv, nullptr, RGB(0, 0, 0));
    bn_DistortPolygon(source, yuv, &whole, corners);
    EXPECT_EQ((*yuv)->pixels[1], 81);
    tpixCopy(source, yuv, &whole, &whole, 0); // two bytes a pixel
    RECT wide{-5, 0, 40, 16};
    tpixStraightCopyRect(source, {0, 0}, planar, &wide);
    EXPECT_EQ(std::memcmp(&wide, &whole, sizeof whole), 0) << "cut, though nothing was copied";
    tpixStraightScale(planar, source);
    bn_DistortPolygon(yuv, source, &whole, corners);
    EXPECT_EQ((*source)->pixels[2], 255);

    const auto published = MakePublished(
        {zynmediatypes::kPixelFormat_BGRA_4444_8u, 32, 16}, [](const FrameRef&) {}, id);
    const TPixHand shared = VF::NewTPixFromVideoFrame(published);
    ASSERT_TRUE(shared);
    const Bytes before((*shared)->pixels, (*shared)->pixels + std::size_t{32} * 16 * 4);
    RECT rect = whole;
    tpixCopy(source, shared, &whole, &whole, 0);
    tpixStraightCopy(source, shared);
    tpixStraightScaleRect(source, &rect, shared, &rect);
    const Bytes bits(4 * 16, 255);
    tpixOneBitMaskComposite(source, source, shared, bits.data());
    tpixCompositeToBlack(source, shared);
    bn_DistortPolygon(source, shared, &whole, corners);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), (*shared)->pixels));
    // A record that says more than there is.
    (*source)->bounds.bottom = 1 << 20;
    const RECT beyond{0, 0, 32, 1 << 20};
    Pixmap to(32, 16, 1);
    tpixCopy(source, to.Hand(), &beyond, &whole, 0);
    tpixStraightScale(source, to.Hand());
    tpixStraightScale(to.Hand(), source);
    bn_DistortPolygon(source, to.Hand(), &beyond, corners);
    EXPECT_EQ(to.bytes, Pixmap(32, 16, 1).bytes);
    for (const TPixHand hand : {source, yuv, planar, shared}) {
        VF::DisposeTPixFromVideoFrame(hand);
    }
}

TEST_F(PixelCopy, LeavesNothingBehindWhenMemoryRunsOut) {
    const RECT whole{0, 0, 40, 20}, part{3, 2, 33, 18};
    Pixmap from(40, 20, 1);
    const HRGN region = CreateEllipticRgn(1, 0, 38, 20);
    const std::function<void(TPixHand)> copies[] = {
        [&](TPixHand to) { tpixCopyRgn(from.Hand(), to, &whole, &whole, 0, region); },
        [&](TPixHand to) { EXPECT_EQ(tpixOneBitMaskRegionComposite(from.Hand(), to, to, region), 0); },
        [&](TPixHand to) { tpixCopy(from.Hand(), to, &whole, &part, 0); },
    };
    for (const auto& copy : copies) {
        SCOPED_TRACE(&copy - copies);
        bool allMade = false;
        for (int failing = 0; !allMade; ++failing) {
            Pixmap to(40, 20, 2);
            const Bytes before = to.bytes;
            const auto buffers = BRT::MemoryRecycler::Instance().GetStatistics().buffersInUse;
            scaletest::allocationsUntilFailure = failing;
            EXPECT_NO_THROW(copy(to.Hand())) << failing;
            allMade = std::exchange(scaletest::allocationsUntilFailure, -1) >= 0;
            EXPECT_TRUE(failing > 0 || !allMade);
            EXPECT_EQ(BRT::MemoryRecycler::Instance().GetStatistics().buffersInUse, buffers) << failing;
            const std::ptrdiff_t row = to.record.rowbytes;
            EXPECT_TRUE(std::equal(before.begin(), before.begin() + row, to.bytes.begin()) &&
                        std::equal(before.end() - row, before.end(), to.bytes.end() - row));
            EXPECT_TRUE(!allMade || to.bytes != before);
        }
    }
    DeleteObject(region);
}

} // namespace
