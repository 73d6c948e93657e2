#include "ClipReader.h"
#include "Commands.h"
#include "ExitCodes.h"
#include "Options.h"
#include "PictureToFrame.h"
#include "RunReports.h"
#include "VideoFrameManipulators.h"

#include <cstdio>
#include <memory>

namespace tool {
namespace {

struct BoundsArguments {
    std::string input;
    std::string frames;
};

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

} // namespace

void AddBoundsCommand(CLI::App& app) {
    const auto arguments = std::make_shared<BoundsArguments>();
    CLI::App* command = app.add_subcommand("bounds", "Print the rectangle that holds what is visible of each picture");
    command->add_option("FILE", arguments->input, "clip or still to read")->required();
    command->add_option("--frames", arguments->frames, "A:B, pictures A up to but not including B, from 0");
    command->callback([arguments] {
        av_log_set_level(AV_LOG_QUIET); // damage is told by our own reports
        PrintBounds(*arguments);
    });
}

} // namespace tool
