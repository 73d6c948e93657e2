#include "VideoFrameMultiCam.h"

#include "MonitorTarget.h"
#include "SharedVideoFrameCache.h"
#include "VideoFrameFactory.h"

#include <boost/function.hpp>

#include <algorithm>
#include <functional>
#include <optional>

namespace VF {
namespace {

using Details::Cell;
using Details::MonitorTarget;
using Frame = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr std::uint64_t kCells = 4;
constexpr double kBorderWidth = 4.0; // of an unscaled picture
constexpr unsigned kBlankFrameValue = 10;

// Truncated; 0 for what is no 32-bit number.
std::int32_t Unscaled(std::uint32_t size, double scale) {
    const double unscaled = size / scale;
    return unscaled > -2147483649.0 && unscaled < 2147483648.0 ? static_cast<std::int32_t>(unscaled) : 0;
}

void SetDerivedFields(MultiCamRenderParams& params) {
    params.firstModeWord = 1;
    params.secondModeWord = 0;
    params.thirdModeWord = 1;
    params.unscaledWidth = Unscaled(params.width, params.scaleX);
    params.unscaledHeight = Unscaled(params.height, params.scaleY);
    params.unscaledPixelAspectRatio = params.pixelAspectRatio;
}

std::uint32_t BorderWidth(double scaleX) {
    const double width = kBorderWidth * scaleX;
    return width >= 1 ? static_cast<std::uint32_t>(std::min(width, 2147483647.0)) : 0;
}

Frame MakeTarget(const MultiCamRenderParams& params, bool clear) {
    Frame frame;
    const std::int32_t result =
        CreateVideoFrame(frame, params.pixelFormat, params.width, params.height, params.pixelAspectRatio, clear, clear);
    return result == 0 ? frame : Frame();
}

// Draws cells at once or, in parallel, all of them on all processors when Run is called.
class CellDrawer {
public:
    CellDrawer(const MonitorTarget& target, bool parallel) : mTarget(target), mParallel(parallel) {}

    // An empty camera is a black cell.
    void Draw(const Frame& camera, const Cell& cell) {
        if (mParallel && mTarget.CellsAreApart()) {
            mJobs.push_back({camera, cell});
        } else {
            DrawNow(camera, cell);
        }
    }

    void Run() {
        zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(
            [this](std::uint64_t job) { DrawNow(mJobs[job].camera, mJobs[job].cell); }, mJobs.size());
    }

private:
    struct Job {
        Frame camera;
        Cell cell;
    };

    void DrawNow(const Frame& camera, const Cell& cell) const {
        if (camera) {
            mTarget.DrawCamera(camera, cell);
        } else {
            mTarget.FillBlack(cell);
        }
    }

    const MonitorTarget& mTarget;
    bool mParallel;
    std::vector<Job> mJobs;
};

Frame BlankFrame(const MultiCamRenderParams& params, const zyncore::utility::Guid& id) {
    const bool cached = id != zyncore::utility::Guid();
    if (cached) {
        if (Frame found = SharedVideoFrameCache::RetrieveFromCache(id)) {
            return found;
        }
    }
    Frame frame = MakeTarget(params, true);
    if (frame) {
        frame->SetReadOnly(true);
        if (cached) {
            SharedVideoFrameCache::InsertIntoCache(frame, id, kBlankFrameValue);
        }
    }
    return frame;
}

} // namespace

MultiCamRenderParams UnSelectedRenderParams(const MultiCamRenderParams& inMonitorParams, bool inLargeSelected) {
    MultiCamRenderParams params = inMonitorParams;
    params.scaleX = inMonitorParams.scaleX * 0.5;
    params.scaleY = inMonitorParams.scaleY * 0.5;
    params.width = inMonitorParams.width / (inLargeSelected ? 4 : 2);
    params.height = inMonitorParams.height / 2;
    SetDerivedFields(params);
    return params;
}

MultiCamRenderParams SelectedRenderParams(const MultiCamRenderParams& inMonitorParams, bool inLargeSelected) {
    if (!inLargeSelected) {
        return UnSelectedRenderParams(inMonitorParams, false);
    }
    MultiCamRenderParams params = inMonitorParams;
    params.width = inMonitorParams.width / 2;
    SetDerivedFields(params);
    return params;
}

Frame RenderMulticam(const std::vector<Frame>& inCameraFrames, std::uint64_t inSelectedIndex, bool inLargeSelected,
                     bool inRedBorder, const MultiCamRenderParams& inMonitorParams, bool inParallel) {
    Frame frame = MakeTarget(inMonitorParams, false);
    if (!frame) {
        return frame;
    }
    const MonitorTarget target(frame);
    CellDrawer drawer(target, inParallel);
    const std::uint32_t width = inMonitorParams.width;
    const std::uint32_t height = inMonitorParams.height;
    const std::uint32_t cellWidth = width / (inLargeSelected ? 4 : 2);
    const std::uint32_t cellHeight = height / 2;
    std::optional<Cell> selected;
    const auto drawBorder = [&] { target.DrawBorder(*selected, BorderWidth(inMonitorParams.scaleX), inRedBorder); };
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(inCameraFrames.size(), kCells); ++i) {
        const Frame& camera = inCameraFrames[i];
        const Cell cell{i % 2 != 0 ? cellWidth : 0, i / 2 != 0 ? cellHeight : 0, cellWidth, cellHeight};
        if (i == inSelectedIndex) {
            selected = cell;
            if (inLargeSelected) {
                drawer.Draw(camera, {width / 2, 0, width / 2, height});
            }
        }
        drawer.Draw(camera, cell);
        if (i == inSelectedIndex && !inParallel) {
            drawBorder();
        }
    }
    drawer.Run();
    if (selected && inParallel) {
        drawBorder();
    }
    return frame;
}

Frame RenderNonMulticam(const std::vector<Frame>& inFrames, bool inSideBySide,
                        const MultiCamRenderParams& inMonitorParams, zyncore::utility::Guid inBlankFrameId,
                        bool inParallel) {
    if (inFrames.empty() || !inFrames.front()) {
        return BlankFrame(inMonitorParams, inBlankFrameId);
    }
    Frame frame = MakeTarget(inMonitorParams, false);
    if (!frame) {
        return frame;
    }
    const MonitorTarget target(frame);
    CellDrawer drawer(target, inParallel);
    const std::uint32_t width = inMonitorParams.width;
    const std::uint32_t height = inMonitorParams.height;
    if (inSideBySide) {
        drawer.Draw(inFrames.front(), {0, 0, width / 2, height});
        drawer.Draw(inFrames.front(), {width / 2, 0, width / 2, height});
    } else {
        drawer.Draw(inFrames.front(), {0, 0, width, height});
    }
    drawer.Run();
    return frame;
}

} // namespace VF
