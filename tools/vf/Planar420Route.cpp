#include "PictureRoutes.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <utility>

namespace tool {
namespace {

using namespace zynmediatypes;

bool IsPlanar420(const AVFrame& picture) {
    return picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P;
}

bool HasInterleavedChroma420(const AVFrame& picture) {
    return picture.format == AV_PIX_FMT_NV12 || picture.format == AV_PIX_FMT_NV21;
}

struct PlanarKinds {
    PixelFormat studio601;
    PixelFormat studio709;
    PixelFormat full601;
};

// Rows: chroma on the left column (MPEG-2), centred (MPEG-4). Columns: frame pictures, field pictures.
constexpr PlanarKinds kPlanarKinds[2][2] = {
    {{kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709,
      kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange},
     {kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601, kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709,
      kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange}},
    {{kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601, kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709,
      kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange},
     {kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601, kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709,
      kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange}}};

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
    const PictureColour& colour = source.colour;
    const bool planar = IsPlanar420(picture);
    if ((!planar && !HasInterleavedChroma420(picture)) || !source.HasLibraryMatrix() ||
        picture.chroma_location == AVCHROMA_LOC_TOPLEFT || // sited as no planar kind has it
        (colour.fullRange && colour.matrix == Matrix::BT709)) {
        return {};
    }
    const PlanarKinds& kinds = kPlanarKinds[colour.centredChroma ? 1 : 0][picture.interlaced_frame ? 1 : 0];
    const PixelFormat format = colour.fullRange                 ? kinds.full601
                               : colour.matrix == Matrix::BT709 ? kinds.studio709
                                                                : kinds.studio601;
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
