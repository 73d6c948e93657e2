#include "Options.h"

#include "ExitCodes.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <string_view>

namespace tool {
namespace {

constexpr double kMaxSeconds = 1e9; // some 30 years; in milliseconds every clock can add it
constexpr double kMinRate = 0.001;  // a picture in a quarter of an hour
constexpr double kMaxRate = 1e6;    // far beyond every camera, and still distinct from "max"

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A plain number of nothing but digits and a point.
std::optional<double> ParseDecimal(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const bool plain = text.find_first_not_of("0123456789.") == std::string::npos;
    if (!plain || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// Codes differ in case only more often than in anything else.
std::string SimilarCodes(const std::string& text) {
    std::string similar;
    for (const auto& row : zynmediatypes::kPixelFormatTable) {
        if (row.converterValue != 0 && Lower(CodeText(row.format.name)) == Lower(text)) {
            similar += (similar.empty() ? "; there is " : ", ") + CodeText(row.format.name);
        }
    }
    return similar.empty() ? "; `vf formats` lists them" : similar;
}

} // namespace

std::optional<std::int64_t> ParseNumber(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool digits = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) != 0;
    if (!digits || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

PictureSize ParseSize(const std::string& option, const std::string& text) {
    const std::size_t cross = text.find('x');
    if (cross != std::string::npos) {
        const auto width = ParseNumber(std::string_view(text).substr(0, cross));
        const auto height = ParseNumber(std::string_view(text).substr(cross + 1));
        if (width && height) {
            if (*width < 1 || *height < 1 || *width > kMaxSide || *height > kMaxSide) {
                throw Failure(ExitCode::Usage,
                              option + ' ' + text + ": both sides lie between 1 and " + std::to_string(kMaxSide));
            }
            return {static_cast<int>(*width), static_cast<int>(*height)};
        }
    }
    throw Failure(ExitCode::Usage, option + ' ' + text + ": a size is written WxH, for example 640x360");
}

FrameRange ParseRange(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon != std::string::npos) {
        FrameRange range;
        const std::string_view first = std::string_view(text).substr(0, colon);
        const std::string_view end = std::string_view(text).substr(colon + 1);
        const auto firstNumber = first.empty() ? range.first : ParseNumber(first);
        const auto endNumber = end.empty() ? range.end : ParseNumber(end);
        if (firstNumber && endNumber) {
            range = {*firstNumber, *endNumber};
            if (range.first >= range.end) {
                throw Failure(ExitCode::Usage, "--frames " + text + ": selects nothing, the end is not included");
            }
            return range;
        }
    }
    throw Failure(ExitCode::Usage, "--frames " + text + ": a range is written A:B, for example 0:100");
}

Crop ParseCrop(const std::string& text) {
    std::array<int, 4> edges{};
    std::size_t start = 0;
    for (int& edge : edges) {
        const std::size_t comma = &edge == &edges.back() ? text.size() : text.find(',', start);
        const auto number = comma == std::string::npos
                                ? std::nullopt
                                : ParseNumber(std::string_view(text).substr(start, comma - start));
        if (!number || *number > std::numeric_limits<int>::max()) {
            throw Failure(ExitCode::Usage, "--crop " + text + ": a part is written L,T,R,B, for example 0,0,640,360");
        }
        edge = static_cast<int>(*number);
        start = comma + 1;
    }
    if (edges[0] >= edges[2] || edges[1] >= edges[3]) {
        throw Failure(ExitCode::Usage, "--crop " + text + ": selects nothing, right and bottom are not included");
    }
    return {edges[0], edges[1], edges[2], edges[3]};
}

std::chrono::milliseconds ParseSeconds(const std::string& option, const std::string& text) {
    const auto seconds = ParseDecimal(text);
    if (!seconds || *seconds > kMaxSeconds) {
        throw Failure(ExitCode::Usage, option + ' ' + text + ": a number of seconds, for example 2.5");
    }
    return std::chrono::milliseconds(std::llround(*seconds * 1000));
}

double ParseRate(const std::string& text) {
    if (text == "max") {
        return 0;
    }
    const auto rate = ParseDecimal(text);
    if (!rate || *rate < kMinRate || *rate > kMaxRate) {
        throw Failure(ExitCode::Usage, "--rate " + text + ": frames a second, for example 25 or 29.97, or max");
    }
    return *rate;
}

zynmediatypes::PixelFormat ParseFormat(const std::string& option, const std::string& text) {
    for (const auto& row : zynmediatypes::kPixelFormatTable) {
        if (CodeText(row.format.name) == text) {
            if (row.converterValue == 0) {
                throw Failure(ExitCode::Usage, option + ' ' + text + ": the converter does not know this format");
            }
            return row.format;
        }
    }
    throw Failure(ExitCode::Usage, option + ' ' + text + ": no such format" + SimilarCodes(text));
}

} // namespace tool
