#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tooltest {
namespace {

// Largest difference of an RGB picture from a decoded 4:2:0 one, at positions of a grid where chroma is flat.
double WorstDifference(const AVFrame& rgb, const AVFrame& source, bool bt709, int& positions) {
    double worst = 0;
    positions = 0;
    for (int y = 6; y < source.height - 6; y += 7) {
        for (int x = 6; x < source.width - 6; x += 7) {
            if (IsChromaFlat(source, x, y)) {
                ++positions;
                const RGB is = ColourInRGB(rgb, x, y);
                const RGB wanted = ColourIn420(source, x, y, bt709);
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    worst = std::max(worst, std::abs(is[channel] - wanted[channel]));
                }
            }
        }
    }
    return worst;
}

template <class Colour>
RGB MeanOf(int left, int top, int right, int bottom, const Colour& colourAt) {
    RGB mean{};
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const RGB colour = colourAt(x, y);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                mean[channel] += colour[channel] / ((right - left) * (bottom - top));
            }
        }
    }
    return mean;
}

struct ClipCase {
    const char* name;
    const std::string* path;
    int number;
    bool bt709;
};
const ClipCase kClips[] = {{"cockatoo", &kCockatoo, 40, true}, {"city", &kCity, 25, false}};

class ConvertClip : public testing::TestWithParam<ClipCase> {
protected:
    std::string Range() const {
        return " --frames " + std::to_string(GetParam().number) + ":" + std::to_string(GetParam().number + 1);
    }
    Decoded Reference() const { return Decode(*GetParam().path, GetParam().number, GetParam().number + 1); }
    ScratchFolder mFolder;
};

// Formats of every model and precision: each adds no more than its own rounding.
TEST_P(ConvertClip, GivesTheColoursOfTheDecodedPicture) {
    const Decoded reference = Reference();
    for (const char* format : {"bgra", "Argb", "BGpL", "VUYA", "v210"}) {
        const Result result =
            RunTool("convert " + *GetParam().path + " " + (mFolder / "out.png") + Range() + " --format " + format);
        ASSERT_EQ(result.exitCode, 0) << result.errors;
        const Decoded decoded = Decode(mFolder / "out.png");
        ASSERT_EQ(decoded.pictures.at(0)->height, reference.pictures.at(0)->height);
        int positions = 0;
        EXPECT_LE(WorstDifference(*decoded.pictures[0], *reference.pictures.at(0), GetParam().bt709, positions), 4)
            << format;
        EXPECT_GT(positions, 500);
    }
}

TEST_P(ConvertClip, HalvesTheSize) {
    const Decoded reference = Reference();
    const AVFrame& source = *reference.pictures.at(0);
    const int width = source.width / 2;
    const int height = source.height / 2;
    for (const char* quality : {"0", "3", "5"}) {
        ASSERT_EQ(RunTool("convert " + *GetParam().path + " " + (mFolder / "out.png") + Range() + " --size " +
                          std::to_string(width) + "x" + std::to_string(height) + " --quality " + quality)
                      .exitCode,
                  0);
        const Decoded decoded = Decode(mFolder / "out.png");
        const AVFrame& half = *decoded.pictures.at(0);
        ASSERT_EQ(half.width, width);
        ASSERT_EQ(half.height, height);
        // Blocks look alike whatever the filter; a picture out of place by two pixels does not.
        double sum = 0;
        int count = 0;
        constexpr int block = 6;
        for (int y = 0; y + block <= height; y += block) {
            for (int x = 0; x + block <= width; x += block, ++count) {
                const RGB is =
                    MeanOf(x, y, x + block, y + block, [&](int px, int py) { return ColourInRGB(half, px, py); });
                const RGB wanted =
                    MeanOf(2 * x, y * source.height / height, 2 * (x + block), (y + block) * source.height / height,
                           [&](int px, int py) { return ColourIn420(source, px, py, GetParam().bt709); });
                sum += (std::abs(is[0] - wanted[0]) + std::abs(is[1] - wanted[1]) + std::abs(is[2] - wanted[2])) / 3;
            }
        }
        EXPECT_LT(sum / count, 2) << "quality " << quality;
    }
}

