#pragma once

#include "ClipCard.h"
#include "FrameGuid.h"
#include "Interruption.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tool {

/// Hands over the frames of a clip that another process publishes, one after the other, each as soon as it is there.
///
/// A publisher never waits for its receivers. Frames that it has dropped are passed over: at the beginning up to the
/// oldest that is still there, later up to the middle of what is there, which leaves time to read on.
class ClipFollower {
public:
    /// Waits until somebody publishes the clip; without a time limit for good. Throws Failure(NotShared) when that does
    /// not happen in time or the user interrupts.
    ClipFollower(const std::string& clip, std::optional<std::chrono::milliseconds> wait,
                 const Interruption& interruption);

    const ClipCard& Card() const noexcept { return mCard; }

    /// Makes Next begin with the first frame whose index is not below this one.
    void StartAt(std::int64_t index);

    struct SharedFrame {
        boost::shared_ptr<framebroker::BinaryReference> block;
        Guid id;
        std::int64_t index = 0;
    };
    /// The next frame before this index; nothing when there is none: the clip has ended, the publisher has gone, or the
    /// user interrupts.
    std::optional<SharedFrame> Next(std::int64_t endIndex);

    std::int64_t Missed() const noexcept { return mMissed; }          ///< frames dropped before they could be had
    std::int64_t Failed() const noexcept { return mFailed; }          ///< frames that their publisher could not make
    bool PublisherHasGone() const noexcept { return mPublisherGone; } ///< before it ended the clip

private:
    enum class Step { Wait, Look, End };
    Step PassError();
    Step Search();
    void SkipTo(std::int64_t index);

    ClipCard mCard;
    const Interruption& mInterruption;
    std::int64_t mNext = 0;
    bool mStarted = false; // after the first frame, or where the caller chose the start
    bool mPublisherGone = false;
    std::int64_t mMissed = 0;
    std::int64_t mFailed = 0;
};

} // namespace tool
