#pragma once

/// Options as the user writes them. Every mistake throws Failure(Usage).

#include "FrameEdits.h"
#include "zynmediatypes.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

struct PictureSize {
    int width = 0;
    int height = 0;
};

/// Pictures first up to but not including end, counted from 0.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max();
};

/// "WxH", both from 1 to kMaxSide. option is its name for the message.
PictureSize ParseSize(const std::string& option, const std::string& text);

/// Longest side of a picture that the tool makes: the widest floating-point frame of this size has 4 GiB.
inline constexpr int kMaxSide = 16384;

/// "A:B", "A:" or ":B".
FrameRange ParseRange(const std::string& text);

/// "L,T,R,B", not empty.
Crop ParseCrop(const std::string& text);

/// A number of nothing but digits; nothing for other texts.
std::optional<std::int64_t> ParseNumber(std::string_view text);

/// A number of seconds, fractions included; option is its name for the message.
std::chrono::milliseconds ParseSeconds(const std::string& option, const std::string& text);

/// A number of frames a second above 0; 0 for "max".
double ParseRate(const std::string& text);

/// The four-character code of a format that the converter knows. option is its name for the message.
zynmediatypes::PixelFormat ParseFormat(const std::string& option, const std::string& text);

} // namespace tool
