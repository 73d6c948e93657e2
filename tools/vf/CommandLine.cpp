#include "CommandLine.h"

#include "ExitCodes.h"
#include "PictureCommands.h"
#include "SharingCommands.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <utility>

// The only file that includes the option parser: it takes as long to compile as some ten commands.

namespace tool {
namespace {

// Parses into the arguments, which live as long as the application, and passes them on.
template <class Arguments>
std::pair<CLI::App*, Arguments&> AddCommand(CLI::App& app, const char* name, const char* description,
                                            void (*run)(const Arguments&)) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const command = app.add_subcommand(name, description);
    command->callback([arguments, run] { run(*arguments); });
    return {command, *arguments};
}

void AddConvert(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "convert", "Convert a clip or still through a pixel format and a size", &Convert);
    command->add_option("IN", arguments.input, "clip or still to read")->required();
    command->add_option("OUT", arguments.output, "file to write: .png (%04d numbers several), .y4m, .mp4, .mkv ...")
        ->required();
    command->add_option("--size", arguments.size, "WxH of the output; the input's own size without it");
    command->add_option("--format", arguments.format, "code of the format to go through (see vf formats)")
        ->capture_default_str();
    command->add_option("--quality", arguments.quality, "0 fastest to 5 best")
        ->capture_default_str()
        ->check(CLI::Range(0, 5));
    command->add_option("--frames", arguments.frames, "A:B, pictures A up to but not including B, from 0");
    command->add_option("--via-device", arguments.device,
                        "index of a device (see vf devices), or host: take each converted frame through its memory");
    CLI::Option* const deinterlace =
        command->add_option("--deinterlace", arguments.edits.keptField, "keep field 0 or 1 and rebuild the other");
    deinterlace->check(CLI::Range(0, 1));
    command->add_option("--field", arguments.edits.shownField, "field 0 or 1 alone, as a picture of half the height")
        ->check(CLI::Range(0, 1))
        ->excludes(deinterlace);
    command->add_option("--crop", arguments.crop, "L,T,R,B, the part of each picture to take");
    command->add_option("--alpha", arguments.edits.alpha, "invert the alpha of each picture, or make it opaque")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, AlphaEdit>{{"invert", AlphaEdit::Invert}, {"opaque", AlphaEdit::Opaque}}));
}

void AddPublish(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "publish", "Share the frames of a clip with other processes of this user", &Publish);
    command->add_option("FILE", arguments.input, "clip or still to read")->required();
    command->add_option("--name", arguments.name,
                        "name of the clip; the file's name without folder and extension else");
    command->add_option("--frames", arguments.frames, "A:B, pictures A up to but not including B, from 0");
    command->add_option("--every", arguments.every, "publish every Nth picture, from A on")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{1'000'000}));
    command->add_option("--size", arguments.size, "WxH of the frames; the pictures' own size without it");
    command->add_option("--format", arguments.format, "code of the frames' format; the pictures' own without it");
    command->add_flag("--loop", arguments.loop, "start over at the end, and go on counting");
    command->add_option("--rate", arguments.rate, "frames a second, or max; the clip's own speed without it");
    command->add_option("--hold", arguments.hold, "seconds to keep the frames after the last; until Ctrl-C without it");
    command->add_option("--budget", arguments.budget, "bytes of frames to keep, oldest dropped first (500MB, 2GB)")
        ->capture_default_str()
        ->transform(CLI::AsSizeValue(true));
}

void AddReceive(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "receive", "Write the frames of a clip that another process publishes", &Receive);
    command->add_option("NAME", arguments.name, "name of the clip")->required();
    command->add_option("OUT", arguments.output, "file to write: .png (%04d numbers several), .y4m, .mp4, .mkv ...")
        ->required();
    command->add_option("--frames", arguments.frames, "A:B, frames A up to but not including B, from 0");
    command->add_option("--wait", arguments.wait, "seconds to wait for the clip; until Ctrl-C without it");
}

void AddList(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "list", "List the frames that processes of this user share, and who holds them", &ListBlocks);
    command->add_flag("--json", arguments.json, "for programs");
}

void AddWatch(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "watch", "Follow what processes of this user share, until Ctrl-C", &WatchBlocks);
    command->add_flag("--json", arguments.json, "one object a line, for programs");
}

