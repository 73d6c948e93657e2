#include "ClipReader.h"
#include "DisplayWindow.h"
#include "ExitCodes.h"
#include "Interruption.h"
#include "Options.h"
#include "PictureCommands.h"
#include "PictureToFrame.h"
#include "RunReports.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

namespace tool {
namespace {

using std::chrono::steady_clock;

class Showing {
public:
    explicit Showing(const ShowArguments& arguments) : mArguments(arguments) {
        if (!arguments.size.empty()) {
            mSize = ParseSize("--size", arguments.size);
        }
        if (!arguments.frames.empty()) {
            mRange = ParseRange(arguments.frames);
        }
    }

    void Run() {
        ClipReader reader(mArguments.input, [this](const std::string& what) { mReports.Damage(what); });
        const double rate = av_q2d(reader.FrameRate());
        std::int64_t shown = 0;
        std::int64_t late = 0;
        std::int64_t firstTime = 0;
        steady_clock::time_point start;
        bool goesOn = true;
        for (std::int64_t number = 0; goesOn && number < mRange.end; ++number) {
            const AVFrame* const picture = reader.Next();
            if (picture == nullptr) {
                break;
            }
            if (number < mRange.first) {
                continue;
            }
            const Frame frame = PictureToFrame(*picture, reader.SampleAspectRatio(*picture));
            const std::int64_t time = reader.FrameTime(*picture);
            if (!mWindow) {
                Open(frame, reader.SampleAspectRatio(*picture));
                firstTime = time;
                start = steady_clock::now();
            }
            const std::chrono::duration<double> after(static_cast<double>(time - firstTime) / rate);
            const steady_clock::time_point due = start + std::chrono::duration_cast<steady_clock::duration>(after);
            const bool isLate = shown > 0 && steady_clock::now() > due;
            goesOn = mWindow->AttendUntil(due, mInterruption);
            if (goesOn) {
                late += isLate ? 1 : 0;
                mWindow->Show(frame);
                ++shown;
            }
        }
        if (!mWindow) {
            throw Failure(ExitCode::Usage, "--frames " + mArguments.frames + ": the input has fewer pictures");
        }
        const std::chrono::duration<double> seconds = steady_clock::now() - start;
        if (goesOn && shown == 1) { // a still stays until the user has seen it
            mWindow->AttendUntil(steady_clock::time_point::max(), mInterruption);
        }
        std::printf("%s: %s shown, %lld late, %.1f frames/s%s\n", mArguments.input.c_str(),
                    Plural(static_cast<std::uint64_t>(shown), "frame").c_str(), static_cast<long long>(late),
                    shown > 1 ? static_cast<double>(shown - 1) / seconds.count() : 0.0, mReports.DamageText().c_str());
    }

private:
    void Open(const Frame& frame, AVRational aspect) {
        const PictureSize size = mSize.value_or(PictureSize{
            std::clamp(static_cast<int>(WidthOf(frame) * av_q2d(aspect) + 0.5), 1, kMaxSide), HeightOf(frame)});
        mWindow.emplace(std::filesystem::path(mArguments.input).filename().string(), size.width, size.height);
    }

    ShowArguments mArguments;
    LibraryGuard mLibrary;
    Interruption mInterruption;
    std::optional<PictureSize> mSize;
    FrameRange mRange;
    RunReports mReports;
    std::optional<DisplayWindow> mWindow;
};

} // namespace

void ShowClip(const ShowArguments& arguments) {
    Showing(arguments).Run();
}

} // namespace tool
