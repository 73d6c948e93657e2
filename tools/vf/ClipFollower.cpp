#include "ClipFollower.h"

#include "BlockListing.h"
#include "ExitCodes.h"

#include <algorithm>
#include <vector>

namespace tool {
namespace {

using namespace framebroker;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A frame of a running clip comes within this time. When it does not, a look tells whether it was dropped already.
constexpr milliseconds kPatience{50};
// How long Ctrl-C, or a publisher's death, may go unnoticed.
constexpr milliseconds kSlice{200};

// The indices from this one on whose frames are there, ascending.
std::vector<std::int64_t> IndicesFrom(std::int64_t first, const std::string& clip) {
    std::vector<std::int64_t> indices;
    for (const BlockDescription& block : BlockInspector::List().blocks) {
        boost::shared_ptr<BinaryReference> reference;
        if (block.ids.empty() || GetBinaryDataIfAvailable(block.ids.front(), reference) != kResult_Success) {
            continue;
        }
        const auto frame = DescribeFrame(BlockBytes(std::move(reference)));
        const bool ours =
            frame && frame->index >= first &&
            std::find(block.ids.begin(), block.ids.end(), FrameGuid(clip, frame->index)) != block.ids.end();
        if (ours) {
            indices.push_back(frame->index);
        }
    }
    std::sort(indices.begin(), indices.end());
    return indices;
}

ClipCard WaitForCard(const std::string& clip, std::optional<milliseconds> wait, const Interruption& interruption) {
    const auto end = wait ? steady_clock::now() + *wait : steady_clock::time_point::max();
    std::int32_t result = kResult_TimedOut;
    do {
        const auto left = std::chrono::duration_cast<milliseconds>(end - steady_clock::now());
        boost::shared_ptr<BinaryReference> block;
        result = WaitForBinaryData(ClipGuid(clip), std::min<milliseconds>(left, kSlice), block);
        if (result == kResult_Success) {
            const auto card = ReadCard(BlockBytes(std::move(block)));
            if (!card || card->name != clip) {
                throw Failure(ExitCode::ConversionRefused,
                              clip + ": another program's data lies under the clip's Guid");
            }
            return *card;
        }
        if (result != kResult_TimedOut && result != kResult_Gone) {
            ThrowRefusal(clip, result);
        }
    } while (!interruption.Requested() && steady_clock::now() < end);
    throw Failure(ExitCode::NotShared, clip + ": nobody publishes a clip of this name");
}

} // namespace

ClipFollower::ClipFollower(const std::string& clip, std::optional<milliseconds> wait, const Interruption& interruption)
    : mCard(WaitForCard(clip, wait, interruption)), mInterruption(interruption), mNext(mCard.first) {}

void ClipFollower::StartAt(std::int64_t index) {
    if (index > mNext) {
        mNext += ((index - mNext - 1) / mCard.every + 1) * mCard.every;
        mStarted = true;
    }
}

std::optional<ClipFollower::SharedFrame> ClipFollower::Next(std::int64_t endIndex) {
    // The first frame is either there or dropped.
    milliseconds patience = mStarted ? kPatience : milliseconds(0);
    while (mNext < endIndex && !mInterruption.Requested()) {
        SharedFrame frame{nullptr, FrameGuid(mCard.name, mNext), mNext};
        const std::int32_t result = WaitForBinaryData(frame.id, patience, frame.block);
        if (result == kResult_Success) {
            mNext += mCard.every;
            mStarted = true;
            return frame;
        }
        Step step = Step::Look;
        if (result == kResult_GenerationError) {
            step = PassError();
        } else if (result != kResult_TimedOut && result != kResult_NotFound && result != kResult_Gone) {
            ThrowRefusal(mCard.name + ':' + std::to_string(mNext), result);
        }
        if (step == Step::Look) {
            step = Search();
        }
        if (step == Step::End) {
            break;
        }
        patience = kSlice;
    }
    return std::nullopt;
}

// What to do at the error that stands where the next frame should be.
ClipFollower::Step ClipFollower::PassError() {
    std::int32_t code = 0;
    if (GetGenerationError(FrameGuid(mCard.name, mNext), code) != kResult_Success) {
        return Step::Wait; // replaced by data meanwhile
    }
    if (code == mCard.endCode) {
        return Step::End;
    }
    if (code > 0) { // the end of an earlier publication under this name
        mInterruption.SleepUntil(steady_clock::now() + kPatience);
        return Step::Look;
    }
    ++mFailed;
    mNext += mCard.every;
    return Step::Wait;
}

// The next frame is not there: finds out whether it is still to come.
ClipFollower::Step ClipFollower::Search() {
    const auto card = FindCard(mCard.name);
    if (!card || !(*card == mCard)) {
        mPublisherGone = true;
        return Step::End;
    }
    const auto indices = IndicesFrom(mNext, mCard.name);
    // Frames are put in their order: where a later one is, this one has been. The listing may have missed it.
    boost::shared_ptr<BinaryReference> block;
    if (!indices.empty() && GetBinaryDataIfAvailable(FrameGuid(mCard.name, mNext), block) != kResult_Success) {
        SkipTo(mStarted ? indices[indices.size() / 2] : indices.front());
    }
    return Step::Wait;
}

void ClipFollower::SkipTo(std::int64_t index) {
    if (mStarted) {
        mMissed += (index - mNext) / mCard.every;
    }
    mNext = index;
    mStarted = true;
}

} // namespace tool
