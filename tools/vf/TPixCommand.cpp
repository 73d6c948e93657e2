#include "Commands.h"
#include "ExitCodes.h"
#include "Libav.h"
#include "Options.h"
#include "Pixmaps.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

namespace tool {
namespace {

struct TPixArguments {
    std::string input;
    std::string output;
    int field = -1; ///< the whole picture
    int order = 0;  ///< the clip's own
    std::string picture = "0";
};

void ShowTPix(const TPixArguments& arguments) {
    const auto number = ParseNumber(arguments.picture);
    if (!number) {
        throw Failure(ExitCode::Usage, "--picture " + arguments.picture + ": not a number");
    }
    const LibraryGuard library;
    const Frame frame = ReadPixmapFrame(arguments.input, *number);

    const bool asField = arguments.field >= 0;
    const auto order =
        arguments.order == 0 ? frame->GetFieldType() : static_cast<zynmediatypes::FieldType>(arguments.order);
    const LentTPix hand(VF::NewTPixFromVideoFrame(frame, asField, order, asField ? arguments.field : 0));
    if (!hand) {
        throw std::bad_alloc();
    }
    const TPix& record = **hand;
    auto ratio = frame->GetPixelAspectRatio();
    ratio.denominator *= asField ? 2 : 1;
    const Frame shown = CopyOf(record, ratio);
    const std::string written = WritePicture(arguments.output, shown);
    const std::ptrdiff_t offset = record.pixels - std::min(record.field0Base, record.field1Base);
    std::printf("%s: %dx%d of %s, field order %d, fieldMode %lld, stored row %lld first, %d bytes a row\n",
                written.c_str(), WidthOf(shown), HeightOf(shown), FrameText(frame).c_str(), static_cast<int>(order),
                static_cast<long long>(record.fieldMode), static_cast<long long>(offset == 0 ? 0 : 1), record.rowbytes);
}

} // namespace

void AddTPixCommand(CLI::App& app) {
    const auto arguments = std::make_shared<TPixArguments>();
    CLI::App* command = app.add_subcommand("tpix", "Show a picture, or one of its fields, as plug-ins see it");
    command->add_option("FILE", arguments->input, "clip or still to read")->required();
    command->add_option("-o,--out", arguments->output, "file to write: .png")->required();
    command->add_option("--field", arguments->field, "0 or 1: this field alone (default: the whole picture)")
        ->check(CLI::Range(0, 1));
    command
        ->add_option("--order", arguments->order,
                     "1: field 0 is the upper one, 2: the lower one (default: what the picture says)")
        ->check(CLI::Range(1, 2));
    command->add_option("--picture", arguments->picture, "which picture, counted from 0")->capture_default_str();
    command->callback([arguments] {
        av_log_set_level(AV_LOG_QUIET); // damage is told by our own reports
        ShowTPix(*arguments);
    });
}

} // namespace tool
