#include "DisplayWindow.h"
#include "ExitCodes.h"
#include "MonitorCamera.h"
#include "Options.h"
#include "PictureWriter.h"
#include "RenderKit_MediaManager.h"
#include "SharedFrame.h"
#include "SharingCommands.h"
#include "Text.h"
#include "Y4mWriter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace tool {
namespace {

using std::chrono::steady_clock;

constexpr const char* kStandardOutput = "/dev/stdout";
constexpr int kLargestRateDenominator = 100000; // of a rate that is written as a decimal number

bool IsFolder(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored) || !std::filesystem::path(path).has_extension();
}

// "-" is Y4M on the standard output, a folder takes numbered stills.
std::unique_ptr<PictureWriter> MakeMonitorWriter(const std::string& path, const OutputSettings& settings) {
    if (path == "-") {
        return std::make_unique<Y4mWriter>(kStandardOutput, settings);
    }
    return MakeWriter(IsFolder(path) ? (std::filesystem::path(path) / "%05d.png").string() : path, settings);
}

class Monitor {
public:
    explicit Monitor(const MonitorArguments& arguments)
        : mArguments(arguments), mSelected(static_cast<std::uint64_t>(arguments.selected) - 1) {
        const PictureSize size = ParseSize("--size", arguments.size);
        const int columns = arguments.large ? 4 : 2;
        if (size.width % columns != 0 || size.height % 2 != 0) {
            throw Failure(ExitCode::Usage, "--size " + arguments.size + ": the width is a multiple of " +
                                               std::to_string(columns) + " and the height of 2, for whole cells");
        }
        mParams.width = static_cast<std::uint32_t>(size.width);
        mParams.height = static_cast<std::uint32_t>(size.height);
        mParams.pixelAspectRatio = zynmediatypes::kPixelAspectRatio_Square;
        mParams.pixelFormat = zynmediatypes::kPixelFormat_BGRA_4444_8u;
        if (!arguments.frames.empty()) {
            mRange = ParseRange(arguments.frames);
        }
        if (TakesOnePicture(arguments.output)) {
            mRange.end = std::min(mRange.end, mRange.first + 1);
        }
        if (!arguments.rate.empty()) {
            mRate = av_d2q(ParseRate(arguments.rate), kLargestRateDenominator);
            if (mRate->num <= 0) {
                throw Failure(ExitCode::Usage, "--rate " + arguments.rate + ": composites a second, for example 25");
            }
        }
        if (!arguments.output.empty()) {
            MakeMonitorWriter(arguments.output, {}); // a wrong extension is noticed before anything starts
        } else if (!arguments.show) {
            throw Failure(ExitCode::Usage, "--output or --show says where the composites go");
        }
    }

    void Run() {
        if (mArguments.show) {
            mWindow.emplace("vf monitor", static_cast<int>(mParams.width), static_cast<int>(mParams.height));
        }
        OpenCameras();
        if (!mArguments.output.empty()) {
            mWriter = MakeMonitorWriter(mArguments.output, {*mRate, zynmediatypes::kRenderQuality_High});
            if (mArguments.output != "-" && IsFolder(mArguments.output)) {
                MakeFolder();
            }
        }
        bool goesOn = true;
        mRun.reports.Begin(ExpectedCount());
        {
            const StageTimer timer(mTotal);
            for (std::int64_t number = mRange.first; goesOn && number < mRange.end; ++number) {
                if (!Compose(number)) {
                    break;
                }
                mRun.reports.Update(++mComposites);
                goesOn = !mWindow || AttendWindow();
            }
            const StageTimer encode(mEncode);
            if (mWriter && mComposites > 0) {
                mWriter->Finish();
            }
        }
        mRun.reports.End();
        for (const auto& camera : mCameras) {
            camera->End();
        }
        if (mComposites == 0) {
            ThrowIfInterrupted();
            throw Failure(ExitCode::Usage, "--frames: the cameras have fewer frames");
        }
        PrintSummary();
        if (mWindow && goesOn && mComposites == 1) { // it stays until the user has seen it
            mWindow->AttendUntil(steady_clock::time_point::max(), mRun.interruption);
        }
    }

private:
    void OpenCameras() {
        for (std::size_t i = 0; i < mArguments.files.size(); ++i) {
            const auto params = i == mSelected ? VF::SelectedRenderParams(mParams, mArguments.large)
                                               : VF::UnSelectedRenderParams(mParams, mArguments.large);
            mCameras.push_back(
                std::make_unique<MonitorCamera>(mRun, static_cast<int>(i) + 1, mArguments.files[i], params));
        }
        for (const auto& camera : mCameras) {
            const auto& clip = camera->Open();
            if (clip && !mRate) {
                mRate = clip->rate;
            }
            mOpen += clip ? 1 : 0;
            mMoving = mMoving || camera->Moves();
        }
        if (mOpen == 0) {
            ThrowIfInterrupted();
            const int status = mCameras.front()->End().value_or(0);
            throw Failure(status != 0 ? static_cast<ExitCode>(status) : ExitCode::InputBroken,
                          "no camera has a picture");
        }
        if (!mMoving && mArguments.frames.empty()) {
            mRange.end = mRange.first + 1; // stills alone
        }
    }

