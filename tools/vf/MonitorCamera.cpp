#include "MonitorCamera.h"

#include "ClipCard.h"
#include "SharedFrame.h"
#include "SharedVideoFrameCache.h"
#include "Text.h"
#include "VFResults.h"
#include "VideoFrameSharing.h"

#include <algorithm>
#include <random>
#include <sstream>

namespace tool {
namespace {

namespace Cache = VF::SharedVideoFrameCache;
using namespace framebroker;
using std::chrono::milliseconds;

// How long Ctrl-C, or a camera's death, may go unnoticed.
constexpr milliseconds kSlice{100};
// What a camera may take to finish the frames that it was asked for.
constexpr milliseconds kEndPatience{10000};
constexpr unsigned kFrameValue = 5; // of all cached frames alike

// Another monitor, also in another container, has other frames.
std::string UniqueName(int number) {
    std::random_device device;
    std::ostringstream name;
    name << "monitor-" << std::hex << device() << device() << "-camera-" << number;
    return name.str();
}

std::vector<std::string> CameraArguments(const std::string& file, const std::string& name,
                                         const VF::MultiCamRenderParams& params) {
    return {"camera",
            "--name",
            name,
            "--cell",
            std::to_string(params.width) + 'x' + std::to_string(params.height),
            "--format",
            CodeText(params.pixelFormat.name),
            "--ahead",
            std::to_string(MonitorCamera::kAhead),
            "--",
            file};
}

} // namespace

MonitorCamera::MonitorCamera(MonitorRun& run, int number, const std::string& file,
                             const VF::MultiCamRenderParams& params)
    : mRun(run), mTitle("camera " + std::to_string(number)), mName(UniqueName(number)),
      mProcess(CameraArguments(file, mName, params)) {}

MonitorCamera::~MonitorCamera() {
    for (const Wanted& wanted : mWanted) {
        Drop(wanted);
    }
    mProcess.CloseInput();
    if (!mProcess.Wait(kEndPatience)) {
        SweepDeadBlocks();
    }
}

const std::optional<CameraClip>& MonitorCamera::Open() {
    while (!mClip && !mOver && !mRun.interruption.Requested()) {
        const bool runs = mProcess.Runs(); // before the last lines are read
        ReadLines(kSlice);
        if (!mClip && !runs) {
            mOver = true;
            Note("its cell stays black");
        }
    }
    return mClip;
}

void MonitorCamera::Prepare(std::int64_t first, std::int64_t end, AVRational rate) {
    const StageTimer timer(mRun.handOver);
    if (!mClip || mOver) {
        return;
    }
    for (std::int64_t composite = first; composite < end; ++composite) {
        const std::int64_t index = IndexAt(composite, rate);
        if (index >= mNextIndex) {
            mWanted.push_back({index, FrameGuid(mName, index)});
            Cache::RegisterDependencyOnFrame(mWanted.back().id);
            mProcess.Send(std::to_string(index));
            mNextIndex = index + 1;
        }
    }
    for (Wanted& wanted : mWanted) {
        boost::shared_ptr<BinaryReference> block;
        if (!wanted.cached) {
            if (GetBinaryDataIfAvailable(wanted.id, block) != kResult_Success) {
                break; // they come in their order
            }
            Keep(wanted, block);
        }
    }
    ReadLines(milliseconds(0));
}

Frame MonitorCamera::Take(std::int64_t composite, AVRational rate) {
    if (!mClip || mOver) {
        return {};
    }
    const std::int64_t index = IndexAt(composite, rate);
    const auto wanted =
        std::find_if(mWanted.begin(), mWanted.end(), [index](const Wanted& one) { return one.index == index; });
    if (wanted == mWanted.end()) {
        return {};
    }
    {
        const StageTimer timer(mRun.handOver);
        if (Frame frame = Cache::RetrieveFromCache(wanted->id)) {
            ++mRun.hits;
            return frame;
        }
    }
    ++mRun.misses;
    return Await(*wanted);
}

Frame MonitorCamera::Await(Wanted& wanted) {
    while (!mRun.interruption.Requested()) {
        const bool runs = mProcess.Runs(); // before the look: what it has put stays for a while
        boost::shared_ptr<BinaryReference> block;
        std::int32_t result = kResult_TimedOut;
        {
            const StageTimer timer(mRun.wait);
            result = WaitForBinaryData(wanted.id, runs ? kSlice : milliseconds(0), block);
        }
        if (result == kResult_Success) {
            const StageTimer timer(mRun.handOver);
            return Keep(wanted, block);
        }
        if (result == kResult_GenerationError) {
            return NotMade(wanted);
        }
        ReadLines(milliseconds(0));
        if (!runs) {
            Lose();
            break;
        }
        if (result != kResult_TimedOut && result != kResult_NotFound && result != kResult_Gone) {
            ThrowRefusal(mTitle, result);
        }
    }
    return {};
}

// The frame on a block, in the cache. One that another program has spoilt gives an empty reference.
Frame MonitorCamera::Keep(Wanted& wanted, const boost::shared_ptr<BinaryReference>& block) {
    Frame frame;
    const auto description = DescribeFrame(BlockBytes(block));
    if (description && !description->isCustom &&
        VF::WrapVideoFrameAroundBinaryReference(block, wanted.id, frame) == VF::kResult_Success) {
        Cache::InsertIntoCache(frame, wanted.id, kFrameValue);
        wanted.cached = true;
    }
    return frame;
}

Frame MonitorCamera::NotMade(const Wanted& wanted) {
    std::int32_t code = kFrameFailed;
    GetGenerationError(wanted.id, code);
    if (code == kCameraEnded) {
        mOver = mEnded = true;
    }
    return {};
}

void MonitorCamera::Lose() {
    mOver = true;
    Note("its process has ended; its cell stays black");
    SweepDeadBlocks();
}

void MonitorCamera::Release(std::int64_t nextComposite, AVRational rate) {
    const StageTimer timer(mRun.handOver);
    while (!mWanted.empty() && (mOver || mWanted.front().index < IndexAt(nextComposite, rate))) {
        Drop(mWanted.front());
        mWanted.pop_front();
    }
}

void MonitorCamera::Drop(const Wanted& wanted) const {
    Cache::UnregisterDependencyOnFrame(wanted.id);
    Cache::ExpireFromCache(wanted.id);
}

std::int64_t MonitorCamera::IndexAt(std::int64_t composite, AVRational rate) const {
    return mClip->still ? 0 : av_rescale_q(composite, av_inv_q(rate), av_inv_q(mClip->rate));
}

std::int64_t MonitorCamera::ExpectedCount(AVRational rate) const {
    return mClip ? av_rescale_q(mClip->frames, av_inv_q(mClip->rate), av_inv_q(rate)) : 0;
}

void MonitorCamera::ReadLines(milliseconds timeout) {
    for (auto line = mProcess.NextLine(timeout); line; line = mProcess.NextLine(milliseconds(0))) {
        if (const auto clip = ParseCameraClip(*line)) {
            mClip = clip;
        } else if (const auto totals = ParseCameraTotals(*line)) {
            mTotals = totals;
        } else {
            Note(line->substr(line->compare(0, 4, "vf: ") == 0 ? 4 : 0));
        }
    }
}

std::optional<int> MonitorCamera::End() {
    mProcess.CloseInput();
    const auto status = mProcess.Wait(kEndPatience);
    ReadLines(milliseconds(0));
    return status;
}

void MonitorCamera::Note(const std::string& what) {
    mRun.reports.Note(mTitle + ": " + what);
}

} // namespace tool
