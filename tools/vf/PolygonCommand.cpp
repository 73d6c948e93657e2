#include "ExitCodes.h"
#include "PictureCommands.h"
#include "Pixmaps.h"
#include "Polygon.h"

#include <cstdio>
#include <string>
#include <vector>

namespace tool {

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

} // namespace tool
