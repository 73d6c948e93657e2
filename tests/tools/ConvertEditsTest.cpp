#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <tuple>

namespace tooltest {
namespace {

const std::string kTape = kSourceFolder + "/media/cockatoo-ntsc.dv"; // 720x480, lower field first, in motion

// The line of the tape that line y of the output shows. Field 0 is the first in time, here the lower one: lines 1, 3...
struct EditCase {
    const char* options;
    int width, height;
    std::function<int(int)> line; ///< -1 for a line that is made of others
    int left = 0;
};
const EditCase kEdits[] = {
    {"--field 0", 720, 240, [](int y) { return 2 * y + 1; }},
    {"--field 1", 720, 240, [](int y) { return 2 * y; }},
    {"--deinterlace 0", 720, 480, [](int y) { return y % 2 == 1 ? y : -1; }},
    {"--deinterlace 1", 720, 480, [](int y) { return y % 2 == 0 ? y : -1; }},
    {"--crop 100,31,300,72", 200, 41, [](int y) { return y + 31; }, 100},
    {"--field 1 --crop 8,3,24,9", 16, 6, [](int y) { return 2 * (y + 3); }, 8},
};

// Each line of the output is the line of the plain conversion that it stands for: no comb, nothing upside down, no
// field in the place of the other.
TEST(ConvertEdits, TakeTheLinesThatTheySay) {
    const ScratchFolder folder;
    const Decoded plain = Convert(kTape, folder / "plain.png");
    const AVFrame& whole = *plain.pictures.at(0);
    for (const EditCase& edit : kEdits) {
        const Decoded is = Convert(kTape, folder / "o.png", edit.options);
        const AVFrame& picture = *is.pictures.at(0);
        ASSERT_EQ(picture.width, edit.width) << edit.options;
        ASSERT_EQ(picture.height, edit.height) << edit.options;
        ASSERT_EQ(picture.format, whole.format);
        int worst = 0;
        for (int y = 0; y < edit.height; ++y) {
            const int line = edit.line(y);
            for (int x = 0; line >= 0 && x < 3 * edit.width; ++x) {
                worst = std::max(worst, std::abs(picture.data[0][y * picture.linesize[0] + x] -
                                                 whole.data[0][line * whole.linesize[0] + 3 * edit.left + x]));
            }
        }
        EXPECT_LE(worst, 2) << edit.options; // codes were rounded once more on the way
    }
}

// Fields read through a pixmap's record: lines of the whole picture, byte for byte, also of a picture of odd height, in
// which the upper field as field 0 begins below the top line.
TEST(TPixCommand, ShowsTheLinesOfAField) {
    const ScratchFolder folder;
    const auto show = [&](const std::string& file, const std::string& options) {
        EXPECT_EQ(RunTool("tpix '" + file + "' -o '" + (folder / "o.png") + "' " + options).exitCode, 0);
        return Decode(folder / "o.png");
    };
    const std::tuple<std::string, std::string, int, int> cases[] = {{kTape, "--field 0", 1, 240},
                                                                    {kTape, "--field 0 --order 1", 0, 240},
                                                                    {kCity, "--field 0 --order 1", 1, 202},
                                                                    {kCity, "--field 1 --order 1", 0, 203}};
    for (const auto& [file, options, firstLine, lines] : cases) {
        const Decoded whole = show(file, "");
        const Decoded field = show(file, options);
        const AVFrame& from = *whole.pictures.at(0);
        const AVFrame& is = *field.pictures.at(0);
        ASSERT_EQ(is.height, lines) << options;
        for (int y = 0; y < lines; ++y) {
            EXPECT_EQ(std::memcmp(is.data[0] + std::ptrdiff_t{y} * is.linesize[0],
                                  from.data[0] + std::ptrdiff_t{firstLine + 2 * y} * from.linesize[0],
                                  std::size_t{720} * 3),
                      0)
                << options << ", line " << y;
        }
    }
    EXPECT_EQ(RunTool("tpix '" + kTape + "' -o '" + (folder / "o.png") + "' --picture 99").exitCode, 2);
}

// A part that begins on an odd line begins with the other field, and clips say so.
TEST(ConvertEdits, FieldOrderOfAPart) {
    const ScratchFolder folder;
    for (const int top : {30, 31}) {
        const Decoded is = Convert(kTape, folder / "o.mkv", "--crop 0," + std::to_string(top) + ",720,270");
        EXPECT_EQ(is.pictures.at(0)->interlaced_frame, 1);
        EXPECT_EQ(is.pictures.at(0)->top_field_first, top % 2) << top;
    }
    const Decoded whole = Convert(kTape, folder / "o.mkv", "--deinterlace 0");
    EXPECT_EQ(whole.pictures.at(0)->interlaced_frame, 0);
}

TEST(ConvertEdits, AlphaAndItsBounds) {
    const ScratchFolder folder;
    EXPECT_EQ(RunTool("bounds " + kTape).output, "0: 0,0,720,480\n") << "no alpha, so the whole picture";
    WriteGradient(folder / "in.mkv", {AV_PIX_FMT_YA8, AV_CODEC_ID_PNG}, 32, 16); // opaque
    EXPECT_EQ(RunTool("convert " + (folder / "in.mkv") + " " + (folder / "clear.png") + " --alpha invert").errors, "");
    EXPECT_EQ(RunTool("bounds " + (folder / "clear.png")).output, "0: 0,0,0,0\n");
    EXPECT_EQ(RunTool("convert " + (folder / "clear.png") + " " + (folder / "o.png") + " --alpha opaque").errors, "");
    EXPECT_EQ(RunTool("bounds " + (folder / "o.png")).output, "0: 0,0,32,16\n");
}

} // namespace
} // namespace tooltest
