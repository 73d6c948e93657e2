// Histograms, the median cut against a slow one of the test's own, lookup maps, and the reduction of pixels.

#include "DepthConversion.h"
#include "PaletteQuantizer.h"
#include "TestHelpers.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Palettes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Histogram = std::vector<std::uint32_t>;
using Bytes = std::vector<std::uint8_t>;

Histogram Empty() {
    return Histogram(kColourIndexes);
}

struct DeletePalette {
    void operator()(HPALETTE palette) const { DeleteObject(palette); }
};
using Palette = std::unique_ptr<HPALETTE__, DeletePalette>;

std::vector<std::uint32_t> EntriesOf(const Palette& palette) {
    std::vector<PALETTEENTRY> entries(GetPaletteEntries(palette.get(), 0, 0, nullptr));
    GetPaletteEntries(palette.get(), 0, static_cast<UINT>(entries.size()), entries.data());
    std::vector<std::uint32_t> colours;
    for (const PALETTEENTRY& e : entries) {
        colours.push_back(RGB(e.peRed, e.peGreen, e.peBlue) | static_cast<std::uint32_t>(e.peFlags) << 24);
    }
    return colours;
}

Bytes Noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

// A bitmap of any depth in one block, as a file has it: header, colour table, pixels.
struct Bitmap {
    Bitmap(int bits, int width, int height, DWORD used = 0)
        : memory(sizeof(BITMAPINFOHEADER) + 1024 + static_cast<std::size_t>((bits * width + 31) / 32 * 4 * height)),
          rowBytes((bits * width + 31) / 32 * 4) {
        const Bytes noise = Noise(memory.size(), static_cast<unsigned>(bits));
        memory = noise;
        header() = {sizeof(BITMAPINFOHEADER), width, height, 1, static_cast<WORD>(bits), BI_RGB, 0, 0, 0, used, 0};
    }
    BITMAPINFOHEADER& header() { return *reinterpret_cast<BITMAPINFOHEADER*>(memory.data()); }
    const RGBQUAD* table() { return reinterpret_cast<const RGBQUAD*>(memory.data() + sizeof(BITMAPINFOHEADER)); }
    const std::uint8_t* bits() {
        const int depth = header().biBitCount;
        const DWORD colours = header().biClrUsed != 0 || depth > 8 ? header().biClrUsed : 1U << depth;
        return memory.data() + sizeof(BITMAPINFOHEADER) + 4 * colours;
    }
    // What is counted for a pixel, of a row's padding, too.
    unsigned IndexAt(const std::uint8_t* row, int x) {
        const int depth = header().biBitCount;
        const auto index = [](unsigned r, unsigned g, unsigned b) { return r / 8 << 10 | g / 8 << 5 | b / 8; };
        if (depth > 16) {
            const std::uint8_t* const pixel = row + x * depth / 8;
            return index(pixel[2], pixel[1], pixel[0]);
        }
        if (depth == 16) {
            return (row[2 * x] | row[2 * x + 1] << 8) & 0x7FFF;
        }
        const unsigned value = row[x * depth / 8] >> (8 - depth - x * depth % 8) & ((1U << depth) - 1);
        const RGBQUAD& colour = table()[value];
        return value < header().biClrUsed ? index(colour.rgbRed, colour.rgbGreen, colour.rgbBlue) : 0;
    }
    Bytes memory;
    int rowBytes;
};

TEST(Quantizer, CountsBitmapsOfEveryDepth) {
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
        for (const int width : {1, 7, 13, 1500}) {
            Bitmap bitmap(depth, width, 5);
            Histogram counted = Empty(), expected = Empty();
            ASSERT_EQ(DibHistogram(&bitmap.header(), nullptr, 0, 1, -1, 3, counted.data()), 1);
            ASSERT_EQ(bitmap.header().biClrUsed, depth <= 8 ? 1U << depth : 0U);
            const int unit = depth < 8 ? 8 / depth : 1; // whole bytes are counted
            for (int y = 1; y < 4; ++y) {
                for (int x = 0; x < (width + unit - 1) / unit * unit; ++x) {
                    IncHistogramHist(static_cast<std::uint16_t>(bitmap.IndexAt(bitmap.bits() + y * bitmap.rowBytes, x)),
                                     expected.data());
                }
            }
            ASSERT_EQ(counted, expected) << depth << " bits, width " << width;
        }
    }
}