    void ThrowIfInterrupted() const {
        if (mRun.interruption.Requested()) {
            throw Failure(ExitCode::NotShared, "interrupted before the first composite");
        }
    }

    void MakeFolder() const {
        std::error_code error;
        std::filesystem::create_directories(mArguments.output, error);
        if (error) {
            throw Failure(ExitCode::WriteFailed, mArguments.output + ": " + error.message());
        }
    }

    std::int64_t ExpectedCount() const {
        std::int64_t count = 0;
        for (const auto& camera : mCameras) {
            if (camera->Moves()) {
                count = std::max(count, camera->ExpectedCount(*mRate));
            }
        }
        return std::max<std::int64_t>(std::min(mMoving ? count : mRange.end, mRange.end) - mRange.first, 0);
    }

    // False when there is nothing more to show.
    bool Compose(std::int64_t number) {
        const std::int64_t end = std::min(number + 1 + MonitorCamera::kAhead, mRange.end);
        for (const auto& camera : mCameras) {
            camera->Prepare(number, end, *mRate);
        }
        std::vector<Frame> frames;
        std::vector<MonitorCamera*> ended;
        bool moving = false;
        for (const auto& camera : mCameras) {
            const bool moved = camera->Moves();
            frames.push_back(camera->Take(number, *mRate));
            moving = moving || camera->Moves();
            if (moved && camera->HasEnded()) {
                ended.push_back(camera.get());
            }
        }
        if (mRun.interruption.Requested() || (mMoving && !moving)) {
            return false;
        }
        for (MonitorCamera* camera : ended) {
            camera->Note("its clip has ended; its cell stays black");
        }
        frames.resize(4); // cells without a camera are black
        Deliver(frames, number);
        CountBytes();
        frames.clear();
        for (const auto& camera : mCameras) {
            camera->Release(number + 1, *mRate);
        }
        return true;
    }

    void Deliver(const std::vector<Frame>& frames, std::int64_t number) {
        Frame composite;
        {
            const StageTimer timer(mCompose);
            composite = VF::RenderMulticam(frames, mSelected, mArguments.large, !mArguments.yellow, mParams, true);
        }
        if (!composite) {
            throw std::bad_alloc();
        }
        if (mWindow) {
            const StageTimer timer(mShow);
            mWindow->Show(composite);
        }
        if (mWriter) {
            const StageTimer timer(mEncode);
            mWriter->Write(composite, number, number, MatrixOf(composite));
        }
    }

    // Lets a composite be seen for its time unless a file wants the next one. False when the user has ended the run.
    bool AttendWindow() {
        const StageTimer timer(mShow);
        const auto now = steady_clock::now();
        if (mComposites == 1) {
            mFirstShown = now;
        }
        const std::chrono::duration<double> after(static_cast<double>(mComposites) / av_q2d(*mRate));
        return mWindow->AttendUntil(
            mWriter ? now : mFirstShown + std::chrono::duration_cast<steady_clock::duration>(after), mRun.interruption);
    }

    void CountBytes() {
        zyncore::threads::RunMainThreadCalls(); // the cache's reports of held bytes
        const RK::MediaFigures figures = RK::GetMediaManager()->GetTotals();
        mMostBytes = std::max(mMostBytes, figures.entryBytes + figures.heldBytes);
    }

