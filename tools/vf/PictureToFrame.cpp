#include "PictureToFrame.h"

#include "ExitCodes.h"
#include "PictureRoutes.h"

#include <array>

namespace tool {

Frame PictureToFrame(const AVFrame& picture, AVRational sampleAspectRatio) {
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (!layout || (layout->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0) {
        throw Failure(ExitCode::ConversionRefused, "pictures of an unknown pixel layout");
    }
    const PictureToLoad source{
        picture,
        *layout,
        ColourOf(picture),
        {static_cast<std::uint32_t>(sampleAspectRatio.num), static_cast<std::uint32_t>(sampleAspectRatio.den)}};

    constexpr std::array routes{LoadPlanar420, LoadInterleaved8, LoadPacked422, LoadFloat, LoadThroughSwscale};
    for (const auto route : routes) {
        if (Frame frame = route(source)) {
            frame->SetFieldType(FieldTypeOf(picture));
            frame->SetAlphaType(source.HasAlpha() ? zynmediatypes::kAlphaType_Straight
                                                  : zynmediatypes::kAlphaType_None);
            return frame;
        }
    }
    throw Failure(ExitCode::ConversionRefused, std::string("pictures of the layout ") + layout->name);
}

} // namespace tool
