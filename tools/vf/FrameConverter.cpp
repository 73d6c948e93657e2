#include "FrameConverter.h"

#include "ExitCodes.h"
#include "VFResults.h"
#include "VideoFrameManipulators.h"

extern "C" {
#include <libavutil/rational.h>
}

#include <new>
#include <string>

namespace tool {
namespace {

using zynmediatypes::PixelAspectRatio;

PixelAspectRatio KeepShape(PixelAspectRatio ratio, const Frame& source, int width, int height) {
    if (WidthOf(source) == width && HeightOf(source) == height) {
        return ratio;
    }
    AVRational kept{static_cast<int>(ratio.numerator), static_cast<int>(ratio.denominator)};
    kept = av_mul_q(kept, AVRational{WidthOf(source), HeightOf(source)});
    kept = av_mul_q(kept, AVRational{height, width});
    if (kept.num <= 0 || kept.den <= 0) {
        return ratio;
    }
    return {static_cast<std::uint32_t>(kept.num), static_cast<std::uint32_t>(kept.den)};
}

} // namespace

Frame ConvertFrame(const Frame& source, zynmediatypes::PixelFormat format, int width, int height,
                   zynmediatypes::RenderQuality quality) {
    if (source->GetPixelType() == format && WidthOf(source) == width && HeightOf(source) == height) {
        return source;
    }
    Frame converted = MakeFrame(format, width, height, KeepShape(source->GetPixelAspectRatio(), source, width, height));
    const int result = VF::VideoFrameManipulators::CopyFrame(source, converted, quality);
    if (result == VF::kResult_BufferTooSmall) {
        throw std::bad_alloc();
    }
    if (result != VF::kResult_Success) {
        throw Failure(ExitCode::ConversionRefused,
                      "the library does not convert " + FrameText(source) + " to " + FrameText(converted));
    }
    return converted;
}

} // namespace tool
