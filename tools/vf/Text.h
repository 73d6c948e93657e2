#pragma once

/// Small texts for people.

#include "zynmediatypes.h"

#include <cstdint>
#include <string>

namespace tool {

/// The four characters of a format's code.
std::string CodeText(zynmediatypes::PixelFormatName name);

/// A byte count with a decimal unit: "812 B", "3.7 MB".
std::string BytesText(std::uint64_t bytes);

/// A text as a JSON string, quotes included.
std::string JsonText(const std::string& text);

/// "1 frame", "2 frames".
std::string Plural(std::uint64_t count, const std::string& noun);

} // namespace tool
