#include "RunLength.h"

#include "RleDecoder.h"
#include "TPixHandleUtilities.h"
#include "TestFrames.h"
#include "WindowsApi_Memory.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace vftest;
using Bytes = std::vector<std::uint8_t>;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

BITMAPINFOHEADER HeaderOf(std::int32_t width) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    return header;
}

TEST(RunLengthTest, CodesMoveTheOutputAsTheySay) {
    Bytes longRun{33, 7, 255, 8, 0, 1};
    Bytes longRows(33, 7);
    longRows.insert(longRows.end(), 255, 8);
    const struct {
        std::int32_t width;
        Bytes stream;
        Bytes pixels; // 0xEE where nothing was written
    } cases[] = {
        {4, {3, 0x41, 0, 0, 0, 1}, {0x41, 0x41, 0x41, 0xEE, 0xEE}},
        {4, {0, 3, 0x41, 0x42, 0x43, 0, 0, 1, 9, 9}, {0x41, 0x42, 0x43, 0xEE}}, // a pad byte
        {8,
         {0, 2, 5, 1, 2, 9, 0, 1},
         {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 9, 9}},
        {5, {2, 1, 0, 2, 1, 0, 1, 2, 0, 0, 1, 3, 0, 1}, {1, 1, 0xEE, 2, 0xEE, 0xEE, 0xEE, 0xEE, 3}}, // rows of 8
        {65535, {2, 1, 0, 0, 1, 5, 0, 1}, {5, 1}}, // rows of no bytes: the next starts where this one did
        {288, longRun, longRows},
    };
    for (const auto& [width, stream, pixels] : cases) {
        Bytes decoded(pixels.size() + 4, 0xEE);
        const BITMAPINFOHEADER header = HeaderOf(width);
        PlayRle(&header, decoded.data(), stream.data());
        Bytes wanted = pixels;
        wanted.resize(decoded.size(), 0xEE);
        EXPECT_EQ(decoded, wanted) << "width " << width;
    }
    for (std::uint8_t count = 1; count != 0; ++count) { // every length of a run, and not a byte beside it
        Bytes decoded(300, 0xEE);
        const BITMAPINFOHEADER header = HeaderOf(256);
        DecodeRle(&header, decoded.data() + 8, Bytes{count, 5, 0, 1}.data());
        EXPECT_EQ(std::count(decoded.begin(), decoded.end(), 5), count);
        EXPECT_EQ(std::count(decoded.begin() + 8, decoded.begin() + 8 + count, 5), count);
    }
}

TEST(RunLengthTest, PackedBitmapsStayInTheirMemoryWhateverTheStreamSays) {
    std::mt19937 random(3);
    for (int round = 0; round < 400; ++round) {
        const std::size_t size = sizeof(BITMAPINFOHEADER) + 8 + random() % 60;
        Bytes packed(size);
        std::generate(packed.begin(), packed.end(),
                      [&] { return static_cast<std::uint8_t>(random() % 7 == 0 ? 0 : random()); });
        BITMAPINFOHEADER header = HeaderOf(static_cast<std::int32_t>(random() % 40));
        header.biClrUsed = random() % 8 == 0 ? random() : 1;
        std::memcpy(packed.data(), &header, sizeof header);
        const HGLOBAL source = GlobalAlloc(GMEM_MOVEABLE, size);
        const HGLOBAL destination = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size + 20);
        std::memcpy(GlobalLock(source), packed.data(), size);
        header.biClrUsed = 1;
        std::memcpy(GlobalLock(destination), &header, sizeof header);
        GlobalUnlock(source), GlobalUnlock(destination);
        PlayRleDib(destination, source);
        EXPECT_EQ(GlobalFlags(source) & GMEM_LOCKCOUNT, 0U);
        EXPECT_EQ(GlobalFlags(destination) & GMEM_LOCKCOUNT, 0U);

        // The exact end of both, where a sanitizer sees every byte beyond.
        Bytes stream(packed.begin() + sizeof(BITMAPINFOHEADER), packed.end());
        Bytes out(random() % 80);
        VF::RunLength::Decode({stream.data(), std::ssize(stream)}, {out.data(), std::ssize(out)}, 12);
        GlobalFree(source), GlobalFree(destination);
    }
    PlayRleDib(nullptr, nullptr);
}

