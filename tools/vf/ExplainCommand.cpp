#include "ExitCodes.h"
#include "Options.h"
#include "PictureCommands.h"
#include "PixelBlitter.h"
#include "PixelFormatUtilities.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <sstream>
#include <string>

namespace tool {
namespace {

struct Side {
    zynmediatypes::PixelFormat format;
    PictureSize size;
    zynmediatypes::FieldType fields = zynmediatypes::kFieldType_NotSet;
};

struct FieldWord {
    const char* word;
    zynmediatypes::FieldType type;
    const char* text;
};
constexpr std::array kFieldWords{
    FieldWord{"progressive", zynmediatypes::kFieldType_Progressive, ", progressive"},
    FieldWord{"upper", zynmediatypes::kFieldType_UpperFirst, ", upper field first"},
    FieldWord{"lower", zynmediatypes::kFieldType_LowerFirst, ", lower field first"},
};

// "CODE", then ":WxH" and a word for the fields in any order.
Side ParseSide(const std::string& name, const std::string& text, PictureSize size) {
    std::istringstream parts(text);
    std::string part;
    std::getline(parts, part, ':');
    Side side{ParseFormat(name, part), size};
    while (std::getline(parts, part, ':')) {
        const auto* const fields = std::find_if(kFieldWords.begin(), kFieldWords.end(),
                                                [&part](const FieldWord& known) { return known.word == part; });
        if (fields != kFieldWords.end()) {
            side.fields = fields->type;
        } else {
            side.size = ParseSize(name, part);
        }
    }
    return side;
}

std::string SideText(const Side& side) {
    const auto* const fields = std::find_if(kFieldWords.begin(), kFieldWords.end(),
                                            [&side](const FieldWord& known) { return known.type == side.fields; });
    return PictureText(side.size.width, side.size.height, side.format.name) +
           (fields != kFieldWords.end() ? fields->text : "");
}

const char* RefusalText(int result) {
    switch (result) {
    case kPB_UnsupportedFormat:
        return "there is no conversion between these formats";
    case kPB_UnsupportedGeometry:
        return "DV has one size for each format";
    default:
        return "refused";
    }
}

void PrintBytes(const char* title, std::uint64_t bytes) {
    constexpr double kMebibyte = 1 << 20;
    std::printf("%-10s %" PRIu64 " bytes (%.1f MiB)\n", title, bytes, static_cast<double>(bytes) / kMebibyte);
}

} // namespace

void Explain(const ExplainArguments& arguments) {
    const Side source = ParseSide("SRC", arguments.source, {1920, 1080});
    const Side destination = ParseSide("DST", arguments.destination, source.size);
    const PB_Plan plan = PB_PlanScaleConvert(
        source.size.width, source.size.height, VF::BEPixelFormatToPBPixelFormat(source.format), source.fields,
        destination.size.width, destination.size.height, VF::BEPixelFormatToPBPixelFormat(destination.format),
        destination.fields, arguments.quality);
    const std::string what = SideText(source) + " to " + SideText(destination);
    if (plan.result == kPB_OutOfMemory) {
        throw std::bad_alloc();
    }
    if (plan.result != kPB_Success) {
        throw Failure(ExitCode::ConversionRefused,
                      what + ": " + RefusalText(plan.result) + " (" + std::to_string(plan.result) + ')');
    }
    std::printf("%s\npath       %s\nfilter     %s\nbands      %d\n", what.c_str(), plan.path.c_str(),
                plan.filter.c_str(), plan.bands);
    PrintBytes("temporary", plan.temporaryBytes);
    PrintBytes("moved", plan.bytesMoved);
}

} // namespace tool
