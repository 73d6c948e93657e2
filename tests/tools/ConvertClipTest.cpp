#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

namespace tooltest {
namespace {

struct ClipCase {
    const std::string& path;
    bool bt709;
    const char* ownFormat;
};
const ClipCase kClips[] = {{kCockatoo, true, "yv17"}, {kCity, false, "yv12"}};

// Formats of every model and precision: each adds no more than its own rounding, and chroma stays where it is sited.
TEST(ConvertClip, GivesTheColoursOfTheDecodedPicture) {
    const ScratchFolder folder;
    for (const ClipCase& clip : kClips) {
        const Decoded reference = Decode(clip.path, 41);
        const AVFrame& source = *reference.pictures.at(40);
        const auto compare = [&](const std::string& name, const std::string& format, std::int32_t through) {
            const Decoded is = Convert(clip.path, folder / name, "--frames 40:41 --format " + format);
            return Compare(InRGB(*is.pictures.at(0), clip.bt709), InRGB(source, clip.bt709, through));
        };
        for (const char* format : {"bgra", "Argb", "BGpL", "VUYA"}) {
            EXPECT_LE(compare("o.png", format, kBGRA).worst, 0.51) << clip.path << format;
        }
        EXPECT_LE(compare("o.png", "v210", 0x851).worst, 1) << clip.path;
        // Through the format that the pictures have already, nothing is lost.
        EXPECT_EQ(compare("o.y4m", clip.ownFormat, kBGRA).worst, 0) << clip.path;
    }
}

TEST(ConvertClip, WritesAClip) {
    const ScratchFolder folder;
    for (const ClipCase& clip : kClips) {
        const Decoded decoded = Convert(clip.path, folder / "o.mp4", "--frames 10:22");
        const Decoded reference = Decode(clip.path, 22);
        ASSERT_EQ(decoded.pictures.size(), 12U);
        EXPECT_EQ(av_cmp_q(decoded.frameRate, reference.frameRate), 0);
        EXPECT_EQ(av_cmp_q(decoded.sampleAspectRatio, {1, 1}), 0);
        // MPEG-4, which takes the odd height, has no place for a matrix.
        EXPECT_EQ(decoded.pictures[0]->colorspace, clip.bt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_UNSPECIFIED);
        for (const std::size_t number : {0, 11}) {
            const reference::Picture wanted = InRGB(*reference.pictures.at(number + 10), clip.bt709);
            const Difference by = Compare(InRGB(*decoded.pictures[number], clip.bt709), wanted);
            EXPECT_LT(by.mean, 3) << clip.path << number;
        }
    }
}

// A file of 90 lines that cannot name its matrix is read as BT.601, whatever the source had.
TEST(ConvertClip, FollowsTheMatrixThatTheOutputCanSay) {
    const ScratchFolder folder;
    const auto colours = [&](const std::string& name) {
        const Decoded decoded = Convert(kCockatoo, folder / name, "--frames 40:41 --size 160x90 --quality 0");
        const bool bt709 = decoded.pictures.at(0)->colorspace == AVCOL_SPC_BT709;
        EXPECT_EQ(bt709, name == "o.mp4");
        return InRGB(*decoded.pictures[0], bt709);
    };
    const reference::Picture wanted = colours("o.png");
    EXPECT_LE(Compare(colours("o.y4m"), wanted).bias, 0.2);
    EXPECT_LE(Compare(colours("o.mp4"), wanted).bias, 0.2);
}

TEST(ConvertClip, WritesOneStillPerPictureNamedByItsPlace) {
    const ScratchFolder folder;
    const std::string command = "convert " + kCity + " " + (folder / "s-%03d.png") + " --frames 8:11 --size 60x34";
    EXPECT_NE(RunTool(command).output.find("3 frames"), std::string::npos);
    for (int number = 7; number <= 11; ++number) {
        const std::string name = folder / ("s-0" + std::to_string(number / 10) + std::to_string(number % 10) + ".png");
        ASSERT_EQ(std::filesystem::exists(name), number >= 8 && number < 11) << name;
    }
    // 720x405 shown in 60x34: pixels become a little taller, 136:135.
    EXPECT_EQ(av_cmp_q(Decode(folder / "s-010.png").sampleAspectRatio, {135, 136}), 0);
}

} // namespace
} // namespace tooltest
