#include "ClipReader.h"
#include "ExitCodes.h"
#include "Options.h"
#include "PictureCommands.h"
#include "PictureToFrame.h"
#include "RunReports.h"
#include "VideoFrameManipulators.h"

#include <cstdio>

namespace tool {

void PrintBounds(const BoundsArguments& arguments) {
    const FrameRange range = arguments.frames.empty() ? FrameRange{} : ParseRange(arguments.frames);
    const LibraryGuard library;
    RunReports reports;
    ClipReader reader(arguments.input, [&](const std::string& what) { reports.Damage(what); });
    bool any = false;
    for (std::int64_t number = 0; number < range.end; ++number) {
        const AVFrame* picture = reader.Next();
        if (!picture) {
            break;
        }
        if (number >= range.first) {
            BRT::ParamRect<BRT::CRect> bounds;
            VF::VideoFrameManipulators::CalculateAlphaBounds(
                PictureToFrame(*picture, reader.SampleAspectRatio(*picture)), bounds);
            std::printf("%lld: %d,%d,%d,%d\n", static_cast<long long>(number), bounds.left, bounds.top, bounds.right,
                        bounds.bottom);
            any = true;
        }
    }
    if (!any) {
        throw Failure(ExitCode::Usage, "--frames " + arguments.frames + ": the input has fewer pictures");
    }
}

} // namespace tool
