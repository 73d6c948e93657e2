// Depths through the suite, alpha of lent frames, masked copies, mattes and the convolution: what their headers say.

#include "AlphaChannels.h"
#include "BaseSuite.h"
#include "ChannelFilters.h"
#include "DepthConversion.h"
#include "MaskedCopy.h"
#include "TPixHandleUtilities.h"
#include "VideoFrameUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

TEST(PixmapDepths, GoThroughTheSuiteOnceThereIsOne) {
    const Bytes source{1, 2, 3, 4, 5, 6};
    Bytes pixels(8, 9);
    if (VF::Pixmaps::CurrentSuite() == nullptr) {
        EXPECT_EQ(DepthCon24To32(source.data(), pixels.data(), 2, 1, 6, 8), 0);
        EXPECT_EQ(pixels, Bytes(8, 9));
    }
    VF::Initialize();
    VF::Shutdown(); // it stays
    EXPECT_EQ(DepthCon24To32(source.data(), pixels.data(), 2, 1, 6, 8), 0);
    EXPECT_EQ(pixels, (Bytes{1, 2, 3, 255, 4, 5, 6, 255}));
    EXPECT_EQ(DepthCon32To24(pixels.data(), pixels.data(), 2, 1, 8, 6), 0);
    EXPECT_EQ(pixels, (Bytes{1, 2, 3, 4, 5, 6, 6, 255}));
    const auto* const suite = VF::Pixmaps::CurrentSuite();
    EXPECT_STREQ(suite->name, "base suite");
    EXPECT_EQ(suite->version, 0x000B0001U);
    EXPECT_EQ(suite->entries[VF::Pixmaps::kCopy32Entry].function.convert, &KxCopy32); // two names, one function
    EXPECT_EQ(suite->entries[10].function.idle, &tpixLockPixels);
}

TEST(PixmapDepths, WalkRowsByTheirOwnSteps) {
    const Bytes words{0xFF, 0x7F, 0, 0x80, 0x1F, 0, 0, 0}; // two rows of one pixel and a gap
    Bytes pixels(8);
    DepthCon16To32(words.data() + 4, pixels.data(), 1, 2, -4, 4);
    EXPECT_EQ(pixels, (Bytes{0xF8, 0, 0, 255, 0xF8, 0xF8, 0xF8, 255}));
    const Bytes indexes{1, 0, 1};
    const std::vector<std::uint32_t> palette{0x04030201, 0xDEADBEEF}; // ends behind the last entry used
    Bytes three(12);
    DepthCon8To32(indexes.data(), three.data(), 3, 1, 0, 0, palette.data());
    EXPECT_EQ(three, (Bytes{0xEF, 0xBE, 0xAD, 0xDE, 1, 2, 3, 4, 0xEF, 0xBE, 0xAD, 0xDE}));
    Bytes turned(8);
    EXPECT_EQ(Con32ToQ32(pixels.data(), turned.data() + 4, 4, 4, 1, 2), 0);
    EXPECT_EQ(turned, (Bytes{255, 0xF8, 0xF8, 0xF8, 255, 0, 0, 0xF8}));
    for (const auto& size : {std::pair{0, 3}, {3, 0}, {-1, 2}, {INT32_MIN, INT32_MIN}}) {
        DepthCon32To16(pixels.data(), three.data(), size.first, size.second, 4, 4);
        A_AlphaToRGB(nullptr, 3, 3, 12);
    }
    EXPECT_EQ(three[0], 0xEF);
}

TEST(AlphaOfPixmaps, IsThatOfWhatTheFrameHas) {
    RECT bounds{0, 0, 5, 3};
    const TPixHand hand = VF::NewTPixWithVideoFrame(&bounds, zynmediatypes::kPixelFormat_BGRA_4444_8u, false, 0,
                                                    zynmediatypes::kPixelAspectRatio_Square, 0, 0, 0);
    ASSERT_NE(hand, nullptr);
    const Bytes grey = Noise(15, 4);
    Bytes back(15);
    GreyBufferToAlpha(hand, grey.data());
    AlphaToGreyBuffer(hand, back.data());
    EXPECT_EQ(back, grey);
    AlphaToInverseRGB(hand);
    const std::uint8_t* const row = (*hand)->pixels + (*hand)->rowbytes;
    EXPECT_EQ((Bytes{row, row + 4}),
              (Bytes{static_cast<std::uint8_t>(255 - grey[5]), static_cast<std::uint8_t>(255 - grey[5]),
                     static_cast<std::uint8_t>(255 - grey[5]), grey[5]}));
    (*hand)->bounds.right = 1 << 20; // more than the frame has
    AlphaToRGB(hand);
    EXPECT_EQ(row[0], 255 - grey[5]);
    (*hand)->bounds = {5, 0, 0, 3};
    AlphaToRGB(hand);
    VF::DisposeTPixFromVideoFrame(hand);
    for (const TPixHand nothing : {hand, TPixHand{nullptr}}) {
        AlphaToRGB(nothing);
        GreyBufferToAlpha(nothing, grey.data());
        AlphaToGreyBuffer(nothing, back.data());
    }
    EXPECT_EQ(back, grey);
    Bytes channel{0, 7, 31, 7};
    ReplaceChannel(channel.data(), 2, 2, 7);
    EXPECT_EQ(channel, (Bytes{0, 31, 0, 31}));
    ReplaceChannel(channel.data(), -1, -4, 0);
    EXPECT_EQ(channel[0], 0);
}