class InterpFrameTest : public LibraryTest {};

TEST_F(InterpFrameTest, RebuildsTheOtherFieldFromItsNeighbours) {
    // Rows of which each rebuilt one is the average of, or '=' the copy of.
    const struct {
        int height;
        std::uint16_t field;
        const char* rows; // k: kept; a: average of its neighbours; u, d: copy of the row after or before it
    } cases[] = {
        {4, 1, "ukak"}, {4, 0, "kakd"}, {5, 1, "kakdk"}, {5, 0, "ukakk"},  {2, 1, "uk"},      {2, 2, "kd"},
        {3, 1, "kdk"},  {3, 0, "ukk"},  {1, 1, "k"},     {6, 1, "ukakak"}, {7, 1, "kakakdk"},
    };
    for (const auto& [height, field, rows] : cases) {
        const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 3, static_cast<std::uint32_t>(height));
        std::mt19937 random(9);
        std::generate_n(Pixels(frame), 12 * height, [&] { return static_cast<std::uint8_t>(random()); });
        const Bytes before(Pixels(frame), Pixels(frame) + 12 * height);
        const TPixHand hand = VF::NewTPixFromVideoFrame(frame);
        const RECT whole{0, 0, 3, height};
        InterpFrame(hand, &whole, field);
        for (int i = 0; i < 12 * height; ++i) {
            const auto at = [&](int row) { return unsigned{before[static_cast<std::size_t>(i + row * 12)]}; };
            const char rule = rows[i / 12];
            const unsigned wanted = rule == 'k'   ? at(0)
                                    : rule == 'u' ? at(1)
                                    : rule == 'd' ? at(-1)
                                                  : (at(-1) + at(1)) / 2;
            ASSERT_EQ(Pixels(frame)[i], wanted) << rows << ", field " << field << ", byte " << i;
        }
        VF::DisposeTPixFromVideoFrame(hand);
    }
}

TEST_F(InterpFrameTest, FieldViewsAndLyingRectanglesStayInTheFrame) {
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 6, 8);
    std::iota(Pixels(frame), Pixels(frame) + 6 * 8 * 4, std::uint8_t{0});
    const Bytes before(Pixels(frame), Pixels(frame) + 6 * 8 * 4);
    const TPixHand field = VF::NewTPixFromVideoFrame(frame, true, zynmediatypes::kFieldType_UpperFirst,
                                                     0); // the field that starts at row 1
    const RECT fieldRows{0, 0, 6, 4};
    InterpFrame(field, &fieldRows, 1);
    const std::size_t sources[] = {0, 3, 4, 3, 4, 5, 6, 7}; // whole steps are moved: a line of the other field as well
    for (const std::size_t row : {0, 1, 2, 3, 4, 6, 7}) {
        EXPECT_EQ(std::memcmp(Pixels(frame) + row * 24, before.data() + sources[row] * 24, 24), 0) << row;
    }
    InterpFrame(field, &fieldRows, 0); // behind the last line there is no other
    EXPECT_EQ(std::memcmp(Pixels(frame) + 7 * 24, Pixels(frame) + 5 * 24, 24), 0);
    const TPixHand whole = VF::NewTPixFromVideoFrame(frame);
    const Bytes now(Pixels(frame), Pixels(frame) + 6 * 8 * 4);
    for (const RECT& lie : {RECT{0, 0, 6, 10}, RECT{0, 0, 7, 8}, RECT{0, 0, 65535, 65535}, RECT{0, 0, 6, 1}, RECT{}}) {
        InterpFrame(whole, &lie, 1);
    }
    InterpFrame(nullptr, &fieldRows, 1);
    EXPECT_EQ(std::memcmp(Pixels(frame), now.data(), now.size()), 0);
    const RECT oneMore{0, 0, 6, 9}; // the last of an odd number of rows need not be there
    InterpFrame(whole, &oneMore, 1);
    EXPECT_EQ(std::memcmp(Pixels(frame) + 7 * 24, now.data() + 6 * 24, 24), 0);
    VF::DisposeTPixFromVideoFrame(field);
    VF::DisposeTPixFromVideoFrame(whole);
}

} // namespace