TEST(Quantizer, CountsWhatHeadersSayAndNothingBehindTheBitmap) {
    Histogram histogram = Empty();
    Bitmap tail(32, 9, 4);
    tail.memory.resize(tail.memory.size() - 1024); // the memory ends where the pixels do
    EXPECT_EQ(DibHistogram(&tail.header(), nullptr, 5, 2, -1, 99, histogram.data()), 1);
    EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), 0U), 9U + 4U);
    for (const DWORD used : {257U, 70000U, 0xFFFFFFFFU}) { // colours that no pixel can name
        Bitmap lying(8, 6, 2, used);
        histogram = Empty();
        EXPECT_EQ(DibHistogram(&lying.header(), lying.table() + 2, 0, 0, 6, 2, histogram.data()), 1);
        EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), 0U), 12U);
    }
    Bitmap odd(2, 6, 2);
    EXPECT_EQ(DibHistogram(&odd.header(), nullptr, 0, 0, 6, 2, histogram.data()), 1); // no such depth
    EXPECT_EQ(DibHistogram(nullptr, nullptr, 0, 0, 6, 2, histogram.data()), 0);
    EXPECT_EQ(DibHistogram(&odd.header(), nullptr, 0, 0, 6, 2, nullptr), 0);
    for (const LONG height : {-2, 0, INT32_MIN}) { // top-down bitmaps have no rows here
        odd.header().biBitCount = 32;
        odd.header().biHeight = height;
        Histogram none = Empty();
        EXPECT_EQ(DibHistogram(&odd.header(), nullptr, 0, 0, INT32_MAX, INT32_MAX, none.data()), 1);
        EXPECT_EQ(none, Empty());
    }
}

// Large pictures are counted in tables of 16 bits that are added up in between; full counters stay full.
TEST(Quantizer, CountsManyAndStopsAtTheLimit) {
    constexpr int kWidth = 700, kHeight = 701;
    Bytes one(4 * kWidth * kHeight, 0x40);
    Histogram histogram = Empty();
    const std::size_t grey = 8 << 10 | 8 << 5 | 8;
    histogram[grey] = 5;
    Histogram32(one.data(), kWidth, kHeight, 4 * kWidth, histogram.data());
    EXPECT_EQ(histogram[grey], 5U + kWidth * kHeight);
    EXPECT_EQ(GetHistogram(8, 8, 8), histogram[grey]);
    histogram[grey] = 0xFFFFFFFF - kWidth * kHeight + 1;
    EXPECT_EQ(Histogram32Hist(one.data() + 4 * kWidth * (kHeight - 1), kWidth, kHeight, -4 * kWidth, histogram.data()),
              kHeight);
    EXPECT_EQ(histogram[grey], 0xFFFFFFFF);
    IncHistogram(static_cast<std::uint16_t>(grey | 0x8000));
    EXPECT_EQ(histogram[grey], 0xFFFFFFFF);
    const Bytes mixed = Noise(one.size(), 3);
    Histogram fast = Empty(), slow = Empty();
    Histogram24(mixed.data(), kWidth, kHeight, 4 * kWidth, fast.data());
    for (int y = 0; y < kHeight; ++y) {
        Histogram24(mixed.data() + 4 * kWidth * y, kWidth, 1, 0, slow.data());
    }
    EXPECT_EQ(fast, slow);
    UseHistogram(nullptr);
    EXPECT_EQ(GetHistogram(8, 8, 8), 0U);
    void* const made = InitHistogram(nullptr);
    EXPECT_EQ(InitHistogram(made), made);
    UseHistogram(made);
    IncHistogram(33);
    EXPECT_EQ(GetHistogram(0, 1, 1), 1U);
    FreeHistogram(made);
    EXPECT_EQ(GetHistogram(0, 1, 1), 0U); // the freed one is nobody's current one
}

