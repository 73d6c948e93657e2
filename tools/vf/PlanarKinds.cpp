#include "PlanarKinds.h"

namespace tool {

using namespace zynmediatypes;

PixelFormat PlanarFormat(PlanarKind kind) noexcept {
    struct Formats {
        PixelFormat bt601;
        PixelFormat bt709;
        PixelFormat full601;
    };
    // Rows: chroma on the left column, centred. Columns: frame pictures, field pictures.
    constexpr Formats formats[2][2] = {{{kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601,
                                         kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709,
                                         kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange},
                                        {kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601,
                                         kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709,
                                         kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange}},
                                       {{kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601,
                                         kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709,
                                         kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange},
                                        {kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601,
                                         kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709,
                                         kPixelFormat_YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange}}};
    const Formats& row = formats[kind.centredChroma ? 1 : 0][kind.fieldPictures ? 1 : 0];
    if (kind.fullRange) {
        return kind.bt709 ? kPixelFormat_Invalid : row.full601;
    }
    return kind.bt709 ? row.bt709 : row.bt601;
}

} // namespace tool