void AddDump(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "dump", "Write a frame that some process shares as a picture", &Dump);
    command->add_option("FRAME", arguments.frame, "Guid of the frame, or NAME:INDEX of a published clip's")->required();
    command->add_option("OUT", arguments.output, "file to write: .png")->required();
    command->add_option("--wait", arguments.wait, "seconds to wait for the frame")->capture_default_str();
}

void AddClean(CLI::App& app) {
    app.add_subcommand("clean", "Remove what processes that died left behind")->callback(&Clean);
}

void AddMonitor(CLI::App& app) {
    const auto [command, arguments] = AddCommand(
        app, "monitor", "Show up to four clips side by side, each decoded by a process of its own", &RunMonitor);
    command->add_option("FILES", arguments.files, "clips or stills, one for each cell")->required()->expected(1, 4);
    command->add_option("-o,--output", arguments.output,
                        "file to write (.mp4, .y4m, .png ...), a folder for stills, or - for Y4M on the output");
    command->add_flag("--show", arguments.show, "show the composites in a window (Esc or q ends), too or alone");
    command->add_option("--selected", arguments.selected, "camera with the border, from 1; 0 for none")
        ->capture_default_str()
        ->check(CLI::Range(0, 4));
    command->add_flag("--large", arguments.large, "show the selected camera large beside the others");
    command->add_flag("--yellow", arguments.yellow, "a yellow border, not a red one");
    command->add_option("--size", arguments.size, "WxH of the composites")->capture_default_str();
    command->add_option("--rate", arguments.rate, "composites a second; the first camera's without it");
    command->add_option("--frames", arguments.frames, "A:B, composites A up to but not including B, from 0");
}

void AddCamera(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "camera", "Provide a monitor with the frames of a clip", &RunCamera);
    command->group(""); // started by the monitor, not by users
    command->add_option("FILE", arguments.input)->required();
    command->add_option("--name", arguments.name)->required();
    command->add_option("--cell", arguments.cell)->required();
    command->add_option("--format", arguments.format)->required();
    command->add_option("--ahead", arguments.ahead)->required();
}

void AddShow(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "show", "Play a clip, or show a still, in a window (Esc or q ends)", &ShowClip);
    command->add_option("FILE", arguments.input, "clip or still to show")->required();
    command->add_option("--size", arguments.size, "WxH of the window; the picture's own size without it");
    command->add_option("--frames", arguments.frames, "A:B, pictures A up to but not including B, from 0");
}

void AddBounds(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "bounds", "Print the rectangle that holds what is visible of each picture", &PrintBounds);
    command->add_option("FILE", arguments.input, "clip or still to read")->required();
    command->add_option("--frames", arguments.frames, "A:B, pictures A up to but not including B, from 0");
}

void AddPalette(CLI::App& app) {
    const auto [command, arguments] = AddCommand(app, "palette", "Reduce a picture to a palette's colours", &Quantize);
    command->add_option("IN", arguments.input, "clip, of which the first picture is taken, or still")->required();
    command->add_option("OUT", arguments.output, "file to write: .png with a palette")->required();
    command
        ->add_option("--colors,--colours", arguments.colours,
                     "entries wanted, 1 to 256; above 236 the palette keeps 20 static colours at its ends")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
}

void AddConvolve(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "convolve", "Filter a picture with 3 x 3 weights, alpha included", &Convolve);
    command->add_option("IN", arguments.input, "clip, of which the first picture is taken, or still")->required();
    command->add_option("OUT", arguments.output, "file to write: .png")->required();
    command
        ->add_option("--kernel", arguments.kernel,
                     "nine weights, from the left top to the right bottom, and where wanted a number to add and then "
                     "one to divide by; without it the weights' sum, or 1 where that is not positive")
        ->required()
        ->delimiter(',')
        ->expected(9, 11);
}

