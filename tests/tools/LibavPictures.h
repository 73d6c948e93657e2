#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

#include <array>
#include <memory>
#include <string>
#include <vector>

/// Pictures decoded, encoded and coloured without the tool, to compare it with.
namespace tooltest {

struct FreePicture {
    void operator()(AVFrame* picture) const { av_frame_free(&picture); }
};
using Picture = std::unique_ptr<AVFrame, FreePicture>;

using RGB = std::array<double, 3>; ///< 0 to 255

struct Decoded {
    std::vector<Picture> pictures;
    AVRational frameRate{};
    AVRational sampleAspectRatio{};
    std::string codec;
};

/// The pictures [first, end) of a file.
Decoded Decode(const std::string& path, int first = 0, int end = 1 << 30);

/// The colour of an 8-bit RGB picture's pixel.
RGB ColourInRGB(const AVFrame& picture, int x, int y);

/// The colour of an 8-bit 4:2:0 picture at a luma sample by ITU-R BT.601 or BT.709, its chroma taken from the nearest
/// sample: right where chroma is flat.
RGB ColourIn420(const AVFrame& picture, int x, int y, bool bt709);

/// Whether chroma around a luma sample changes by no more than a code.
bool IsChromaFlat(const AVFrame& picture, int x, int y);

/// A picture whose colours run along both sides, another one in each corner.
RGB Gradient(int x, int y, int width, int height);

struct Layout {
    AVPixelFormat format;
    AVCodecID codec; ///< a lossless one that takes the layout
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    bool interlaced = false;
};

/// Writes one Gradient picture in this layout, width and height even, with a sample aspect ratio of 8:9.
void WriteGradient(const std::string& path, const Layout& layout, int width, int height);

} // namespace tooltest