// The median cut over a list of colours, written down once more without boxes' lists or projections.
struct SlowBox {
    int low[3], high[3];
    std::int32_t score;
    std::uint32_t count;
};
using Colours = std::map<std::array<int, 3>, std::uint32_t>;

std::vector<std::uint32_t> Line(const SlowBox& box, const Colours& colours, int axis) {
    std::vector<std::uint32_t> line(32);
    for (const auto& [colour, count] : colours) {
        bool inside = true;
        for (int a = 0; a < 3; ++a) {
            inside = inside && colour[a] >= box.low[a] && colour[a] <= box.high[a];
        }
        line[static_cast<std::size_t>(colour[axis])] += inside ? count : 0;
    }
    return line;
}

void Measure(SlowBox& box, const Colours& colours) {
    box.count = 0;
    std::uint32_t score = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const auto line = Line(box, colours, axis);
        const std::uint32_t n = std::accumulate(line.begin(), line.end(), 0U);
        std::uint32_t s1 = 0, s2 = 0;
        for (std::uint32_t v = 0; v < 32; ++v) {
            s1 += line[v] * v;
            s2 += line[v] * v * v;
        }
        score += n == 0 ? 0 : s2 - (s1 / n) * s1 - ((s1 % n) * s1) / n;
        box.count = n;
    }
    box.score = static_cast<std::int32_t>(score);
}

std::vector<SlowBox> SlowCut(const Colours& colours, std::size_t wanted) {
    std::vector<SlowBox> boxes{{{0, 0, 0}, {31, 31, 31}, 9999999, 0}};
    const auto insert = [&](const SlowBox& box, auto larger) {
        boxes.insert(std::find_if(boxes.begin(), boxes.end(), [&](const SlowBox& b) { return !larger(b, box); }), box);
    };
    while (boxes.size() < wanted && boxes[0].score != 0) {
        SlowBox box = boxes[0];
        double best = 0;
        int bestAxis = 0, place = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const auto line = Line(box, colours, axis);
            double n = 0, sum = 0, left = 0, leftSum = 0;
            for (int v = 0; v < 32; ++v) {
                n += line[static_cast<std::size_t>(v)];
                sum += static_cast<double>(line[static_cast<std::size_t>(v)]) * v;
            }
            for (int t = 0; t < 32; ++t) {
                left += line[static_cast<std::size_t>(t)];
                leftSum += static_cast<double>(line[static_cast<std::size_t>(t)]) * t;
                const double d = sum / n - leftSum / left;
                if (left > 0 && left < n && left / (n - left) * d * d > best) {
                    best = left / (n - left) * d * d;
                    bestAxis = axis;
                    place = t;
                }
            }
        }
        SlowBox rest = box;
        box.high[bestAxis] = place;
        rest.low[bestAxis] = place + 1;
        Measure(box, colours);
        Measure(rest, colours);
        boxes.erase(boxes.begin());
        const auto byScore = [](const SlowBox& a, const SlowBox& b) { return a.score > b.score; };
        insert(box, byScore);
        insert(rest, byScore);
    }
    const std::vector<SlowBox> unsorted = std::move(boxes);
    boxes.clear();
    for (const SlowBox& box : unsorted) {
        insert(box, [](const SlowBox& a, const SlowBox& b) { return a.count > b.count; });
    }
    return boxes;
}