TEST(MaskedCopies, TakeEightBitsDownwards) {
    const Bytes source{200, 10, 255, 100, 1, 2, 3, 4};
    Bytes to{100, 250, 0, 60, 9, 9, 9, 9};
    const Bytes mask{255, 128}; // the first row's mask comes last
    CopyMask8(source.data(), to.data(), 1, 2, 4, 4, 1, mask.data() + 1);
    EXPECT_EQ(to, (Bytes{150, 10 + 119, 128, 60 + 195 * 100 * 127 / 65536, 1, 2, 3, 4}));
}

TEST(MaskedCopies, TakeOneBitFromTheLastMaskRow) {
    Bytes from(4 * 20 * 4, 200), to(4 * 20 * 4, 100);
    TPix source{}, destination{};
    source.bounds = destination.bounds = {0, 0, 20, 4};
    source.rowbytes = destination.rowbytes = 80;
    source.pixels = from.data();
    destination.pixels = to.data();
    const RECT rect{1, 1, 19, 3}; // 18 pixels: mask rows of 4 bytes; two lines, the lower one stored at row 1
    const std::uint8_t mask[8] = {0, 0, 0, 0, 0x80, 0, 0x40, 0xFF};
    const auto touched = [&] {
        std::vector<int> places;
        for (std::size_t i = 0; i < to.size(); i += 4) {
            if (to[i] != 100) {
                places.push_back(static_cast<int>(i / 4));
            }
        }
        return places;
    };
    RECT other = rect;
    other.right = 18;
    const RECT outside{3, 1, 21, 3};
    CopyMaskTPix(&source, &destination, &rect, &other, 0, mask);
    CopyMaskTPix(&source, &destination, &rect, &outside, 0, mask);
    CopyMaskTPix(&source, &destination, &rect, &rect, kPixelCopy_Blend, mask); // weight 0
    CopyMaskTPix(&source, &destination, &rect, &rect, 0, nullptr);
    EXPECT_TRUE(touched().empty());
    CopyMaskTPix(&source, &destination, &rect, &rect, kPixelCopy_Blend | 128, mask);
    EXPECT_EQ(touched(), (std::vector<int>{21, 38})); // in the picture's lower line
    EXPECT_EQ(to[84], 200 * 128 / 255 + 100 * 127 / 255);
    CopyMaskTPix(&source, &destination, &rect, &rect, kPixelCopy_Blend | 255, mask);
    EXPECT_EQ(to[87], 200);
}

TEST(Mattes, AreSmoothedFromWhatWasThere) {
    Bytes pixels{8, 8, 8, 8, 101, 255, 0, 3, 40, 40, 40, 40};
    Bytes mask{0, 0, 100};
    EdgeAliasChannel(pixels.data(), 12, 3, 1, mask.data());
    EXPECT_EQ(mask, (Bytes{0, 255, 100})); // 0; 100; 200: only the middle one is fringe
    const auto smooth = [](int centre) {
        const int across = (8 / 2 + 40 / 2) / 2, down = (centre / 2 + centre / 2) / 2;
        return static_cast<std::uint8_t>((down + across) / 2 + centre / 2);
    };
    EXPECT_EQ(pixels, (Bytes{8, 8, 8, 8, smooth(101), smooth(255), smooth(0), smooth(3), 40, 40, 40, 40}));
    EdgeAliasChannel(pixels.data(), 8, 3, 1, mask.data()); // rows too short
    EdgeAliasChannel(pixels.data(), -12, 3, 1, mask.data());
    EXPECT_EQ(mask[1], 255);
    Bytes column{20, 20}, grey(8, 60); // the second row's sum is of the mask as it was
    EdgeAliasChannel(grey.data(), 4, 1, 2, column.data());
    EXPECT_EQ(column, (Bytes{255, 255}));

    Bytes red(256), green(256), blue(256), pixel{1, 2, 3, 4};
    red[3] = 30, green[2] = 20, blue[1] = 10;
    bn_DoIndexMap(pixel.data(), pixel.data(), 4, 1, 1, red.data(), green.data(), blue.data());
    EXPECT_EQ(pixel, (Bytes{10, 20, 30, 4}));
}

