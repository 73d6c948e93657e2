#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tooltest {
namespace {

struct LayoutCase {
    Layout layout;
    double tolerance; ///< codes of 8-bit RGB
};

// Every road into a frame: a picture that comes out in other colours, upside down or shifted differs by more.
const LayoutCase kLayouts[] = {
    // planar frames
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG}, 2.5},
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG}, 2.5},
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, true}, 3.5},
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG}, 2.5},
    // bytes
    {{AV_PIX_FMT_RGB24, AV_CODEC_ID_PNG}, 0.51},
    {{AV_PIX_FMT_RGBA, AV_CODEC_ID_PNG}, 0.51},
    {{AV_PIX_FMT_BGRA, AV_CODEC_ID_FFV1}, 0.51},
    {{AV_PIX_FMT_PAL8, AV_CODEC_ID_PNG}, 43},
    {{AV_PIX_FMT_YUV444P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG}, 2.5},
    // 4:2:2
    {{AV_PIX_FMT_YUV422P, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG}, 2.5},
    {{AV_PIX_FMT_YUV422P10, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG}, 1.5},
    // float
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG}, 2.5},
    {{AV_PIX_FMT_YUV420P10, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG}, 1.5},
    {{AV_PIX_FMT_YUV420P10, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG, true}, 1.5},
    {{AV_PIX_FMT_YUV411P, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG}, 2.5},
    {{AV_PIX_FMT_RGB48BE, AV_CODEC_ID_PNG}, 0.51},
    {{AV_PIX_FMT_GBRP10, AV_CODEC_ID_FFV1}, 0.63},
    // swscale, which reads BT.2020 as such: this one is BT.601 in truth and tests nothing but orientation and channels
    {{AV_PIX_FMT_YUV444P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG}, 26},
};

class ConvertLayouts : public testing::TestWithParam<LayoutCase> {};

TEST_P(ConvertLayouts, KeepsEveryColourInItsPlace) {
    constexpr int width = 98;
    constexpr int height = 64;
    const ScratchFolder folder;
    WriteGradient(folder / "in.mkv", GetParam().layout, width, height);
    const Result result = RunTool("convert " + (folder / "in.mkv") + " " + (folder / "out.png"));
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    const Decoded decoded = Decode(folder / "out.png");
    const AVFrame& picture = *decoded.pictures.at(0);
    ASSERT_EQ(picture.width, width);
    ASSERT_EQ(picture.height, height);
    EXPECT_EQ(av_cmp_q(decoded.sampleAspectRatio, {8, 9}), 0);

    double worst = 0;
    for (int y = 4; y < height - 4; ++y) { // chroma beyond the edges is anybody's guess
        for (int x = 4; x < width - 4; ++x) {
            const RGB colour = ColourInRGB(picture, x, y);
            const RGB wanted = Gradient(x, y, width, height);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                worst = std::max(worst, std::abs(colour[channel] - wanted[channel]));
            }
        }
    }
    EXPECT_LE(worst, GetParam().tolerance);
}

std::string NameOf(const testing::TestParamInfo<LayoutCase>& info) {
    const Layout& layout = info.param.layout;
    return std::to_string(info.index) + "_" + av_get_pix_fmt_name(layout.format) +
           (layout.matrix == AVCOL_SPC_BT709 ? "_709" : "") + (layout.range == AVCOL_RANGE_JPEG ? "_full" : "") +
           (layout.interlaced ? "_fields" : "");
}
INSTANTIATE_TEST_SUITE_P(Every, ConvertLayouts, testing::ValuesIn(kLayouts), NameOf);

TEST(ConvertGrey, MakesRedGreenAndBlueEqual) {
    const ScratchFolder folder;
    for (const AVPixelFormat format : {AV_PIX_FMT_GRAY8, AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY16BE}) {
        WriteGradient(folder / "in.mkv", {format, AV_CODEC_ID_PNG}, 64, 32);
        ASSERT_EQ(RunTool("convert " + (folder / "in.mkv") + " " + (folder / "out.png")).exitCode, 0);
        const Decoded decoded = Decode(folder / "out.png");
        const RGB wanted = Gradient(40, 9, 64, 32);
        const double grey = 0.299 * wanted[0] + 0.587 * wanted[1] + 0.114 * wanted[2];
        for (const double channel : ColourInRGB(*decoded.pictures.at(0), 40, 9)) {
            EXPECT_NEAR(channel, grey, 0.51) << av_get_pix_fmt_name(format);
        }
        // Alpha survives where the input has it, and none is made up.
        EXPECT_EQ(decoded.pictures.at(0)->format == AV_PIX_FMT_RGBA, format == AV_PIX_FMT_YA8);
    }
}

TEST(ConvertMarks, FieldsAndShapeOfAPixelReachTheOutput) {
    const ScratchFolder folder;
    WriteGradient(folder / "in.mkv", {AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, true},
                  96, 64);
    ASSERT_EQ(RunTool("convert " + (folder / "in.mkv") + " " + (folder / "out.y4m")).exitCode, 0);
    const std::string header = ReadFile(folder / "out.y4m").substr(0, 60);
    EXPECT_NE(header.find(" It "), std::string::npos) << header;
    EXPECT_NE(header.find(" A8:9 "), std::string::npos) << header;

    // A PNG counts pixels per unit, across and down: narrow pixels fit nine times where tall ones fit eight times.
    ASSERT_EQ(RunTool("convert " + (folder / "in.mkv") + " " + (folder / "out.png")).exitCode, 0);
    const std::string png = ReadFile(folder / "out.png");
    const std::size_t density = png.find("pHYs");
    ASSERT_NE(density, std::string::npos);
    EXPECT_EQ(png.substr(density + 4, 9), std::string({0, 0, 0, 9, 0, 0, 0, 8, 0}));
    ASSERT_EQ(RunTool("convert " + (folder / "out.png") + " " + (folder / "back.y4m")).exitCode, 0);
    EXPECT_NE(ReadFile(folder / "back.y4m").substr(0, 60).find(" A8:9 "), std::string::npos);
}

} // namespace
} // namespace tooltest
