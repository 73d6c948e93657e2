#pragma once

/// The commands of `vf` on pictures of one process, and on what the library knows: one file each. They throw Failure to
/// end with an exit code other than 0. Arguments are as the user wrote them (docs/tool.md); the commands parse texts.

#include "FrameEdits.h"
#include "zynmediatypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

struct ConvertArguments {
    std::string input;
    std::string output;
    std::string size; ///< empty: the input's own
    std::string format = "bgra";
    int quality = zynmediatypes::kRenderQuality_High;
    std::string frames; ///< empty: all
    std::string crop;   ///< empty: the whole picture
    std::string device; ///< empty: none
    FrameEdits edits;   ///< without the crop
};
/// `vf convert IN OUT`: a clip or still through a pixel format and a size into a file.
void Convert(const ConvertArguments& arguments);

struct ShowArguments {
    std::string input;
    std::string frames; ///< empty: all
    std::string size;   ///< empty: the picture's own
};
/// `vf show FILE`: a clip or still in a window.
void ShowClip(const ShowArguments& arguments);

struct BoundsArguments {
    std::string input;
    std::string frames; ///< empty: all
};
/// `vf bounds FILE`: the visible part of each picture.
void PrintBounds(const BoundsArguments& arguments);

struct WarpArguments {
    std::string input;
    std::string output;
    std::vector<double> quad; ///< x and y of the four corners
    std::string background = "000000";
};
/// `vf warp IN OUT`: a picture projected onto a quadrilateral.
void Warp(const WarpArguments& arguments);

struct TPixArguments {
    std::string input;
    std::string output;
    int field = -1; ///< the whole picture
    int order = 0;  ///< the clip's own
    std::string picture = "0";
};
/// `vf tpix FILE`: a picture or a field as a pixel map shows it.
void ShowTPix(const TPixArguments& arguments);

struct BitmapArguments {
    std::string module;
    std::string id; ///< empty: list all
    std::string output;
};
/// `vf bmp MODULE`: bitmap resources of a Windows module.
void ShowBitmap(const BitmapArguments& arguments);

struct PolygonArguments {
    std::string input;
    std::string output;
    std::vector<float> coordinates; ///< x and y of each point
    bool isBezier = false;
};
/// `vf poly IN OUT`: a polygon cut out of a picture.
void DrawPolygon(const PolygonArguments& arguments);

struct PaletteArguments {
    std::string input;
    std::string output;
    int colours = 256;
};
/// `vf palette IN OUT.png`: a picture with the colours of a palette.
void Quantize(const PaletteArguments& arguments);

struct ConvolveArguments {
    std::string input;
    std::string output;
    std::vector<std::int16_t> kernel; ///< nine weights, then where wanted a bias and a divisor
};
/// `vf convolve IN OUT.png`: a picture through a 3 x 3 filter.
void Convolve(const ConvolveArguments& arguments);

struct ExplainArguments {
    std::string source;
    std::string destination;
    int quality = zynmediatypes::kRenderQuality_High;
};
/// `vf explain SRC DST`: the plan of a conversion.
void Explain(const ExplainArguments& arguments);

struct FormatsArguments {
    enum class Style { Text, Json, Markdown };
    Style style = Style::Text;
};
/// `vf formats`: the table of pixel formats.
void PrintFormats(const FormatsArguments& arguments);

/// `vf devices`: devices that frames can live on.
void PrintDevices();

} // namespace tool