TEST(Mattes, ArePaintedWithCornersCountedThreeTimes) {
    Bytes mask{42, 0, 0, 0, 0, 0, 0, 0, 43}, scratch(9, 1), pixels(36, 5);
    EdgePaintChannel(pixels.data(), 12, 3, 3, 0x44332211, mask.data(), scratch.data());
    EXPECT_EQ(mask, (Bytes{31, 31, 0, 31, 0, 31, 0, 31, 0})); // 3 * 42 is below 128, 3 * 43 is not
    EXPECT_EQ(mask, scratch);
    EXPECT_EQ((Bytes{pixels.begin(), pixels.begin() + 4}), (Bytes{0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(pixels[8], 5);
    Bytes small(6, 1);
    EdgePaintChannel(pixels.data(), 8, 2, 3, 0, small.data(), scratch.data());
    EXPECT_EQ(small, Bytes(6, 1));
    const std::uint8_t a = 1, b = 2, chosen = 9;
    EdgeReconstructAlphas(&a, &b, pixels.data(), &chosen, 1, 1, 0);
    EXPECT_EQ(pixels[3], a);
}

Bytes Convolved(const Bytes& source, int width, int height, const std::vector<std::int16_t>& kernel, bool inPlace) {
    Bytes result = inPlace ? source : Bytes(source.size());
    DoConvolve(inPlace ? result.data() : source.data(), result.data(), kernel.data(), 4 * width, width, height);
    return result;
}

TEST(Convolution, IsThatOfFloats) {
    const Bytes picture = Noise(4 * 37 * 6, 8);
    std::vector<std::int16_t> identity(kConvolveKernel_Numbers);
    identity[4] = identity[kConvolveKernel_Divisor] = 1;
    EXPECT_EQ(Convolved(picture, 37, 6, identity, true), picture);
    Bytes sliding = picture; // onto itself two rows on, which are read after they are written
    DoConvolve(sliding.data(), sliding.data() + 8, identity.data(), 4, 1, 200);
    EXPECT_TRUE(std::equal(sliding.begin() + 8, sliding.begin() + 808, sliding.begin()));
    identity[kConvolveKernel_Divisor] = 0;
    EXPECT_EQ(Convolved(picture, 37, 6, identity, false), Bytes(picture.size()));
    // 61 * 100 times the float nearest to 1 / 61 is a little less than 100.
    EXPECT_EQ(Convolved(Bytes(4, 100), 1, 1, {0, 0, 0, 0, 61, 0, 0, 0, 0, 0, 61}, false), Bytes(4, 99));
    // Any kernel and size against the definition, whichever way its sums are formed.
    std::mt19937 random(6);
    for (int round = 0; round < 200; ++round) {
        std::vector<std::int16_t> kernel(kConvolveKernel_Numbers);
        const int reach = round % 3 == 0 ? 14 : round % 3 == 1 ? 3000 : 32768;
        for (std::int16_t& number : kernel) {
            number =
                static_cast<std::int16_t>(static_cast<int>(random() % (2U * static_cast<unsigned>(reach))) - reach);
        }
        kernel[kConvolveKernel_Divisor] = static_cast<std::int16_t>(round < 120 ? 1 + random() % 130 : random());
        const int width = 1 + static_cast<int>(random() % 70), height = 1 + static_cast<int>(random() % 4);
        const Bytes source = Noise(static_cast<std::size_t>(4 * width * height), static_cast<unsigned>(round));
        Bytes expected(source.size());
        const int divisor = kernel[kConvolveKernel_Divisor];
        const float scale = divisor == 0 ? 0.0F : 1.0F / static_cast<float>(divisor);
        for (int i = 0; i < 4 * width * height; ++i) {
            const int x = i / 4 % width, y = i / 4 / width;
            float sum = 0;
            for (int k = 0; k < 9; ++k) {
                const int at =
                    std::clamp(y + k / 3 - 1, 0, height - 1) * width + std::clamp(x + k % 3 - 1, 0, width - 1);
                sum += static_cast<float>(kernel[static_cast<std::size_t>(k)]) *
                       static_cast<float>(source[static_cast<std::size_t>(4 * at + i % 4)]);
            }
            const float value = (sum + static_cast<float>(kernel[kConvolveKernel_Bias])) * scale;
            expected[static_cast<std::size_t>(i)] =
                static_cast<std::uint8_t>(std::clamp(std::trunc(value), 0.0F, 255.0F));
        }
        ASSERT_EQ(Convolved(source, width, height, kernel, false), expected) << "round " << round;
        ASSERT_EQ(Convolved(source, width, height, kernel, true), expected);
    }
}

} // namespace
