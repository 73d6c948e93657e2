#include "PictureProperties.h"

namespace tool {
namespace {

constexpr int kFirstHDHeight = 720;

Matrix MatrixOf(const AVFrame& picture) {
    switch (static_cast<int>(picture.colorspace)) {
    case AVCOL_SPC_BT709:
        return Matrix::BT709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
        return Matrix::BT601;
    case AVCOL_SPC_RGB:
    case AVCOL_SPC_UNSPECIFIED:
    case AVCOL_SPC_RESERVED:
        return DefaultMatrix(picture.height);
    default: // ITU-T H.273 keeps adding to this list
        return Matrix::Other;
    }
}

bool IsFullRange(const AVFrame& picture) {
    switch (picture.format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
        return true;
    default:
        break;
    }
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (layout && layout->nb_components <= 2) { // grey pictures are stills far more often than video
        return picture.color_range != AVCOL_RANGE_MPEG;
    }
    return picture.color_range == AVCOL_RANGE_JPEG;
}

} // namespace

Matrix DefaultMatrix(int height) {
    return height >= kFirstHDHeight ? Matrix::BT709 : Matrix::BT601;
}

PictureColour ColourOf(const AVFrame& picture) {
    return {MatrixOf(picture), IsFullRange(picture), picture.chroma_location == AVCHROMA_LOC_CENTER};
}

zynmediatypes::FieldType FieldTypeOf(const AVFrame& picture) {
    if (!picture.interlaced_frame) {
        return zynmediatypes::kFieldType_Progressive;
    }
    return picture.top_field_first ? zynmediatypes::kFieldType_UpperFirst : zynmediatypes::kFieldType_LowerFirst;
}

} // namespace tool