TEST(Quantizer, CutsAsDefined) {
    std::mt19937 random(5);
    for (int round = 0; round < 60; ++round) {
        Colours colours;
        Histogram histogram = Empty();
        const std::uint32_t limit = round % 3 == 0   ? 4
                                    : round % 3 == 1 ? 3000
                                                     : 65535; // equal counts, and wrapping sums
        for (unsigned i = random() % 40 + (round == 0 ? 0 : 1); i-- > 0;) {
            colours[{static_cast<int>(random() % 32), static_cast<int>(random() % 8),
                     static_cast<int>(random() % 32)}] += 1 + random() % limit / 2;
        }
        for (const auto& [c, count] : colours) {
            histogram[static_cast<std::size_t>(c[0] << 10 | c[1] << 5 | c[2])] = count;
        }
        const int wanted = static_cast<int>(1 + random() % 30);
        const auto boxes = SlowCut(colours, static_cast<std::size_t>(wanted));
        std::vector<std::uint32_t> expected;
        for (const SlowBox& box : boxes) {
            std::uint32_t colour = 0;
            for (int axis = 0; axis < 3; ++axis) {
                std::uint64_t sum = 0, n = 0;
                const auto line = Line(box, colours, axis);
                for (std::uint32_t v = 0; v < 32; ++v) {
                    sum += line[v] * v;
                    n += line[v];
                }
                colour |= n == 0 ? 0 : static_cast<std::uint32_t>((sum + n / 2) * 255 / n / 32 & 255) << 8 * axis;
            }
            expected.push_back(colour);
        }
        Bytes map(kColourIndexes, 99), sameMap(kColourIndexes, 77);
        const Palette palette(HistogramToPalette(histogram.data(), map.data(), wanted));
        ASSERT_EQ(EntriesOf(palette), expected) << "round " << round;
        ASSERT_EQ(EntriesOf(Palette(HistogramPalette(histogram.data(), sameMap.data(), wanted))), expected);
        ASSERT_EQ(map, sameMap);
        for (const auto& [c, count] : colours) {
            const auto box = map[static_cast<std::size_t>(c[0] << 10 | c[1] << 5 | c[2])];
            for (int a = 0; a < 3; ++a) {
                ASSERT_TRUE(c[a] >= boxes[box].low[a] && c[a] <= boxes[box].high[a]);
            }
        }
    }
}

TEST(Quantizer, MakesPalettesOfEverySize) {
    const Bytes noise = Noise(4 * 300 * 200, 9);
    Histogram counts = Empty();
    Histogram32(noise.data(), 300, 200, 1200, counts.data());
    const HDC screen = GetDC(nullptr);
    PALETTEENTRY system[256];
    GetSystemPaletteEntries(screen, 0, 256, system);
    ReleaseDC(nullptr, screen);
    for (const int wanted : {INT32_MIN, 0, 1, 2, 235, 236, 237, 256, INT32_MAX}) {
        Histogram histogram = counts;
        const Palette palette(HistogramToPalette(histogram.data(), nullptr, wanted));
        ASSERT_EQ(palette != nullptr, wanted > 0);
        if (palette) {
            const auto entries = EntriesOf(palette);
            ASSERT_EQ(entries.size(), wanted > 236 ? 256U : static_cast<unsigned>(wanted));
            for (const std::size_t i : {0, 9, 246, 255}) {
                if (wanted > 236) {
                    ASSERT_EQ(entries[i], RGB(system[i].peRed, system[i].peGreen, system[i].peBlue));
                }
            }
        }
    }
    EXPECT_EQ(HistogramToPalette(nullptr, nullptr, 8), nullptr);
    EXPECT_EQ(InitBoxes(0), 0);
    Histogram one = Empty(); // a single colour, and the empty box beside it
    one[7 << 10] = 300000;
    const Palette two(HistogramToPalette(one.data(), nullptr, 256));
    EXPECT_EQ(one[7 << 10], 37500U); // halved in place
    EXPECT_EQ(EntriesOf(two)[10], RGB(59, 3, 3));
    EXPECT_EQ(EntriesOf(two)[11], 0U);
    Histogram rare = Empty();
    rare[0] = 1;
    rare[1] = 300000;
    const Palette kept(HistogramToPalette(rare.data(), nullptr, 4));
    EXPECT_EQ(rare[0], 1U) << "a colour that is there must not be lost by halving";
    Histogram often = Empty(); // sums of 32 bits, products beyond
    for (std::size_t green = 0; green < 10; ++green) {
        often[31 << 10 | green << 5] = 60000;
    }
    const Palette mean(HistogramToPalette(often.data(), nullptr, 1));
    EXPECT_EQ(EntriesOf(mean)[0] & 0xFF, 251U);
}

