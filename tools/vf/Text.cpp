#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {
namespace {

// Bytes of the character at the start of a text when it is well-formed UTF-8 (RFC 3629) and no control character of
// ASCII or of U+0080 to U+009F; 0 otherwise.
std::size_t PrintableLength(std::string_view text) {
    const auto byte = [text](std::size_t at) -> std::uint32_t {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    std::uint32_t code = lead & (0x7FU >> length);
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte(at) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte(at) & 0x3F);
    }
    constexpr std::uint32_t first[] = {0xA0, 0x800, 0x10000}; // shorter forms must be used below the last two
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    return lead >= 0xC2 && lead < 0xF5 && code >= first[length - 2] && code < 0x110000 && !surrogate ? length : 0;
}

} // namespace

std::string CodeText(zynmediatypes::PixelFormatName name) {
    std::string text;
    for (int shift = 0; shift < 32; shift += 8) {
        text += static_cast<char>((static_cast<std::uint32_t>(name) >> shift) & 0xFF);
    }
    return PlainText(text);
}

std::string PictureText(int width, int height, zynmediatypes::PixelFormatName format) {
    return std::to_string(width) + 'x' + std::to_string(height) + ' ' + CodeText(format);
}

std::string PlainText(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const std::size_t length = PrintableLength(text);
        plain += length > 0 ? text.substr(0, length) : "?";
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return plain;
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