// Through the format that the pictures have already, nothing is lost.
TEST_P(ConvertClip, KeepsPlanarPicturesByteForByte) {
    const Decoded reference = Reference();
    const AVFrame& source = *reference.pictures.at(0);
    ASSERT_EQ(RunTool("convert " + *GetParam().path + " " + (mFolder / "out.y4m") + Range() + " --format " +
                      (GetParam().bt709 ? "yv17" : "yv12"))
                  .exitCode,
              0);
    const Decoded decoded = Decode(mFolder / "out.y4m");
    const AVFrame& copy = *decoded.pictures.at(0);
    ASSERT_EQ(copy.width, source.width);
    ASSERT_EQ(copy.height, source.height);
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < AV_CEIL_RSHIFT(source.height, shift); ++y) {
            ASSERT_EQ(std::memcmp(copy.data[plane] + y * copy.linesize[plane],
                                  source.data[plane] + y * source.linesize[plane],
                                  static_cast<std::size_t>(AV_CEIL_RSHIFT(source.width, shift))),
                      0)
                << "plane " << plane << " line " << y;
        }
    }
}

TEST_P(ConvertClip, WritesAClip) {
    constexpr int first = 10;
    constexpr int count = 12;
    const Result result = RunTool("convert " + *GetParam().path + " " + (mFolder / "out.mp4") + " --frames " +
                                  std::to_string(first) + ":" + std::to_string(first + count));
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_NE(result.output.find("12 frames"), std::string::npos) << result.output;
    EXPECT_EQ(result.errors, ""); // no bar where there is no terminal
    const Decoded reference = Decode(*GetParam().path, first, first + count);
    const Decoded decoded = Decode(mFolder / "out.mp4");
    ASSERT_EQ(decoded.pictures.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(av_cmp_q(decoded.frameRate, reference.frameRate), 0);
    EXPECT_EQ(av_cmp_q(decoded.sampleAspectRatio, {1, 1}), 0);
    // MPEG-4, which takes the odd height, has no place for a matrix.
    EXPECT_EQ(decoded.pictures[0]->colorspace, GetParam().bt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_UNSPECIFIED);
    for (std::size_t number : {std::size_t{0}, decoded.pictures.size() - 1}) {
        const AVFrame& is = *decoded.pictures[number];
        const AVFrame& was = *reference.pictures[number];
        double sum = 0;
        for (int y = 0; y < was.height; ++y) {
            for (int x = 0; x < was.width; ++x) {
                sum += std::abs(is.data[0][y * is.linesize[0] + x] - was.data[0][y * was.linesize[0] + x]);
            }
        }
        EXPECT_LT(sum / (was.width * was.height), 3.0) << "picture " << number;
    }
}

INSTANTIATE_TEST_SUITE_P(Bundled, ConvertClip, testing::ValuesIn(kClips),
                         [](const auto& clip) { return std::string(clip.param.name); });

// A file of 90 lines that cannot name its matrix is read as BT.601, whatever the source had.
TEST(ConvertMatrix, FollowsWhatTheOutputCanSay) {
    const ScratchFolder folder;
    const std::string command = "convert --frames 40:41 --size 160x90 --quality 0 " + kCockatoo + " ";
    ASSERT_EQ(RunTool(command + (folder / "is.png")).exitCode, 0);
    const Decoded reference = Decode(folder / "is.png");
    for (const char* name : {"o.y4m", "o.mp4"}) {
        ASSERT_EQ(RunTool(command + (folder / name)).exitCode, 0);
        const Decoded decoded = Decode(folder / name);
        const AVFrame& picture = *decoded.pictures.at(0);
        const bool bt709 = picture.colorspace == AVCOL_SPC_BT709;
        EXPECT_EQ(bt709, std::string(name) == "o.mp4");
        const auto mean = [&](const auto& colourAt) { return MeanOf(140, 50, 156, 88, colourAt); };
        const RGB is = mean([&](int x, int y) { return ColourIn420(picture, x, y, bt709); });
        const RGB wanted = mean([&](int x, int y) { return ColourInRGB(*reference.pictures.at(0), x, y); });
        for (std::size_t channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(is[channel], wanted[channel], 1.5) << name;
        }
    }
}

TEST(ConvertNumbered, WritesOneStillPerPictureNamedByItsPlace) {
    const ScratchFolder folder;
    ASSERT_EQ(RunTool("convert " + kCity + " " + (folder / "s-%03d.png") + " --frames 8:11 --size 60x34").exitCode, 0);
    for (const char* name : {"s-008.png", "s-009.png", "s-010.png"}) {
        const Decoded still = Decode(folder / name);
        EXPECT_EQ(still.pictures.at(0)->width, 60) << name;
        // 720x405 shown in 60x34: pixels become a little taller.
        EXPECT_EQ(av_cmp_q(still.sampleAspectRatio, {136, 135}), 0) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "s-007.png"));
    EXPECT_FALSE(std::filesystem::exists(folder / "s-011.png"));
}

} // namespace
} // namespace tooltest