TEST(Quantizer, LooksUpWhatThePaletteAnswers) {
    for (const std::size_t count : {1U, 2U, 17U, 256U, 300U}) {
        std::vector<std::uint8_t> block = Noise(4 + 4 * count, static_cast<unsigned>(count));
        const WORD head[2] = {0x300, static_cast<WORD>(count)};
        std::memcpy(block.data(), head, 4);
        for (std::size_t i = 4; i < block.size(); ++i) {
            block[i] &= 0xF0; // ties, and entries twice
        }
        const Palette palette(CreatePalette(reinterpret_cast<const LOGPALETTE*>(block.data())));
        Bytes map(kColourIndexes);
        MakePalLookup(map.data(), palette.get());
        for (std::size_t i = 0; i < map.size(); i += count == 256 ? 1 : 7) {
            ASSERT_EQ(map[i], static_cast<std::uint8_t>(GetNearestPaletteIndex(
                                  palette.get(), RGB(i >> 10 << 3, (i >> 5 & 31) << 3, (i & 31) << 3))));
        }
    }
}

TEST(Quantizer, ReducesEveryDepth) {
    const Bytes map = Noise(kColourIndexes, 1);
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
        for (const int width : {1, 5, 9, 1100}) {
            Bitmap bitmap(depth, width, 3);
            BITMAPINFOHEADER to{sizeof to, width, 3, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
            const int rowBytes = (width + 3) / 4 * 4;
            Bytes result(static_cast<std::size_t>(rowBytes) * 3, 0xEE);
            ReducePixels(&bitmap.header(), nullptr, &to, result.data(), nullptr, map.data());
            EXPECT_EQ(bitmap.header().biClrUsed, 0U);
            bitmap.header().biClrUsed = depth <= 8 ? 1U << depth : 0;
            for (int y = 0; y < 3; ++y) {
                const int written = width + (depth == 4 ? width % 2 : 0);
                for (int x = 0; x < rowBytes; ++x) {
                    ASSERT_EQ(result[static_cast<std::size_t>(y * rowBytes + x)],
                              x < written ? map[bitmap.IndexAt(bitmap.bits() + y * bitmap.rowBytes, x)] : 0xEE)
                        << depth << " bits, " << x << " of " << width;
                }
            }
            if (depth == 32) {
                Bytes again(result.size(), 0xEE);
                ReducePixelsHist(&bitmap.header(), nullptr, &to, again.data(), nullptr, map.data(), 0, 0);
                ASSERT_EQ(again, result);
            }
        }
    }
}

TEST(Quantizer, ServesThreadsOneAfterTheOther) {
    const Bytes noise = Noise(4 * 100 * 100, 21);
    const auto quantize = [&](int colours) {
        Histogram histogram = Empty();
        Histogram32(noise.data(), 100, 100, 400, histogram.data());
        Bytes map(kColourIndexes);
        return std::pair(EntriesOf(Palette(HistogramPalette(histogram.data(), map.data(), colours))), map);
    };
    const auto alone = quantize(50);
    std::vector<decltype(quantize(0))> results(4);
    OnThreads(4, [&](unsigned n) { results[n] = quantize(50); });
    for (const auto& result : results) {
        EXPECT_EQ(result, alone);
    }
}

} // namespace
