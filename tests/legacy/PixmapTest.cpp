// The pixmap's own functions: row sizes, fields of the record, fills, field views and worlds.

#include "AlphaChannels.h"
#include "ContractLog.h"
#include "FrameBlock.h"
#include "FrameKinds.h"
#include "HandleMemory.h"
#include "TPix.h"
#include "TPixHandleUtilities.h"
#include "TestFrames.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

namespace {

using namespace vftest;
using namespace zynmediatypes;

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();

KxHandle AsHandle(TPixHand hand) {
    return reinterpret_cast<KxHandle>(hand);
}

/// Every test gives its handles back.
class Pixmap : public LibraryTest {
protected:
    void TearDown() override {
        EXPECT_EQ(KxGetLiveHandleCount(), mLiveBefore);
        LibraryTest::TearDown();
    }
    std::uint64_t mLiveBefore = KxGetLiveHandleCount();
};

/// A caller's own record over rows with guard bytes around them, without a frame.
struct OwnPixels {
    static constexpr std::uint8_t kGuard = 0xA5;
    static constexpr std::int32_t kPadding = 12;

    OwnPixels(std::int32_t width, std::int32_t height)
        : rowBytes(width * 4 + kPadding), bytes(static_cast<std::size_t>(rowBytes * (height + 2)), kGuard) {
        record.bounds = {0, 0, width, height};
        record.rowbytes = rowBytes;
        record.bitsPerPixel = 32;
        record.pixels = bytes.data() + rowBytes;
    }
    TPixHand Hand() { return &pointer; }
    std::uint8_t* Pixel(int x, int y) { return record.pixels + (record.bounds.bottom - 1 - y) * rowBytes + x * 4; }

    std::int32_t rowBytes;
    std::vector<std::uint8_t> bytes;
    TPix record{};
    TPix* pointer = &record;
};

TEST(PixmapRows, BytesOfARow) {
    const struct {
        std::int32_t width, depth, bytes;
    } cases[] = {{3, 24, 12},     {10, 1, 4},         {5, 4, 4},     {7, 32, 28},        {7, 2, 0},  {30000, 24, 24464},
                 {65538, 8, 4},   {65535, 8, 65536},  {65536, 8, 0}, {8, 4, 4},          {9, 4, 8},  {32, 1, 4},
                 {33, 1, 8},      {3, 16, 8},         {0, 24, 0},    {20000, 32, 80000}, {5, 33, 0}, {5, -1, 0},
                 {kMost, 32, -4}, {kMost, 24, 65536}, {kMost, 1, 0}, {32769, 16, 4}};
    for (const auto& each : cases) {
        EXPECT_EQ(CalcRowBytes(each.width, each.depth), each.bytes) << each.width << " of " << each.depth;
    }
}

TEST(PixmapRows, StepsOverRows) {
    std::array<std::uint8_t, 1000> rows{};
    EXPECT_EQ(tpixTopLine(rows.data(), 100, 1), rows.data());
    EXPECT_EQ(tpixTopLine(rows.data(), 100, 5), rows.data() + 400);
    EXPECT_EQ(tpixTopLine(rows.data() + 400, -100, 5), rows.data());
    // 0x10000 rows of 0x10001 bytes are 0x10000 modulo 2^32.
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tpixTopLine(rows.data(), 0x10001, 0x10001)),
              reinterpret_cast<std::uintptr_t>(rows.data()) + 0x10000);
    EXPECT_EQ(tpixNextLine(rows.data() + 400, 100), rows.data() + 300);
    EXPECT_EQ(tpixCalcNextSkip(400, 100), -800);
    EXPECT_EQ(tpixCalcNextSkip(-400, 100), 0);
    EXPECT_EQ(&tpixLockPixels, &tpixUnlockPixels);
}

