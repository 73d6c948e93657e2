#include "PictureRoutes.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

namespace tool {
namespace {

struct FreeScaler {
    void operator()(SwsContext* scaler) const noexcept { sws_freeContext(scaler); }
};

int SwscaleMatrix(const AVFrame& picture, Matrix matrix) {
    switch (matrix) {
    case Matrix::BT601:
        return SWS_CS_ITU601;
    case Matrix::BT709:
        return SWS_CS_ITU709;
    case Matrix::Other:
        break;
    }
    return picture.colorspace; // swscale numbers matrices as ITU-T H.273 does
}

} // namespace

Frame LoadThroughSwscale(const PictureToLoad& source) {
    const AVFrame& picture = source.picture;
    const auto layout = static_cast<AVPixelFormat>(picture.format);
    if (sws_isSupportedInput(layout) == 0) {
        return {};
    }
    const std::unique_ptr<SwsContext, FreeScaler> scaler(
        sws_getContext(picture.width, picture.height, layout, picture.width, picture.height, AV_PIX_FMT_BGRA,
                       SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    if (!scaler) {
        return {};
    }
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(SwscaleMatrix(picture, source.colour.matrix)),
                             source.colour.fullRange ? 1 : 0, sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, one, one);

    Frame frame =
        MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, picture.width, picture.height, source.aspectRatio);
    const FrameRows rows(frame);
    // From the top row downwards through memory that goes the other way.
    std::uint8_t* destination[4] = {rows.Row<std::uint8_t>(0)};
    const auto stride = picture.height > 1 ? rows.Row<std::uint8_t>(1) - rows.Row<std::uint8_t>(0) : 0;
    const int strides[4] = {static_cast<int>(stride)};
    const int lines = sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, destination, strides);
    return lines == picture.height ? frame : Frame();
}

} // namespace tool