void AddWarp(CLI::App& app) {
    const auto [command, arguments] = AddCommand(app, "warp", "Project a picture onto a quadrilateral", &Warp);
    command->add_option("IN", arguments.input, "clip, of which the first picture is taken, or still")->required();
    command->add_option("OUT", arguments.output, "file to write: .png")->required();
    command
        ->add_option("--quad", arguments.quad,
                     "x,y,x,y,x,y,x,y: where the picture's corners go, from its left top one clockwise, in pixels from "
                     "the left top of the result")
        ->required()
        ->delimiter(',')
        ->expected(8);
    command->add_option("--background", arguments.background, "RRGGBB or RRGGBBAA around it, in hexadecimal")
        ->capture_default_str();
}

void AddTPix(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "tpix", "Show a picture, or one of its fields, as plug-ins see it", &ShowTPix);
    command->add_option("FILE", arguments.input, "clip or still to read")->required();
    command->add_option("-o,--out", arguments.output, "file to write: .png")->required();
    command->add_option("--field", arguments.field, "0 or 1: this field alone (default: the whole picture)")
        ->check(CLI::Range(0, 1));
    command
        ->add_option("--order", arguments.order,
                     "1: field 0 is the upper one, 2: the lower one (default: what the picture says)")
        ->check(CLI::Range(1, 2));
    command->add_option("--picture", arguments.picture, "which picture, counted from 0")->capture_default_str();
}

void AddPolygon(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "poly", "Cut a polygon, or a shape of curves, out of a picture", &DrawPolygon);
    command->add_option("IN", arguments.input, "clip or still to read")->required();
    command->add_option("OUT", arguments.output, "file to write: .png")->required();
    command->add_option("--points", arguments.coordinates, "x,y,x,y,... in pixels from the picture's top left")
        ->required()
        ->delimiter(',');
    command->add_flag("--bezier", arguments.isBezier,
                      "the points are those of cubic curves: 3 for each, and the first");
}

void AddBitmap(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "bmp", "List the bitmap resources of a Windows module, or write one", &ShowBitmap);
    command->add_option("MODULE", arguments.module, ".exe or .dll to read")->required();
    CLI::Option* const id = command->add_option("ID", arguments.id, "the bitmap's number (default: list all)");
    CLI::Option* const output = command->add_option("OUT", arguments.output, "file to write: .png");
    id->needs(output);
}

void AddExplain(CLI::App& app) {
    const auto [command, arguments] =
        AddCommand(app, "explain", "Print how the converter would take one picture to another", &Explain);
    command->add_option("SRC", arguments.source, "format, then size and fields where wanted: uyvy:1920x1080:upper")
        ->required();
    command
        ->add_option("DST", arguments.destination, "the same; size and fields are the source's unless they are given")
        ->required();
    command->add_option("--quality", arguments.quality, "0 fastest to 5 best")
        ->check(CLI::Range(0, 5))
        ->capture_default_str();
}

void AddFormats(CLI::App& app) {
    using Style = FormatsArguments::Style;
    const auto [command, arguments] = AddCommand(app, "formats", "Print the table of pixel formats", &PrintFormats);
    Style& style = arguments.style;
    CLI::Option* const json = command->add_flag_callback(
        "--json", [&style] { style = Style::Json; }, "as JSON");
    command
        ->add_flag_callback(
            "--markdown", [&style] { style = Style::Markdown; }, "as docs/formats.md")
        ->excludes(json);
}

void AddDevices(CLI::App& app) {
    app.add_subcommand("devices", "List devices that frames can live on, and their memory")->callback(&PrintDevices);
}

} // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app{"vf: real pictures through the frames of libvf"};
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 unexpected fault, 2 usage, 3 input missing, 4 input broken,\n"
               "5 output cannot be written, 6 frame or conversion refused by the library,\n"
               "7 not shared, or not in time, 8 shared memory cannot be used, 9 no display.");
    for (const auto add : {AddConvert, AddPublish, AddReceive, AddList,    AddWatch,   AddDump,     AddClean,
                           AddMonitor, AddCamera,  AddShow,    AddBounds,  AddPalette, AddConvolve, AddWarp,
                           AddTPix,    AddPolygon, AddBitmap,  AddExplain, AddFormats, AddDevices}) {
        add(app);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Also thrown for --help, whose exit code is 0.
        return static_cast<int>(app.exit(error) == 0 ? ExitCode::Success : ExitCode::Usage);
    }
    return static_cast<int>(ExitCode::Success);
}

} // namespace tool
