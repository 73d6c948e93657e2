#pragma once

/// Small texts for people.

#include "zynmediatypes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

/// The four characters of a format's code.
std::string CodeText(zynmediatypes::PixelFormatName name);

/// The size and format of a picture: "1280x720 yv17".
std::string PictureText(int width, int height, zynmediatypes::PixelFormatName format);

/// A text that another process wrote, as a terminal may have it: UTF-8, with a question mark for each control character
/// and each byte that is none of UTF-8.
std::string PlainText(std::string_view text);

/// A byte count with a decimal unit: "812 B", "3.7 MB".
std::string BytesText(std::uint64_t bytes);

/// A text as a JSON string, quotes included.
std::string JsonText(const std::string& text);

/// "1 frame", "2 frames".
std::string Plural(std::uint64_t count, const std::string& noun);

} // namespace tool
