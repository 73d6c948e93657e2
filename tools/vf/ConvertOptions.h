#pragma once

/// The options of `vf convert` as the user writes them. Every mistake throws Failure(Usage).

#include "zynmediatypes.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

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

/// "WxH", both from 1 to kMaxSide.
PictureSize ParseSize(const std::string& text);

/// Longest side of a picture that the tool makes: the widest floating-point frame of this size has 4 GiB.
inline constexpr int kMaxSide = 16384;

/// "A:B", "A:" or ":B".
FrameRange ParseRange(const std::string& text);

/// The four-character code of a format that the converter knows.
zynmediatypes::PixelFormat ParseFormat(const std::string& text);

} // namespace tool
