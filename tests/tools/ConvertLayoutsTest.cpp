#include "LibavPictures.h"
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tooltest {
namespace {

struct LayoutCase {
    Layout layout;
    double tolerance; ///< codes of 8-bit RGB
};

// Every road into a frame: a picture that comes out in other colours, upside down or shifted differs by more.
const LayoutCase kLayouts[] = {
    // planar frames
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, true}, 3.5},
    {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG}, 2.5},
    // bytes
    {{AV_PIX_FMT_BGRA, AV_CODEC_ID_FFV1}, 0.51},
    {{AV_PIX_FMT_PAL8, AV_CODEC_ID_PNG}, 43},
    {{AV_PIX_FMT_YA8, AV_CODEC_ID_PNG}, 0.51},
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
    {{AV_PIX_FMT_GRAY16BE, AV_CODEC_ID_PNG}, 0.51},
    // swscale, which reads BT.2020 as such: this one is BT.601 in truth and tests nothing but orientation and channels
    {{AV_PIX_FMT_YUV444P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG}, 26},
};

constexpr int kWidth = 98;
constexpr int kHeight = 64;

TEST(ConvertLayouts, KeepsEveryColourInItsPlace) {
    const ScratchFolder folder;
    for (const auto& [layout, tolerance] : kLayouts) {
        const AVPixFmtDescriptor& samples = *av_pix_fmt_desc_get(layout.format);
        SCOPED_TRACE(testing::Message() << samples.name << " " << layout.matrix << " " << layout.range);
        WriteGradient(folder / "in.mkv", layout, kWidth, kHeight);
        const Decoded decoded = Convert(folder / "in.mkv", folder / "out.png");
        reference::Picture wanted = Gradient(kWidth, kHeight);
        if (samples.nb_components <= 2 && layout.format != AV_PIX_FMT_PAL8) {
            reference::Plane grey =
                reference::Convert(reference::Format(kBGRA), reference::Format(0x905), wanted).plane[2];
            std::for_each(grey.samples.begin(), grey.samples.end(), [](double& luma) { luma *= 255; });
            wanted = {{grey, grey, grey, {}}};
        }
        const Difference by = Compare(InRGB(*decoded.pictures.at(0)), wanted, 4); // chroma beyond edges is a guess
        EXPECT_LE(by.worst, tolerance);
        EXPECT_LE(by.bias, tolerance > 10 ? tolerance / 8 : 0.1); // siting off by half a sample gives 0.6
        // Alpha survives where the input has it, and none is made up.
        EXPECT_EQ(decoded.pictures[0]->format == AV_PIX_FMT_RGBA, (samples.flags & AV_PIX_FMT_FLAG_ALPHA) != 0);
    }
}

TEST(ConvertMarks, FieldsAndShapeOfAPixelReachTheOutput) {
    const ScratchFolder folder;
    WriteGradient(folder / "in.mkv", {AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, true},
                  96, 64);
    Convert(folder / "in.mkv", folder / "out.y4m");
    const std::string header = ReadFile(folder / "out.y4m").substr(0, 60);
    EXPECT_NE(header.find(" It "), std::string::npos) << header;
    EXPECT_NE(header.find(" A8:9 "), std::string::npos) << header;

    // A PNG counts pixels per unit, across and down: narrow pixels fit nine times where tall ones fit eight times.
    Convert(folder / "in.mkv", folder / "out.png");
    EXPECT_NE(ReadFile(folder / "out.png").find(std::string({'p', 'H', 'Y', 's', 0, 0, 0, 9, 0, 0, 0, 8, 0})),
              std::string::npos);
    Convert(folder / "out.png", folder / "back.y4m");
    EXPECT_NE(ReadFile(folder / "back.y4m").substr(0, 60).find(" A8:9 "), std::string::npos);
}

} // namespace
} // namespace tooltest
