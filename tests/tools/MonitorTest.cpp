#include "BackgroundTool.h"
#include "LibavPictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace tooltest {
namespace {

const std::string kTape = kSourceFolder + "/media/cockatoo-ntsc.dv"; // one picture, 4:3

// What lies at a place of an 8-bit RGB or RGBA picture: 0xRRGGBB.
unsigned At(const AVFrame& picture, int x, int y) {
    const int pixelSize = picture.format == AV_PIX_FMT_RGBA ? 4 : 3;
    const std::uint8_t* pixel = picture.data[0] + y * picture.linesize[0] + x * pixelSize;
    return static_cast<unsigned>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]);
}

// Whether a part of a picture is another picture, as far as a margin inside.
bool Shows(const AVFrame& composite, int left, int top, const AVFrame& picture, int margin = 0) {
    for (int y = margin; y < picture.height - margin; ++y) {
        for (int x = margin; x < picture.width - margin; ++x) {
            if (At(composite, left + x, top + y) != At(picture, x, y)) {
                return false;
            }
        }
    }
    return true;
}

bool IsFilled(const AVFrame& picture, int left, int top, int right, int bottom, unsigned colour) {
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            if (At(picture, x, y) != colour) {
                return false;
            }
        }
    }
    return true;
}

// Each test shares frames in a folder of its own, which is empty afterwards.
class Monitor : public testing::Test {
protected:
    Monitor() { setenv("VF_SHAREHUB_DIR", mShared.c_str(), 1); }
    ~Monitor() override {
        EXPECT_TRUE(std::filesystem::is_empty(mShared));
        unsetenv("VF_SHAREHUB_DIR");
    }

    std::string Numbered(int number) const {
        const std::string digits = std::to_string(number);
        return mFolder / ("out/" + std::string(5 - digits.size(), '0') + digits + ".png");
    }

    ScratchFolder mFolder;
    const std::string mShared = mFolder / "shared";
};

constexpr unsigned kRed = 0xFF0000;
constexpr unsigned kYellow = 0xFFFF00;

// A 4:2:0 clip, interlaced MPEG, a DV tape of one picture, and a still, all at once.
TEST_F(Monitor, CellsShowTheirCamerasAndTheSelectedOneHasTheBorder) {
    const std::string still = mFolder / "still.png";
    const std::string small = " --quality 2 --size 640x360";
    Convert(kCity, still, "--frames 7:8 --size 640x360");
    const std::string cameras = kCockatoo + ' ' + kCity + ' ' + kTape + ' ' + still;
    const Result run =
        RunTool("monitor " + cameras + " --size 1280x720 --selected 4 --frames 40:42 -o " + (mFolder / "out"));
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(run.output.find("2 composites"), std::string::npos) << run.output;
    for (const int number : {40, 41}) {
        const std::string frame = " --frames " + std::to_string(number) + ':' + std::to_string(number + 1);
        const Decoded composite = Decode(Numbered(number));
        const AVFrame& picture = *composite.pictures.at(0);
        ASSERT_EQ(picture.width, 1280);
        ASSERT_EQ(picture.height, 720);
        const Decoded cockatoo = Convert(kCockatoo, mFolder / "cockatoo.png", frame + small);
        EXPECT_TRUE(Shows(picture, 0, 0, *cockatoo.pictures.at(0))) << number;
        const Decoded shown = Decode(still);
        EXPECT_TRUE(Shows(picture, 640, 360, *shown.pictures.at(0), 4)) << number;
        EXPECT_FALSE(IsFilled(picture, 80, 360, 560, 720, 0)) << number; // the tape, between bars
        EXPECT_TRUE(IsFilled(picture, 640, 360, 1280, 364, kRed) && IsFilled(picture, 1276, 364, 1280, 716, kRed))
            << number;
    }

    // The selected camera beside the others, from a clip with another rate than the composites'.
    const std::string out = mFolder / "large.png";
    const Result large = RunTool("monitor --large --yellow --selected 2 --rate 10 --size 640x360 --frames 7: -o " +
                                 out + " -- " + still + ' ' + kCockatoo);
    ASSERT_EQ(large.exitCode, 0) << large.errors;
    const auto index = std::lround(7 * av_q2d(Decode(kCockatoo, 1).frameRate) / 10);
    const std::string frame = "--frames " + std::to_string(index) + ':' + std::to_string(index + 1);
    const Decoded wanted = Convert(kCockatoo, mFolder / "cockatoo.png", frame + " --quality 2 --size 320x180");
    const Decoded composite = Decode(out);
    EXPECT_TRUE(Shows(*composite.pictures.at(0), 320, 90, *wanted.pictures.at(0)));
    EXPECT_TRUE(IsFilled(*composite.pictures.at(0), 160, 0, 320, 4, kYellow));
    EXPECT_TRUE(IsFilled(*composite.pictures.at(0), 0, 180, 320, 360, 0)); // no cameras
}

TEST_F(Monitor, GoesOnWithoutACameraThatIsMissingEndsOrIsKilled) {
    Convert(kCockatoo, mFolder / "short.mp4", "--frames :4 --size 64x36");
    BackgroundTool monitor("monitor --size 128x72 --selected 0 --rate 50 --frames :250 -o " + (mFolder / "out/") + ' ' +
                           kCity + ' ' + kCockatoo + ' ' + (mFolder / "missing.mp4") + ' ' + (mFolder / "short.mp4"));
    WaitUntil([&] { return std::filesystem::exists(Numbered(10)); });
    // The second of its processes decodes the cockatoo.
    const std::string children =
        "/proc/" + std::to_string(monitor.Process()) + "/task/" + std::to_string(monitor.Process()) + "/children";
    pid_t second = 0;
    std::ifstream(children) >> second >> second;
    ASSERT_GT(second, 0);
    kill(second, SIGKILL);
    const Result run = monitor.Wait();
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(run.errors.find("camera 2: its process has ended"), std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("missing.mp4: No such file"), std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("camera 4: its clip has ended"), std::string::npos) << run.errors;
    const auto isBlack = [this](int number, int left, int top) {
        return IsFilled(*Decode(Numbered(number)).pictures.at(0), left, top, left + 64, top + 36, 0);
    };
    EXPECT_FALSE(isBlack(2, 64, 0) || isBlack(2, 64, 36) || isBlack(2, 0, 0));
    EXPECT_TRUE(isBlack(2, 0, 36) && isBlack(20, 64, 36));
    EXPECT_TRUE(isBlack(249, 64, 0));
    EXPECT_FALSE(isBlack(249, 0, 0));

    EXPECT_EQ(RunTool("monitor -o " + (mFolder / "o.mp4") + ' ' + (mFolder / "missing.mp4")).exitCode, 3);
    EXPECT_EQ(RunTool("monitor --size 642x360 --large -o " + (mFolder / "o.mp4") + ' ' + kCity).exitCode, 2);
}

TEST_F(Monitor, AnInterruptedClipIsWhole) {
    BackgroundTool monitor("monitor --size 128x72 -o " + (mFolder / "o.mkv") + ' ' + kCity + ' ' + kCockatoo);
    WaitUntil([&] { return std::filesystem::exists(mFolder / "o.mkv"); });
    EXPECT_EQ(monitor.End(SIGTERM).exitCode, 0);
    EXPECT_GE(Decode(mFolder / "o.mkv").pictures.size(), 1U);
}

} // namespace
} // namespace tooltest
