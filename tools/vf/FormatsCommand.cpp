#include "PictureCommands.h"
#include "PixelFormatUtilities.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace tool {
namespace {

using namespace zynmediatypes;

constexpr int kSampleWidth = 1920;
constexpr int kSampleHeight = 1080;

// One format in the words of the table.
struct FormatDescription {
    std::string code, constant, model, precision, layout, alpha, chroma, colour, bytes, converter;
};

std::string PrecisionText(PixelFormat format) {
    switch (PrecisionOf(format)) {
    case Precision::Bits8:
        return "8u";
    case Precision::Bits10:
        return "10u";
    case Precision::Words16:
        return (format.properties & kProperty_FullRange16) != 0 ? "16u" : "15u";
    case Precision::Float32:
        return "32f";
    case Precision::None:
        break;
    }
    return "-";
}

std::string ChromaText(PixelFormat format) {
    switch (ChromaOf(format)) {
    case Chroma::C444:
        return "4:4:4";
    case Chroma::C422:
        return "4:2:2";
    case Chroma::C411:
        return "4:1:1";
    case Chroma::C420:
        return "4:2:0";
    }
    return "-";
}

// Rows name their components in memory order.
std::string LayoutText(PixelFormat format, bool yuv) {
    const bool first = (format.properties & kPropertyMask_Order) != 0;
    switch (StorageOf(format)) {
    case Storage::Rows:
        if (PrecisionOf(format) == Precision::Bits10) {
            return "rows, 6 pixels in 16 bytes";
        }
        if (ChromaOf(format) == Chroma::C422) {
            return first ? "rows YUYV" : "rows UYVY";
        }
        return yuv ? "rows VUYA" : first ? "rows ARGB" : "rows BGRA";
    case Storage::NTSCDV25:
    case Storage::PALDV25:
        return "DV25";
    case Storage::NTSCDV50:
    case Storage::PALDV50:
        return "DV50";
    case Storage::NTSCDV100_720p:
    case Storage::PALDV100_720p:
        return "DV100 720p";
    case Storage::NTSCDV100_1080i:
    case Storage::PALDV100_1080i:
        return "DV100 1080i";
    case Storage::PlanarMPEG2Field:
        return "planes, fields, chroma left";
    case Storage::PlanarMPEG2Frame:
        return "planes, chroma left";
    case Storage::PlanarMPEG4Field:
        return "planes, fields, chroma centred";
    case Storage::PlanarMPEG4Frame:
        return "planes, chroma centred";
    case Storage::Opaque:
        break;
    }
    return "-";
}

std::string ColourText(PixelFormat format, bool yuv) {
    if (!yuv) {
        return (format.properties & kProperty_Linear) != 0 ? "linear light" : "-";
    }
    std::string text = (format.properties & kProperty_BT709) != 0 ? "BT.709" : "BT.601";
    return text + ((format.properties & kProperty_FullRangeYUV) != 0 ? " full" : "");
}

FormatDescription Describe(const PixelFormatRow& row) {
    const PixelFormat format = row.format;
    const bool yuv = (format.properties & kProperty_YUV) != 0;
    const std::uint32_t alpha = AlphaOf(format);
    std::array<char, 16> converter{"-"};
    if (const auto value = VF::BEPixelFormatToPBPixelFormat(format); value != 0) {
        std::snprintf(converter.data(), converter.size(), "0x%X", static_cast<unsigned>(value));
    }
    return {CodeText(format.name),
            "kPixelFormat_" + std::string(row.constant),
            yuv ? "YUV" : "RGB",
            PrecisionText(format),
            LayoutText(format, yuv),
            alpha == kAlphaType_Straight        ? "straight"
            : alpha == kAlphaType_Premultiplied ? "premultiplied"
                                                : "-",
            ChromaText(format),
            ColourText(format, yuv),
            std::to_string(PixelFormatSize(format, kSampleWidth, kSampleHeight)),
            converter.data()};
}

struct Column {
    const char* title;
    const char* key;
    std::string FormatDescription::*value;
};
constexpr std::array kColumns{
    Column{"code", "code", &FormatDescription::code},
    Column{"constant", "constant", &FormatDescription::constant},
    Column{"model", "model", &FormatDescription::model},
    Column{"precision", "precision", &FormatDescription::precision},
    Column{"layout", "layout", &FormatDescription::layout},
    Column{"alpha", "alpha", &FormatDescription::alpha},
    Column{"chroma", "chroma", &FormatDescription::chroma},
    Column{"matrix, range", "colour", &FormatDescription::colour},
    Column{"bytes at 1920x1080", "bytesAt1920x1080", &FormatDescription::bytes},
    Column{"converter", "converter", &FormatDescription::converter},
};

void PrintText(const std::vector<FormatDescription>& formats) {
    std::array<std::size_t, kColumns.size()> widths{};
    for (std::size_t column = 0; column < kColumns.size(); ++column) {
        widths[column] = std::string(kColumns[column].title).size();
        for (const auto& format : formats) {
            widths[column] = std::max(widths[column], (format.*kColumns[column].value).size());
        }
    }
    const auto printRow = [&widths](const auto& cell) {
        std::string line;
        for (std::size_t column = 0; column < kColumns.size(); ++column) {
            std::string text = cell(kColumns[column]);
            text.resize(widths[column], ' ');
            line += text + "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::puts(line.c_str());
    };
    printRow([](const Column& column) { return std::string(column.title); });
    for (const auto& format : formats) {
        printRow([&format](const Column& column) { return format.*column.value; });
    }
}

void PrintMarkdown(const std::vector<FormatDescription>& formats) {
    std::puts(
        "# Pixel formats\n\n"
        "Generated by `vf formats --markdown`; a test compares this file with its output.\n\n"
        "The code is the format's name, first character in the lowest byte; case matters. Rows are stored bottom\n"
        "row of the picture first, planes top row first. 15u words have white at 32768, 16u at 65535. Without\n"
        "\"full\", YUV has studio range (8 bit: luma 16 to 235, chroma 16 to 240).\n");
    std::string titles = "|";
    std::string rule = "|";
    for (const Column& column : kColumns) {
        titles += std::string(" ") + column.title + " |";
        rule += "---|";
    }
    std::printf("%s\n%s\n", titles.c_str(), rule.c_str());
    for (const auto& format : formats) {
        std::string line = "|";
        for (const Column& column : kColumns) {
            const bool literal =
                column.value == &FormatDescription::code || column.value == &FormatDescription::constant;
            line += literal ? " `" + format.*column.value + "` |" : ' ' + format.*column.value + " |";
        }
        std::puts(line.c_str());
    }
}

void PrintJson(const std::vector<FormatDescription>& formats) {
    std::string text = "[";
    for (const auto& format : formats) {
        text += text.size() == 1 ? "\n  {" : ",\n  {";
        for (const Column& column : kColumns) {
            const bool number = column.value == &FormatDescription::bytes;
            const std::string& value = format.*column.value;
            text += (column.value == kColumns[0].value ? "" : ", ") + JsonText(column.key) + ": " +
                    (number         ? value
                     : value == "-" ? "null"
                                    : JsonText(value));
        }
        text += '}';
    }
    std::puts((text + "\n]").c_str());
}

} // namespace

void PrintFormats(const FormatsArguments& arguments) {
    std::vector<FormatDescription> formats;
    std::transform(kPixelFormatTable.begin(), kPixelFormatTable.end(), std::back_inserter(formats), Describe);
    switch (arguments.style) {
    case FormatsArguments::Style::Text:
        return PrintText(formats);
    case FormatsArguments::Style::Json:
        return PrintJson(formats);
    case FormatsArguments::Style::Markdown:
        return PrintMarkdown(formats);
    }
}

} // namespace tool
