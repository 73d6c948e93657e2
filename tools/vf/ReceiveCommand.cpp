#include "ClipFollower.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "Options.h"
#include "PictureWriter.h"
#include "RunReports.h"
#include "SharedFrame.h"
#include "SharingCommands.h"
#include "Text.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace tool {
namespace {

using std::chrono::steady_clock;

class Reception {
public:
    explicit Reception(const ReceiveArguments& arguments)
        : mName(CheckedClipName(arguments.name)), mOutput(arguments.output) {
        if (!arguments.frames.empty()) {
            mRange = ParseRange(arguments.frames);
        }
        if (!arguments.wait.empty()) {
            mWait = ParseSeconds("--wait", arguments.wait);
        }
        MakeWriter(mOutput, {}); // a wrong extension is noticed before the wait
    }

    void Run() {
        if (!FindCard(mName)) {
            mReports.Note("waiting for the clip " + mName);
        }
        ClipFollower follower(mName, mWait, mInterruption);
        follower.StartAt(mRange.first);
        const auto writer = MakeWriter(mOutput, {follower.Card().rate, zynmediatypes::kRenderQuality_High});
        mReports.Begin(0);
        const auto start = steady_clock::now();
        while (const auto frame = follower.Next(mRange.end)) {
            Write(*writer, *frame, follower.Card());
            mReports.Update(mReceived);
            if (mReceived > 0 && TakesOnePicture(mOutput)) {
                break;
            }
        }
        mReports.End();
        if (mReceived > 0) {
            writer->Finish();
            const std::chrono::duration<double> seconds = steady_clock::now() - start;
            PrintSummary(*writer, follower, seconds.count());
        }
        if (follower.PublisherHasGone()) {
            throw Failure(ExitCode::NotShared, mName + ": its publisher has gone before the end of the clip");
        }
        if (mReceived == 0) {
            throw Failure(ExitCode::NotShared, mName + ": none of the chosen frames was there");
        }
    }

private:
    void Write(PictureWriter& writer, const ClipFollower::SharedFrame& shared, const ClipCard& card) try {
        const Frame source = CopyOfSharedFrame(shared.block, shared.id, mName + ':' + std::to_string(shared.index));
        if (!mSize) { // pictures may change their size within a clip, files may not
            mSize = PictureSize{WidthOf(source), HeightOf(source)};
        }
        const Frame frame = ConvertFrame(source, source->GetPixelType(), mSize->width, mSize->height,
                                         zynmediatypes::kRenderQuality_High);
        writer.Write(frame, (shared.index - card.first) / card.every, shared.index, MatrixOf(frame));
        ++mReceived;
    } catch (const Failure& failure) {
        if (failure.Code() != ExitCode::ConversionRefused) {
            throw;
        }
        mReports.Damage(failure.what());
    }

    void PrintSummary(const PictureWriter& writer, const ClipFollower& follower, double seconds) const {
        const auto counted = [](std::int64_t count, const char* what) {
            return count > 0 ? ", " + std::to_string(count) + what : "";
        };
        std::printf(
            "%s: %s, %.1f frames/s%s%s%s\n", writer.Description().c_str(),
            Plural(static_cast<std::uint64_t>(mReceived), "frame").c_str(),
            seconds > 0 ? static_cast<double>(mReceived) / seconds : 0.0, counted(follower.Missed(), " missed").c_str(),
            counted(follower.Failed(), " that the publisher could not make").c_str(), mReports.DamageText().c_str());
    }

    SharingGuard mSharing;
    LibraryGuard mLibrary;
    Interruption mInterruption;
    std::string mName;
    std::string mOutput;
    FrameRange mRange;
    std::optional<std::chrono::milliseconds> mWait;
    std::optional<PictureSize> mSize;
    RunReports mReports;
    std::int64_t mReceived = 0;
};

} // namespace

void Receive(const ReceiveArguments& arguments) {
    Reception(arguments).Run();
}

} // namespace tool
