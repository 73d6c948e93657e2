#include "FirstPicture.h"

#include "ClipReader.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "PictureToFrame.h"
#include "RunReports.h"

namespace tool {

Frame FirstPicture(const std::string& path) {
    RunReports reports;
    ClipReader reader(path, [&](const std::string& what) { reports.Damage(what); });
    const AVFrame* const picture = reader.Next();
    if (!picture) {
        throw Failure(ExitCode::InputBroken, path + ": no picture decodes");
    }
    const Frame decoded = PictureToFrame(*picture, reader.SampleAspectRatio(*picture));
    return ConvertFrame(decoded, zynmediatypes::kPixelFormat_BGRA_4444_8u, WidthOf(decoded), HeightOf(decoded),
                        zynmediatypes::kRenderQuality_High);
}

} // namespace tool