TEST(PixmapRows, ThoseThatLieInABlock) {
    using VF::Details::BlockExtent;
    using VF::Details::PixelRows;
    std::array<std::uint8_t, 100> bytes{};
    const BlockExtent block{bytes.data(), bytes.size()};
    const struct {
        std::ptrdiff_t data;
        std::int32_t rowBytes, height;
        std::uint64_t used;
        std::ptrdiff_t first;
        std::int32_t rows;
    } cases[] = {{0, 20, 5, 20, 0, 5},       {10, 20, 5, 20, 10, 4}, {-5, 20, 3, 20, 15, 2},
                 {80, -20, 6, 20, 0, 5},     {81, -20, 6, 20, 1, 4}, {0, 20, kMost, 20, 0, 5},
                 {-200, 20, 5, 20, 0, 0},    {100, 20, 5, 1, 0, 0},  {0, 0, 7, 100, 0, 7},
                 {0, 0, 7, 101, 0, 0},       {-1, 0, 7, 1, 0, 0},    {99, kLeast, 9, 1, 99, 1},
                 {0, kMost, kMost, 1, 0, 1}, {0, 20, 0, 20, 0, 0},   {0, 20, kLeast, 20, 0, 0}};
    for (const auto& each : cases) {
        const PixelRows rows =
            VF::Details::RowsInBlock({reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(bytes.data()) +
                                                                    static_cast<std::uintptr_t>(each.data)),
                                      each.rowBytes, each.height, each.used},
                                     block);
        ASSERT_EQ(rows.height, each.rows) << each.data << ' ' << each.rowBytes << ' ' << each.height;
        if (each.rows > 0) {
            EXPECT_EQ(rows.data, bytes.data() + each.first) << each.data << ' ' << each.rowBytes;
        }
    }
}

TEST_F(Pixmap, ANewRecordShowsItsFrame) {
    const RECT bounds{10, 20, 26, 29};
    TPixHand const hand = tpixNew(&bounds);
    ASSERT_NE(hand, nullptr);
    RECT found{};
    tpixGetBounds(hand, &found);
    EXPECT_TRUE(found.left == 0 && found.top == 0 && found.right == 16 && found.bottom == 9);
    const FrameRef frame = VF::GetVideoFrameFromTPix(hand);
    EXPECT_EQ(tpixGetPixels(hand), Pixels(frame));
    EXPECT_EQ(tpixGetRowbytes(hand), RowBytes(frame));
    PaintCoordinates(frame);
    EXPECT_EQ(tpixGetPixel(hand, 0, 0), 0u);
    EXPECT_EQ(tpixGetPixel(hand, 15, 8), 8u << 12 | 15u);
    for (const auto& [x, y] : {std::pair{16, 0}, {0, 9}, {-1, 0}, {0, -1}, {kMost, kLeast}}) {
        EXPECT_EQ(tpixGetPixel(hand, x, y), 0xFFFFFFu);
    }
    (*hand)->bounds.top = 4; // fewer rows than the bottom edge says
    EXPECT_EQ(tpixGetPixel(hand, 0, 5), 0xFFFFFFu);
    (*hand)->bounds.top = 0;
    frame->SetPixelAspectRatio({70000, 0x10001});
    EXPECT_EQ(tpixGetPixelAspectRatio(hand), (70000u << 16) | 0x10001u);
    EXPECT_EQ((*hand)->pixelAspectRatio, std::uint64_t{(70000u << 16) | 0x10001u});
    frame->SetAlphaBounds({1, 2, 3, 4});
    tpixGetAlphaBounds(hand, &found);
    EXPECT_TRUE(found.left == 1 && found.top == 2 && found.right == 3 && found.bottom == 4);
    FrameRef view;
    EXPECT_EQ(VF::CreateVideoSubFrame(view, frame, Rect{5, 2, 9, 7}), 0);
    TPixHand const part = VF::NewTPixFromVideoFrame(view);
    tpixGetAlphaBounds(part, &found); // not known, and counted in the parent
    EXPECT_TRUE(found.left == 5 && found.top == 2 && found.right == 9 && found.bottom == 7);
    EXPECT_EQ(tpixDispose(part), 0);
    EXPECT_EQ(tpixDispose(hand), 0);
    EXPECT_EQ(tpixDispose(hand), 0);
    EXPECT_EQ(tpixGetPixels(hand), nullptr);
    for (const RECT& none : {RECT{0, 0, -1, 5}, RECT{5, 5, 0, 0}, RECT{kLeast, kLeast, kMost, kMost}}) {
        EXPECT_EQ(tpixNew(&none), nullptr);
    }
}

