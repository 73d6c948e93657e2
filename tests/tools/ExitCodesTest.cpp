#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace tooltest {
namespace {

struct ExitCase {
    const char* arguments; ///< @clip stands for a good clip, @ for the test's folder
    int exitCode;
    const char* message; ///< part of what the user is told
};

const ExitCase kExits[] = {
    {"--help", 0, ""},
    {"", 2, "subcommand"},
    {"formats --json --markdown", 2, ""},
    {"convert @clip @/o.png --bogus", 2, "--bogus"},
    {"convert @clip @/o.png --size 0x10", 2, "between 1 and"},
    {"convert @clip @/o.png --size 99999999999x10", 2, "between 1 and"},
    {"convert @clip @/o.png --format BGRA", 2, "there is bgra"},
    {"convert @clip @/o.png --format Bg16", 2, "does not know"},
    {"convert @clip @/o.png --quality 6", 2, "quality"},
    {"convert @clip @/o.png --frames 5:5", 2, "selects nothing"},
    {"convert @clip @/o.png --frames 5000:", 2, "fewer pictures"},
    {"convert @clip @/o.unknown", 2, "extension"},
    {"convert @clip @/o.png --crop 1,2,3", 2, "L,T,R,B"},
    {"convert @clip @/o.png --crop 0,0,721,9", 2, "reaches out"},
    {"convert @clip @/o.png --field 2", 2, "field"},
    {"convert @clip @/o.png --field 0 --deinterlace 1", 2, "excludes"},
    {"convert @clip @/o.png --via-device 99", 2, "--via-device 99: no such device"},
    {"convert @/same.png @/same.png", 2, "is the input"},
    {"convert @/missing.mp4 @/o.png", 3, "No such file"},
    {"convert http://localhost/x.mp4 @/o.png", 3, "No such file"},
    {"convert @ @/o.png", 3, "directory"},
    {"convert @/text.mp4 @/o.png", 4, "not a media file"},
    {"convert @/list.m3u8 @/o.png", 4, ""},
    {"convert @/truncated.mp4 @/o.png", 4, "not a media file"},
    {"convert @/cut.png @/o.png", 4, ""},
    {"convert @clip @/no/such/folder/o.png", 5, "No such file"},
    {"convert @clip @/full.png", 5, "No space"},
    {"convert @clip @/full.y4m --frames :2", 5, "No space"},
    {"convert @clip @/o.png --format dvp2 --size 64x64", 6, "does not convert"},
    {"explain bgra UYVY", 2, "DST UYVY: no such format; there is uyvy"},
    {"explain bgra:0x10 uyvy", 2, "SRC 0x10: both sides"},
    {"explain bgra uyvy:left", 2, "DST left: a size"},
    {"explain bgra dvp2", 6, "1920x1080 bgra to 1920x1080 dvp2: DV has one size for each format (-3)"},
};

// "@clip" is a real clip, any other "@" the test's folder.
std::string Expanded(std::string_view arguments, const std::string& folder) {
    constexpr std::string_view kClip = "@clip";
    std::string expanded;
    while (!arguments.empty()) {
        const bool clip = arguments.starts_with(kClip);
        expanded += clip ? kCity : arguments.front() == '@' ? folder : std::string(1, arguments.front());
        arguments.remove_prefix(clip ? kClip.size() : 1);
    }
    return expanded;
}

class ExitCodes : public testing::Test {
protected:
    ExitCodes() {
        WriteGradient(mFolder / "same.png", {AV_PIX_FMT_RGB24, AV_CODEC_ID_PNG}, 32, 32);
        WriteFile(mFolder / "text.mp4", "This is a letter, not a clip.\n");
        WriteFile(mFolder / "list.m3u8", "#EXTM3U\n#EXTINF:1,\nhttp://localhost:9/x.ts\n#EXT-X-ENDLIST\n");
        WriteFile(mFolder / "truncated.mp4", ReadFile(kCockatoo).substr(0, 300'000));
        RunTool("convert " + kCity + " " + (mFolder / "cut.png") + " --frames :1");
        std::filesystem::resize_file(mFolder / "cut.png", 20);
        for (const char* name : {"full.png", "full.y4m"}) {
            std::filesystem::create_symlink("/dev/full", mFolder / name);
        }
    }
    ScratchFolder mFolder;
};

TEST_F(ExitCodes, TellWhatWentWrong) {
    for (const ExitCase& one : kExits) {
        const Result result = RunTool(Expanded(one.arguments, mFolder / ""));
        EXPECT_EQ(result.exitCode, one.exitCode) << one.arguments << "\n" << result.errors;
        EXPECT_NE(result.errors.find(one.message), std::string::npos) << one.arguments << "\n" << result.errors;
    }
    EXPECT_FALSE(std::filesystem::exists(mFolder / "o.png")); // nothing is left behind by a refusal
}

TEST_F(ExitCodes, DamageInTheMiddleIsReportedAndTheRunGoesOn) {
    std::string clip = ReadFile(kCockatoo);
    const std::size_t middle = clip.size() / 2;
    clip.replace(middle, 20'000, std::string(20'000, '\x5A'));
    WriteFile(mFolder / "damaged.mp4", clip);
    const Result result = RunTool("convert " + (mFolder / "damaged.mp4") + " " + (mFolder / "o.y4m") +
                                  " --format yv17 --size 64x36 --quality 0");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.errors.find("damaged.mp4: p"), std::string::npos) << result.errors; // a packet or a picture
    EXPECT_NE(result.output.find("damage report"), std::string::npos) << result.output;
    EXPECT_GT(Decode(mFolder / "o.y4m").pictures.size(), 270U); // of 280
}

TEST_F(ExitCodes, AClipWithoutItsEndGivesThePicturesBeforeTheCut) {
    WriteFile(mFolder / "cut.mpg", ReadFile(kCity).substr(0, 1'500'000));
    const Result result =
        RunTool("convert " + (mFolder / "cut.mpg") + " " + (mFolder / "o.y4m") + " --format yv12 --size 64x36");
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    const std::size_t pictures = Decode(mFolder / "o.y4m").pictures.size();
    EXPECT_GT(pictures, 20U);
    EXPECT_LT(pictures, 190U);
}

} // namespace
} // namespace tooltest
