#pragma once

#include "ClipReader.h"

namespace tool {

/// The pictures of a clip by time: for each frame of a constant rate the picture that is on the screen then.
class ClipTimeline {
public:
    /// Reads the first two pictures. Throws Failure(InputBroken) when none decodes.
    explicit ClipTimeline(ClipReader& reader);

    /// The picture that is shown at this time, counted in frames of the reader's rate; null after the clip's end. Times
    /// must not fall from call to call. Valid until the next call.
    const AVFrame* At(std::int64_t time);

    /// Counts the pictures that At has passed, to tell them apart.
    std::int64_t Number() const noexcept { return mNumber; }

    /// A clip of one picture, which is shown for good.
    bool IsStill() const noexcept { return mNumber == 0 && !mNext; }

private:
    void ReadNext();

    ClipReader& mReader;
    AVFramePtr mShown;
    AVFramePtr mNext; // null at the end
    std::int64_t mNumber = 0;
    std::int64_t mShownTime = 0;
    std::int64_t mNextTime = 0;
    std::int64_t mLongestGap = 0;
};

} // namespace tool