TEST_F(Pixmap, NullAndUnknownHandlesAreNoPictures) {
    ContractLog log;
    RECT rect{1, 2, 3, 4};
    EXPECT_EQ(tpixNew(nullptr), nullptr);
    tpixGetAlphaBounds(nullptr, &rect);
    EXPECT_TRUE(rect.left == 0 && rect.bottom == 0);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>{"bounds", "tpixHandle != NULL"}));
    EXPECT_EQ(tpixGetPixelAspectRatio(nullptr), 0u);
    EXPECT_EQ(tpixDispose(nullptr), 0);
    EXPECT_EQ(log.TakeConditions(), (std::vector<std::string>{"inTPixHand != NULL", "tpixHandle != NULL"}));
    TPix* gone = nullptr;
    for (TPixHand const hand : {TPixHand{nullptr}, &gone}) {
        tpixGetBounds(hand, &rect);
        EXPECT_EQ(tpixGetRowbytes(hand) + GetPixFieldbase(hand), 0);
        EXPECT_EQ(tpixGetPixels(hand), nullptr);
        EXPECT_EQ(tpixGetPixel(hand, 0, 0), 0xFFFFFFu);
        tpixFillAlpha(hand, 1);
        EXPECT_LT(tpixFillRect(hand, nullptr, 0), 0);
        TPixFieldsPrep(hand, 1);
        EXPECT_EQ(TPixFields_PointAtField(hand, 0), nullptr);
        TPixFields_PointAtFull(hand);
        TPixFieldsCleanup(hand);
        EXPECT_EQ(TPixFieldsClone(hand), nullptr);
    }
    TPixFieldsCloneFree(nullptr);
    EXPECT_TRUE(log.TakeConditions().empty());
}

TEST_F(Pixmap, FillsStayInTheirRectangle) {
    constexpr std::int32_t kWidth = 13;
    constexpr std::int32_t kHeight = 9;
    const RECT rects[] = {{0, 0, kWidth, kHeight},        {2, 1, 7, 4},   {-5, -5, 3, 2}, {10, 7, kMost, kMost},
                          {kLeast, kLeast, kMost, kMost}, {12, 8, 13, 9}, {5, 5, 5, 9},   {7, 4, 2, 1},
                          {kMost, 0, kLeast, 9},          {13, 0, 20, 9}};
    for (const RECT& rect : rects) {
        for (const bool opaque : {true, false}) {
            OwnPixels own(kWidth, kHeight);
            std::vector<std::uint8_t> expected = own.bytes;
            expected.swap(own.bytes);
            own.record.pixels = own.bytes.data() + own.rowBytes;
            for (int y = std::max(rect.top, 0); y < std::min(rect.bottom, kHeight); ++y) {
                for (int x = std::max(rect.left, 0); x < std::min(rect.right, kWidth); ++x) {
                    const std::uint8_t pixel[] = {0x11, 0x22, 0x33, static_cast<std::uint8_t>(opaque ? 255 : 0)};
                    std::memcpy(expected.data() + (own.Pixel(x, y) - own.bytes.data()), pixel, 4);
                }
            }
            EXPECT_EQ((opaque ? tpixFillRect : tpixFillRectTransparent)(own.Hand(), &rect, 0x112233), 0);
            EXPECT_EQ(own.bytes, expected) << rect.left << ' ' << rect.top << ' ' << rect.right << ' ' << rect.bottom;
        }
    }
}

TEST_F(Pixmap, AlphaIsSetInEveryPixelAlone) {
    for (const bool upsideDown : {false, true}) {
        OwnPixels own(13, 5);
        if (upsideDown) {
            own.record.pixels += 4 * own.rowBytes;
            own.record.rowbytes = -own.rowBytes;
        }
        std::vector<std::uint8_t> expected = own.bytes;
        for (int row = 1; row <= 5; ++row) {
            for (int x = 0; x < 13; ++x) {
                expected[static_cast<std::size_t>(row * own.rowBytes + x * 4 + 3)] = 77;
            }
        }
        tpixFillAlpha(own.Hand(), 77);
        EXPECT_EQ(own.bytes, expected);
    }
    for (int alpha = 0; alpha < 256; ++alpha) {
        OwnPixels one(1, 1);
        tpixFillAlpha(one.Hand(), static_cast<std::uint8_t>(alpha));
        ASSERT_EQ(one.record.pixels[3], alpha);
    }
}

