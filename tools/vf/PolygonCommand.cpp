#include "Commands.h"
#include "ExitCodes.h"
#include "Libav.h"
#include "Pixmaps.h"
#include "Polygon.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace tool {
namespace {

struct PolygonArguments {
    std::string input;
    std::string output;
    std::vector<float> coordinates;
    bool isBezier = false;
};

void DrawPolygon(const PolygonArguments& arguments) {
    if (arguments.coordinates.size() % 2 != 0) {
        throw Failure(ExitCode::Usage, "--points: a point has two coordinates");
    }
    const LibraryGuard library;
    const Frame source = ReadPixmapFrame(arguments.input, 0);
    // Opaque black around what is cut out.
    const Frame cut = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, WidthOf(source), HeightOf(source),
                                source->GetPixelAspectRatio());
    const LentTPix from = Lend(source);
    const LentTPix to = Lend(cut);
    tpixFillRect(to.get(), nullptr, RGB(0, 0, 0));
    std::vector<PolygonPoint> points;
    for (std::size_t i = 0; i < arguments.coordinates.size(); i += 2) {
        // The command counts lines from the top, polygons from the bottom.
        points.push_back(
            {arguments.coordinates[i], static_cast<float>(HeightOf(source)) - arguments.coordinates[i + 1]});
    }
    const PolygonPointArray array{points.data(), points.size(), points.capacity()};
    (arguments.isBezier ? DoRenderPolyBezier : DoRenderPolygon)(to.get(), from.get(), &array, cut->GetPixelType().name);
    std::printf("%s\n", WritePicture(arguments.output, cut).c_str());
}

} // namespace

void AddPolygonCommand(CLI::App& app) {
    const auto arguments = std::make_shared<PolygonArguments>();
    CLI::App* command = app.add_subcommand("poly", "Cut a polygon, or a shape of curves, out of a picture");
    command->add_option("IN", arguments->input, "clip or still to read")->required();
    command->add_option("OUT", arguments->output, "file to write: .png")->required();
    command->add_option("--points", arguments->coordinates, "x,y,x,y,... in pixels from the picture's top left")
        ->required()
        ->delimiter(',');
    command->add_flag("--bezier", arguments->isBezier,
                      "the points are those of cubic curves: 3 for each, and the first");
    command->callback([arguments] {
        av_log_set_level(AV_LOG_QUIET);
        DrawPolygon(*arguments);
    });
}

} // namespace tool