    void PrintSummary() const {
        std::FILE* const out = mArguments.output == "-" ? stderr : stdout;
        const std::string target = !mWriter                   ? "the screen"
                                   : mArguments.output == "-" ? "standard output (y4m)"
                                                              : mWriter->Description();
        std::fprintf(out, "%s: %s, %.1f composites/s, %s of %s frames were in the cache, %s at most%s\n",
                     target.c_str(), Plural(static_cast<std::uint64_t>(mComposites), "composite").c_str(),
                     static_cast<double>(mComposites) / mTotal.elapsed, std::to_string(mRun.hits).c_str(),
                     std::to_string(mRun.hits + mRun.misses).c_str(), BytesText(mMostBytes).c_str(),
                     mRun.reports.DamageText().c_str());
        CameraTotals cameras;
        for (const auto& camera : mCameras) {
            if (const auto& totals = camera->Totals()) {
                cameras.decodeSeconds += totals->decodeSeconds;
                cameras.scaleSeconds += totals->scaleSeconds;
                cameras.handOverSeconds += totals->handOverSeconds;
                cameras.published += totals->published;
                cameras.blocksMade += totals->blocksMade;
                cameras.blocksRecycled += totals->blocksRecycled;
            }
        }
        const auto statistics = framebroker::GetClientStatistics();
        std::fprintf(out, "broker: %s published, %s of %s blocks recycled; %s opened, %s without mapping anew\n",
                     Plural(cameras.published, "frame").c_str(), std::to_string(cameras.blocksRecycled).c_str(),
                     std::to_string(cameras.blocksMade).c_str(), std::to_string(statistics.blocksOpened).c_str(),
                     std::to_string(statistics.mappingsReused).c_str());
        const auto share = [](double part, double whole) { return whole > 0 ? 100 * part / whole : 0; };
        const double elapsed = mTotal.elapsed;
        std::fprintf(
            out, "time %.1f s: %.0f %% waiting for cameras, %.0f %% hand-over, %.0f %% compositing, %.0f %% encoding",
            elapsed, share(mRun.wait.elapsed, elapsed), share(mRun.handOver.elapsed, elapsed),
            share(mCompose.elapsed, elapsed), share(mEncode.elapsed, elapsed));
        EndShares(out, share(mShow.elapsed, elapsed));
        // While a stage runs, a codec's threads may, too, and are counted with it.
        const double handOver = cameras.handOverSeconds + mRun.handOver.processor;
        const double encode = ProcessorSeconds() - mRun.handOver.processor - mCompose.processor - mShow.processor;
        const double sum =
            cameras.decodeSeconds + cameras.scaleSeconds + handOver + mCompose.processor + encode + mShow.processor;
        std::fprintf(out,
                     "processors %.1f s: %.0f %% decoding, %.0f %% scaling, at most %.1f %% hand-over and %.1f %% "
                     "compositing, %.0f %% encoding",
                     sum, share(cameras.decodeSeconds, sum), share(cameras.scaleSeconds, sum), share(handOver, sum),
                     share(mCompose.processor, sum), share(encode, sum));
        EndShares(out, share(mShow.processor, sum));
    }

    void EndShares(std::FILE* out, double show) const {
        if (mWindow) {
            std::fprintf(out, ", %.0f %% showing", show);
        }
        std::fputs("\n", out);
    }

    SharingGuard mSharing;
    LibraryGuard mLibrary;
    MonitorRun mRun;
    MonitorArguments mArguments;
    std::uint64_t mSelected;
    VF::MultiCamRenderParams mParams;
    FrameRange mRange;
    std::optional<AVRational> mRate;
    std::vector<std::unique_ptr<MonitorCamera>> mCameras;
    int mOpen = 0;
    bool mMoving = false;
    std::int64_t mComposites = 0;
    std::uint64_t mMostBytes = 0;
    StageTime mTotal;
    StageTime mCompose;
    StageTime mEncode;
    StageTime mShow; // waiting for the time of the next one, too
    std::unique_ptr<PictureWriter> mWriter;
    std::optional<DisplayWindow> mWindow;
    steady_clock::time_point mFirstShown;
};

} // namespace

void RunMonitor(const MonitorArguments& arguments) {
    std::signal(SIGPIPE, SIG_IGN); // a camera or a reader that has gone is noticed where it matters
    Monitor(arguments).Run();
}

} // namespace tool