TEST_F(Pixmap, ColoursAreTakenAsTheFramesModel) {
    TPixHand const bgra = VF::NewTPixFromVideoFrame(MakeFrame(kPixelFormat_ARGB_4444_8u, 4, 2));
    TPixHand const yuv = VF::NewTPixFromVideoFrame(MakeFrame(kPixelFormat_VUYA_4444_8u, 4, 2));
    EXPECT_EQ(tpixFillRect(bgra, nullptr, RGB(0x33, 0x22, 0x11)), 0);
    EXPECT_EQ(tpixFillRect(yuv, nullptr, RGB(0x33, 0x22, 0x11)), 0);
    const std::uint8_t argb[] = {255, 0x33, 0x22, 0x11};
    const std::uint8_t vuya[] = {0x11, 0x22, 0x33, 255};
    EXPECT_EQ(std::memcmp(tpixGetPixels(bgra), argb, 4), 0);
    EXPECT_EQ(std::memcmp(tpixGetPixels(yuv), vuya, 4), 0);
    tpixDispose(bgra);
    tpixDispose(yuv);
}

// The block of a field's record of odd height ends before the record does; narrower pixels end before 32-bit ones.
TEST_F(Pixmap, FillsEndWithTheFramesBlock) {
    constexpr std::int32_t kWidth = 4096;
    RECT bounds{0, 0, kWidth, 3};
    TPixHand const field = VF::NewTPixWithVideoFrame(&bounds, kPixelFormat_BGRA_4444_8u, true, 1, {1, 1}, 0, 0, 0);
    ASSERT_EQ((*field)->bounds.bottom, 2);
    EXPECT_EQ(tpixFillRect(field, nullptr, 0x332211), 0);
    tpixFillAlpha(field, 9);
    const std::uint8_t first[] = {0x33, 0x22, 0x11, 9};
    EXPECT_EQ(std::memcmp((*field)->pixels, first, 4), 0);
    (*field)->bounds = {0, 0, kWidth, kMost};
    EXPECT_EQ(tpixFillRect(field, nullptr, 0), 0);
    tpixFillAlpha(field, 8);
    EXPECT_EQ((*field)->pixels[3], 8);
    tpixDispose(field);

    TPixHand const pairs = VF::NewTPixFromVideoFrame(MakeFrame(kPixelFormat_UYVY_422_8u, kWidth, 2));
    tpixFillAlpha(pairs, 7);
    EXPECT_EQ((*pairs)->pixels[3], 7);
    EXPECT_EQ(tpixGetPixel(pairs, kWidth - 1, 0), 0xFFFFFFu);
    tpixDispose(pairs);
}

TEST_F(Pixmap, FramesOfOtherProcessesStayAsTheyAre) {
    for (const FrameKind& kind : AllKinds()) {
        const FrameRef frame = kind.make({kPixelFormat_BGRA_4444_8u, 8, 4}, PaintCoordinates);
        TPixHand const hand = VF::NewTPixFromVideoFrame(frame);
        const std::uint32_t before = PixelAt(frame, 3, 2);
        EXPECT_EQ(tpixFillRect(hand, nullptr, 0x123456) == 0, kind.writable) << kind.name;
        const std::array<std::uint8_t, 8 * 4> grey{};
        tpixFillAlpha(hand, 1);
        AlphaToRGB(hand);
        AlphaToInverseRGB(hand);
        GreyBufferToAlpha(hand, grey.data());
        EXPECT_EQ(PixelAt(frame, 3, 2) == before, !kind.writable) << kind.name;
        std::array<std::uint8_t, 8 * 4> read;
        AlphaToGreyBuffer(hand, read.data());
        EXPECT_EQ(read[0], kind.writable ? 0 : 255) << kind.name;
        tpixDispose(hand);
    }
}

