#include "ClipTimeline.h"

#include <algorithm>
#include <new>

namespace tool {
namespace {

// A longer pause between two pictures is a fault of the file's clock.
constexpr double kLongestGapInSeconds = 10;

} // namespace

ClipTimeline::ClipTimeline(ClipReader& reader)
    : mReader(reader), mLongestGap(static_cast<std::int64_t>(kLongestGapInSeconds * av_q2d(reader.FrameRate())) + 1) {
    mShownTime = -1;
    ReadNext();
    mShown = std::move(mNext);
    mShownTime = mNextTime;
    ReadNext();
}

const AVFrame* ClipTimeline::At(std::int64_t time) {
    const bool still = IsStill();
    while (mNext && mNextTime <= time) {
        mShown = std::move(mNext);
        mShownTime = mNextTime;
        ++mNumber;
        ReadNext();
    }
    return mNext || still || time <= mShownTime ? mShown.get() : nullptr;
}

void ClipTimeline::ReadNext() {
    const AVFrame* picture = mReader.Next();
    mNext.reset(picture ? av_frame_clone(picture) : nullptr);
    if (!picture) {
        return;
    }
    if (!mNext) {
        throw std::bad_alloc();
    }
    const std::int64_t time = std::max(mReader.FrameTime(*picture), mShownTime + 1);
    mNextTime = time - mShownTime > mLongestGap ? mShownTime + 1 : time;
}

} // namespace tool
