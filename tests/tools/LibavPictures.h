#pragma once

#include "ReferencePixels.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

#include <memory>
#include <string>
#include <vector>

/// Pictures decoded, encoded and coloured without the tool, to compare it with.
namespace tooltest {

template <auto Free>
struct Freeing {
    template <class T>
    void operator()(T* object) const {
        Free(&object);
    }
};
using Picture = std::unique_ptr<AVFrame, Freeing<av_frame_free>>;

struct Decoded {
    std::vector<Picture> pictures;
    AVRational frameRate{};
    AVRational sampleAspectRatio{}; ///< upside down for PNG, where libav takes pixels per unit for it
};

/// The pictures of a file, or those up to about this many.
Decoded Decode(const std::string& path, std::size_t end = SIZE_MAX);

/// What `vf convert` makes of a file; a failed expectation where it refuses.
Decoded Convert(const std::string& in, const std::string& out, const std::string& options = {});

constexpr std::int32_t kBGRA = 0x4; ///< the converter's value of 8-bit BGRA

/// The 8-bit BGRA codes of a picture of 8-bit RGB or narrow-range 4:2:0, unrounded; 4:2:0 by way of another format.
reference::Picture InRGB(const AVFrame& picture, bool bt709 = false, std::int32_t through = kBGRA);

/// Differences of blue, green and red, a margin left out.
struct Difference {
    double worst = 0;
    double mean = 0;
    double bias = 0; ///< of the channel whose mean is farthest off: a shift shows here below the noise of rounding
};
Difference Compare(const reference::Picture& is, const reference::Picture& wanted, int margin = 0);

/// 8-bit BGRA codes that run along both sides, another colour in each corner.
reference::Picture Gradient(int width, int height);

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