TEST_F(Pixmap, AlphaIsReadAndWrittenInRowsFromTheTopDown) {
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 2, 3);
    TPixHand const hand = VF::NewTPixFromVideoFrame(frame);
    (*hand)->pixels += 2 * (*hand)->rowbytes;
    (*hand)->rowbytes = -(*hand)->rowbytes;
    const std::array<std::uint8_t, 6> grey{1, 2, 3, 4, 5, 6};
    std::array<std::uint8_t, 6> back{};
    GreyBufferToAlpha(hand, grey.data());
    AlphaToGreyBuffer(hand, back.data());
    EXPECT_EQ(back, grey);
    EXPECT_EQ(PixelAt(frame, 1, 2), 6u << 24);
    (*hand)->bounds.bottom = 1 << 16; // down to before the frame
    AlphaToRGB(hand);
    EXPECT_EQ(PixelAt(frame, 1, 2), 6u << 24);
    tpixDispose(hand);
}

TEST_F(Pixmap, FieldsByFlagAndHeight) {
    for (const std::int32_t height : {480, 481}) {
        for (const int flag : {0, 1, 2}) {
            OwnPixels own(2, height);
            TPixHand const hand = own.Hand();
            TPixFieldsPrep(hand, static_cast<std::uint8_t>(flag));
            // Flag 1: field 0 holds the picture's top line, which is stored last.
            const bool field0HasRow0 = (height % 2 == 0) == (flag != 1);
            EXPECT_EQ(own.record.field0Base, own.record.pixels + (field0HasRow0 ? 0 : own.rowBytes));
            EXPECT_EQ(own.record.field1Base, own.record.pixels + (field0HasRow0 ? own.rowBytes : 0));
            for (const int which : {1, 1, 5, -1}) {
                EXPECT_EQ(TPixFields_PointAtField(hand, static_cast<std::int8_t>(which)), &own.record);
            }
            EXPECT_EQ(own.record.pixels, own.record.field1Base);
            EXPECT_EQ(own.record.rowbytes, 2 * own.rowBytes);
            EXPECT_EQ(GetPixFieldbase(hand), 2);
            TPixFields_PointAtFull(hand);
            EXPECT_EQ(own.record.rowbytes, own.rowBytes);
            TPixFieldsCleanup(hand);
            EXPECT_EQ(own.record.fieldsBase, nullptr);
            EXPECT_EQ(own.record.fieldsStack, nullptr);
        }
    }
}

TEST_F(Pixmap, NestedPreparationsComeBackOneByOne) {
    const RECT bounds{0, 0, 8, 10};
    TPixHand const hand = tpixNew(&bounds);
    const TPix fresh = **hand;
    TPixFieldsPrep(hand, 1);
    TPixFields_PointAtField(hand, 0);
    TPix viewed = **hand;
    EXPECT_EQ(KxGetHandleSize((*hand)->fieldsStack), 48u); // a record with a frame is prepared from the start
    TPixFieldsPrep(hand, 0);
    EXPECT_EQ((*hand)->fieldsBase, viewed.pixels); // the field is the whole picture now
    EXPECT_EQ((*hand)->rowbytes, viewed.rowbytes);
    EXPECT_EQ((*hand)->field1Base, viewed.pixels + viewed.rowbytes);
    EXPECT_EQ(KxGetHandleSize((*hand)->fieldsStack), 96u);
    EXPECT_EQ(KxGetHandleLockCount(AsHandle(hand)), 0u);
    TPixFields_PointAtField(hand, 1);
    TPixFieldsCleanup(hand);
    EXPECT_EQ(std::memcmp(*hand, &viewed, sizeof viewed), 0);
    TPixFieldsCleanup(hand);
    EXPECT_EQ(std::memcmp(*hand, &fresh, sizeof fresh), 0);
    tpixDispose(hand);
}

