#include "PictureRoutes.h"
#include "PlanarKinds.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <utility>

namespace tool {
namespace {

bool IsPlanar420(const AVFrame& picture) {
    return picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P;
}

bool HasInterleavedChroma420(const AVFrame& picture) {
    return picture.format == AV_PIX_FMT_NV12 || picture.format == AV_PIX_FMT_NV21;
}

void SplitChroma(const AVFrame& picture, const FramePlanes& planes) {
    const int first = picture.format == AV_PIX_FMT_NV12 ? 1 : 2; // the plane whose sample leads each pair
    for (int y = 0; y < planes.Rows(1); ++y) {
        const std::uint8_t* pairs = picture.data[1] + static_cast<std::ptrdiff_t>(y) * picture.linesize[1];
        const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(y) * planes.RowBytes(1);
        std::uint8_t* leading = planes.Data(first) + start;
        std::uint8_t* trailing = planes.Data(3 - first) + start;
        for (int x = 0; x < planes.RowBytes(1); ++x) {
            leading[x] = pairs[2 * x];
            trailing[x] = pairs[2 * x + 1];
        }
    }
}

} // namespace

Frame LoadPlanar420(const PictureToLoad& source) {
    const AVFrame& picture = source.picture;
    const bool planar = IsPlanar420(picture);
    if ((!planar && !HasInterleavedChroma420(picture)) || !source.HasLibraryMatrix() ||
        picture.chroma_location == AVCHROMA_LOC_TOPLEFT) { // sited as no planar kind has it
        return {};
    }
    const zynmediatypes::PixelFormat format =
        PlanarFormat({source.colour.matrix == Matrix::BT709, source.colour.fullRange, picture.interlaced_frame != 0,
                      source.colour.centredChroma});
    if (format == zynmediatypes::kPixelFormat_Invalid) {
        return {};
    }
    Frame frame = MakeFrame(format, picture.width, picture.height, source.aspectRatio);
    const FramePlanes planes(frame);
    for (int plane = 0; plane < (planar ? 3 : 1); ++plane) {
        av_image_copy_plane(planes.Data(plane), planes.RowBytes(plane), picture.data[plane], picture.linesize[plane],
                            planes.RowBytes(plane), planes.Rows(plane));
    }
    if (!planar) {
        SplitChroma(picture, planes);
    }
    return frame;
}

} // namespace tool
