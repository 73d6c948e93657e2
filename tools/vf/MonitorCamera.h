#pragma once

#include "CameraLines.h"
#include "ChildTool.h"
#include "FrameGuid.h"
#include "Frames.h"
#include "Interruption.h"
#include "RunReports.h"
#include "Sharing.h"
#include "StageTime.h"
#include "VideoFrameMultiCam.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace tool {

/// What a monitor and its cameras share.
struct MonitorRun {
    Interruption interruption;
    RunReports reports;
    StageTime wait;     ///< for frames that the cameras have not put yet
    StageTime handOver; ///< opening, wrapping, and the shared cache
    std::uint64_t hits = 0;
    std::uint64_t misses = 0;
};

/// A camera of a monitor: the process that decodes its clip, and the frames that came from it. They lie in the shared
/// cache, with dependencies on all that the next composites will need.
class MonitorCamera {
public:
    /// Composites for which frames are asked ahead: time for a camera's decoder to run while others are waited for.
    static constexpr std::int64_t kAhead = 4;

    /// Starts the process. number counts the cameras from 1, params say what to render the frames at.
    MonitorCamera(MonitorRun& run, int number, const std::string& file, const VF::MultiCamRenderParams& params);
    /// Asks the process to end, and waits for it.
    ~MonitorCamera();
    MonitorCamera(const MonitorCamera&) = delete;
    MonitorCamera& operator=(const MonitorCamera&) = delete;

    /// Waits until the process has opened its clip; nothing when it cannot, or the user interrupts.
    const std::optional<CameraClip>& Open();

    /// Asks for the frame nearest in time to each of these composites, counted at this rate, and takes what has come.
    void Prepare(std::int64_t first, std::int64_t end, AVRational rate);

    /// The frame for a composite that was prepared, waiting for it; empty when it is not made or when there is none any
    /// more.
    Frame Take(std::int64_t composite, AVRational rate);

    /// Gives up the frames that no composite from this one on needs.
    void Release(std::int64_t nextComposite, AVRational rate);

    /// Whether later composites may have other frames.
    bool Moves() const { return mClip && !mClip->still && !mOver; }

    /// Whether its clip has been shown to the end.
    bool HasEnded() const { return mEnded; }
    /// Composites that its clip has, as far as the file tells.
    std::int64_t ExpectedCount(AVRational rate) const;

    /// Tells the user something about the camera.
    void Note(const std::string& what);

    /// Ends the process. Its exit status, nothing when it was killed.
    std::optional<int> End();
    const std::optional<CameraTotals>& Totals() const { return mTotals; }

private:
    struct Wanted {
        std::int64_t index = 0;
        Guid id;
        bool cached = false;
    };
    std::int64_t IndexAt(std::int64_t composite, AVRational rate) const;
    Frame Await(Wanted& wanted);
    Frame Keep(Wanted& wanted, const boost::shared_ptr<framebroker::BinaryReference>& block);
    Frame NotMade(const Wanted& wanted);
    void ReadLines(std::chrono::milliseconds timeout);
    void Lose();
    void Drop(const Wanted& wanted) const;

    MonitorRun& mRun;
    std::string mTitle;
    std::string mName;
    ChildTool mProcess;
    std::optional<CameraClip> mClip;
    std::optional<CameraTotals> mTotals;
    std::deque<Wanted> mWanted; // ascending
    std::int64_t mNextIndex = 0;
    bool mOver = false; // no frame will come
    bool mEnded = false;
};

} // namespace tool
