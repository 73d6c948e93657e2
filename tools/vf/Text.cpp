#include "Text.h"

#include <array>
#include <cstdio>

namespace tool {

std::string CodeText(zynmediatypes::PixelFormatName name) {
    std::string text;
    for (int shift = 0; shift < 32; shift += 8) {
        text += static_cast<char>((static_cast<std::uint32_t>(name) >> shift) & 0xFF);
    }
    return text;
}

std::string BytesText(std::uint64_t bytes) {
    constexpr std::array units{"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    auto value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 999.5 && unit + 1 < units.size()) {
        value /= 1000;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 || value >= 99.95 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text.data();
}

std::string JsonText(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            quoted += escape.data();
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

std::string Plural(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace tool