TEST_F(Pixmap, ACloneViewsTheSameField) {
    const RECT bounds{0, 0, 8, 10};
    TPixHand const source = tpixNew(&bounds);
    for (const int flag : {0, 1}) {
        TPixFieldsPrep(source, static_cast<std::uint8_t>(flag));
        (*source)->bounds.bottom = 5;
        TPixFields_PointAtField(source, 1);
        TPixHand const clone = TPixFieldsClone(source);
        ASSERT_NE(clone, nullptr);
        EXPECT_EQ((*clone)->bounds.bottom, 5);
        EXPECT_EQ((*clone)->fieldMode, 2);
        EXPECT_EQ((*clone)->rowbytes, 2 * RowBytes(VF::GetVideoFrameFromTPix(clone)));
        EXPECT_EQ(VF::GetVideoFrameFromTPix(clone)->GetBounds().bottom, 10);
        // The bases are exchanged one way only: a clone's field 0 has the second row whatever the source was.
        EXPECT_GT((*clone)->field0Base, (*clone)->field1Base);
        TPixFieldsCloneFree(clone);
        TPixFieldsCleanup(source);
        (*source)->bounds.bottom = 10;
    }
    TPixHand const whole = TPixFieldsClone(source);
    EXPECT_EQ((*whole)->fieldMode, 0);
    EXPECT_EQ((*whole)->bounds.bottom, 10);
    TPixFieldsCloneFree(whole);
    tpixDispose(source);
}

TEST_F(Pixmap, WorldsUntilTheTableIsFull) {
    const RECT bounds{0, 0, 2, 2};
    std::int16_t id = -7;
    void* what = nullptr;
    EXPECT_EQ(twNew(&id, &bounds, &what, 0), kKxMemoryFull);
    EXPECT_EQ(id, -7);
    TPixHand const mine = tpixNew(&bounds);
    what = mine;
    ASSERT_EQ(twNew(&id, &bounds, &what, 1), 0);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(twGetTPix(1), nullptr);
    ASSERT_EQ(twNew(&id, nullptr, nullptr, 2), 0);
    ASSERT_EQ(twNew(&id, &bounds, nullptr, 0), 0);
    EXPECT_EQ(id, 3);
    TPixHand const owned = twGetTPix(3);
    EXPECT_NE(*owned, nullptr);
    for (int n = 4; n <= 200; ++n) {
        ASSERT_EQ(RegTWorldBits(mine, 0), n);
    }
    EXPECT_EQ(RegTWorldBits(mine, 1), 0);
    EXPECT_EQ(twNew(&id, nullptr, &what, 1), kKxMemoryFull);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(twNew(&id, &bounds, nullptr, 0), 1);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(twNew(&id, nullptr, &what, 0), 1);
    EXPECT_NE(*mine, nullptr); // the caller's record stays the caller's
    for (const int none : {0, 201, -1, -32768, 32767}) {
        twDispose(static_cast<std::int16_t>(none), 0);
        EXPECT_EQ(twGetTPix(static_cast<std::int16_t>(none)), nullptr);
    }
    twDispose(3, 1);
    EXPECT_NE(*owned, nullptr);
    EXPECT_EQ(RegTWorldBits(owned, 1), 3); // the lowest free number
    for (int n = 1; n <= 200; ++n) {
        twDispose(static_cast<std::int16_t>(n), 0);
        EXPECT_EQ(twGetTPix(static_cast<std::int16_t>(n)), nullptr);
    }
    EXPECT_EQ(*owned, nullptr);
    EXPECT_NE(*mine, nullptr);
    tpixDispose(mine);
}

TEST_F(Pixmap, ThreadsHaveWorldsOfTheirOwn) {
    OnThreads(4, [](unsigned) {
        const RECT bounds{0, 0, 2, 2};
        for (int n = 0; n < 200; ++n) {
            std::int16_t id = 0;
            ASSERT_EQ(twNew(&id, &bounds, nullptr, 0), 0);
            TPixHand const hand = twGetTPix(id);
            ASSERT_NE(hand, nullptr);
            EXPECT_EQ(tpixFillRect(hand, nullptr, 0), 0);
            twDispose(id, 0);
            tpixDispose(hand); // once more
        }
    });
}

} // namespace
