#pragma once

/// What a monitor and the processes of its cameras tell each other beside the frames.
///
/// The monitor writes the index of each frame that it will need, in ascending order, on a line of its own; the camera
/// puts the frame, or a generation error, under FrameGuid(its name, index). It ends when its input does. On its output
/// it writes CameraClip as the first line and CameraTotals as the last; all other lines are reports for the user.

#include "Libav.h"

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

namespace tool {

/// Code of the generation error under the index of a frame after the clip's end.
inline constexpr std::int32_t kCameraEnded = 1;

struct CameraClip {
    AVRational rate{25, 1};
    std::int64_t frames = 0; ///< as far as the file tells, 0 when it does not
    bool still = false;      ///< one picture, which is shown for good
};

struct CameraTotals {
    double decodeSeconds = 0; ///< of all processors: what the two below leave of the process
    double scaleSeconds = 0;  ///< at most, a decoder's threads run meanwhile; so the next one
    double handOverSeconds = 0;
    std::uint64_t published = 0;
    std::uint64_t blocksMade = 0;
    std::uint64_t blocksRecycled = 0;
};

inline std::string LineOf(const CameraClip& clip) {
    std::ostringstream line;
    line << "clip " << clip.rate.num << ' ' << clip.rate.den << ' ' << clip.frames << ' ' << clip.still;
    return line.str();
}

inline std::string LineOf(const CameraTotals& totals) {
    std::ostringstream line;
    line << "totals " << totals.decodeSeconds << ' ' << totals.scaleSeconds << ' ' << totals.handOverSeconds << ' '
         << totals.published << ' ' << totals.blocksMade << ' ' << totals.blocksRecycled;
    return line.str();
}

inline std::optional<CameraClip> ParseCameraClip(const std::string& line) {
    std::istringstream text(line);
    std::string word;
    CameraClip clip;
    text >> word >> clip.rate.num >> clip.rate.den >> clip.frames >> clip.still;
    return text && word == "clip" && clip.rate.num > 0 && clip.rate.den > 0 ? std::optional(clip) : std::nullopt;
}

inline std::optional<CameraTotals> ParseCameraTotals(const std::string& line) {
    std::istringstream text(line);
    std::string word;
    CameraTotals totals;
    text >> word >> totals.decodeSeconds >> totals.scaleSeconds >> totals.handOverSeconds >> totals.published >>
        totals.blocksMade >> totals.blocksRecycled;
    return text && word == "totals" ? std::optional(totals) : std::nullopt;
}

} // namespace tool
