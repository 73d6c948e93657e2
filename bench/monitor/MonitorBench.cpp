// The multi-camera monitor's picture from four BGRA cameras: the ratio to a memcpy of (read + written) / 2 bytes of the
// same run, hot (the same cameras again) and cold (walking over more cameras than the caches hold), on one processor
// and on all; beside it libyuv's box scaling into the same cells. All take turns, and the best of many turns counts.
//
// Usage: bench_monitor [turns]

#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameMultiCam.h"
#include "VideoFrameUtilities.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using Cameras = std::vector<FrameRef>;

constexpr std::uint32_t kWidth = 1920, kHeight = 1080;
constexpr std::size_t kColdSets = 16;

struct Job {
    const char* name;
    std::uint32_t cameraWidth, cameraHeight;
    bool large;
};
constexpr Job kJobs[] = {
    {"four 1080p cameras", kWidth, kHeight, false},
    {"four native cameras", kWidth / 2, kHeight / 2, false},
    {"four 1080p, one large", kWidth, kHeight, true},
};

std::uint8_t* DataOf(const FrameRef& frame) {
    return static_cast<std::uint8_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData());
}

std::uint64_t SizeOf(const FrameRef& frame) {
    return BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize();
}

FrameRef Make(std::uint32_t width, std::uint32_t height, unsigned seed) {
    FrameRef frame;
    VF::CreateVideoFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, width, height, {1, 1}, false, false);
    std::uint8_t* const data = DataOf(frame);
    for (std::uint64_t i = 0; i < SizeOf(frame); ++i) {
        seed = seed * 1664525U + 1013904223U;
        data[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>(seed >> 24);
    }
    return frame;
}

void ScaleWithLibyuv(const FrameRef& camera, const FrameRef& target, int x, int y, int width, int height) {
    const auto bounds = camera->GetBounds();
    constexpr int kTargetBytes = kWidth * 4;
    std::uint8_t* const to = DataOf(target) + (static_cast<int>(kHeight) - y - height) * kTargetBytes + x * 4;
    if (bounds.right == width && bounds.bottom == height) {
        libyuv::ARGBCopy(DataOf(camera), width * 4, to, kTargetBytes, width, height);
    } else {
        libyuv::ARGBScale(DataOf(camera), bounds.right * 4, bounds.right, bounds.bottom, to, kTargetBytes, width,
                          height, libyuv::kFilterBox);
    }
}

template <class Work>
void Time(double& best, const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
}

void Measure(const Job& job, bool parallel, int turns) {
    VF::MultiCamRenderParams params;
    params.width = kWidth;
    params.height = kHeight;
    params.pixelAspectRatio = {1, 1};
    params.pixelFormat = zynmediatypes::kPixelFormat_BGRA_4444_8u;
    double times[3][2] = {{1e9, 1e9}, {1e9, 1e9}, {1e9, 1e9}};
    auto& [copy, ours, libyuv] = times;
    for (const bool cold : {false, true}) {
        std::vector<Cameras> sets;
        for (unsigned set = 0; set < (cold ? kColdSets : 1); ++set) {
            Cameras cameras;
            for (unsigned i = 0; i < 4; ++i) {
                cameras.push_back(Make(job.cameraWidth, job.cameraHeight, set * 4 + i));
            }
            sets.push_back(std::move(cameras));
        }
        const std::uint64_t read = (job.large ? 5 : 4) * SizeOf(sets[0][0]);
        const std::uint64_t copied = (read + std::uint64_t{4} * kWidth * kHeight) / 2;
        // The copy reads the cameras one after another and writes the target from end to end, as often as it takes.
        const FrameRef copyTarget = Make(kWidth, kHeight, 1), peerTarget = Make(kWidth, kHeight, 1);
        FrameRef held = VF::RenderMulticam(sets[0], 0, job.large, true, params, parallel); // keeps a block in use
        held.Reset();
        for (int turn = 0; turn < turns; ++turn) {
            const Cameras& cameras = sets[static_cast<std::size_t>(turn) % sets.size()];
            Time(copy[cold], [&] {
                for (std::uint64_t done = 0, camera = 0; done < copied; ++camera) {
                    const std::uint64_t bytes = std::min(SizeOf(cameras[camera % 4]), copied - done);
                    std::memcpy(DataOf(copyTarget) + done % SizeOf(copyTarget), DataOf(cameras[camera % 4]), bytes);
                    done += bytes;
                }
            });
            Time(ours[cold], [&] { VF::RenderMulticam(cameras, 1, job.large, true, params, parallel); });
            Time(libyuv[cold], [&] {
                const int cellWidth = static_cast<int>(kWidth) / (job.large ? 4 : 2), cellHeight = kHeight / 2;
                for (int i = 0; i < 4; ++i) {
                    ScaleWithLibyuv(cameras[static_cast<std::size_t>(i)], peerTarget, i % 2 * cellWidth,
                                    i / 2 * cellHeight, cellWidth, cellHeight);
                }
                if (job.large) {
                    ScaleWithLibyuv(cameras[1], peerTarget, kWidth / 2, 0, kWidth / 2, kHeight);
                }
            });
        }
    }
    std::printf("%-22s %s  memcpy %.2f / %.2f ms  ours %.2f / %.2f  libyuv, one thread %.2f / %.2f\n", job.name,
                parallel ? "all processors" : "one processor ", copy[0], copy[1], copy[0] / ours[0], copy[1] / ours[1],
                copy[0] / libyuv[0], copy[1] / libyuv[1]);
    std::fflush(stdout);
}

int RunAll(bool parallel, int turns) {
    VF::Initialize();
    for (const Job& job : kJobs) {
        Measure(job, parallel, turns);
    }
    VF::Shutdown();
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    std::printf("ratio to memcpy hot / cold; libyuv distorts shapes in the large layout, which ours does not\n");
    std::fflush(stdout);
    // The number of processors is asked for once in a process.
    const pid_t child = fork();
    if (child == 0) {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
        _exit(RunAll(false, turns));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status != 0 ? 1 : RunAll(true, turns);
}
