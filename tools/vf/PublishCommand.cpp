#include "ClipCard.h"
#include "ClipReader.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "FrameGuid.h"
#include "Interruption.h"
#include "Options.h"
#include "PictureToFrame.h"
#include "RunReports.h"
#include "Sharing.h"
#include "SharingCommands.h"
#include "Text.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameSharing.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

namespace tool {
namespace {

using std::chrono::steady_clock;

class Publication {
public:
    explicit Publication(const PublishArguments& arguments)
        : mInput(arguments.input), mEvery(arguments.every), mLoop(arguments.loop) {
        mName = CheckedClipName(arguments.name.empty() ? ClipNameOf(arguments.input) : arguments.name);
        if (!arguments.size.empty()) {
            mSize = ParseSize("--size", arguments.size);
        }
        if (!arguments.format.empty()) {
            mFormat = ParseFormat("--format", arguments.format);
        }
        if (!arguments.frames.empty()) {
            mRange = ParseRange(arguments.frames);
        }
        if (!arguments.rate.empty()) {
            mRate = ParseRate(arguments.rate);
        }
        if (!arguments.hold.empty()) {
            mHold = ParseSeconds("--hold", arguments.hold);
            mHoldText = arguments.hold;
        }
        framebroker::SetPutBudget(arguments.budget);
    }

    void Run() {
        VF::SetCreatePublishableVideoFrames(true); // frames are made where they are shared from
        auto reader = OpenClip();
        const AVRational rate = av_div_q(reader->FrameRate(), {static_cast<int>(mEvery), 1});
        ClipAnnouncement announcement({mName, rate, mRange.first, mEvery});
        const double framesPerSecond = mRate.value_or(av_q2d(rate));
        const std::int64_t last = std::min(mRange.end, reader->EstimatedCount());
        mReports.Begin(mLoop ? 0 : std::max<std::int64_t>(last - mRange.first + mEvery - 1, 0) / mEvery);
        mStart = steady_clock::now();
        do {
            PublishOnce(*reader, announcement, framesPerSecond);
            reader = mLoop ? OpenClip() : nullptr;
        } while (reader && !mInterruption.Requested());
        announcement.End();
        mReports.End();
        const std::chrono::duration<double> seconds = steady_clock::now() - mStart;
        Hold();
        PrintSummary(seconds.count());
    }

private:
    std::unique_ptr<ClipReader> OpenClip() {
        return std::make_unique<ClipReader>(mInput, [this](const std::string& what) { mReports.Damage(what); });
    }

    // One walk over the clip.
    void PublishOnce(ClipReader& reader, ClipAnnouncement& announcement, double framesPerSecond) {
        for (std::int64_t number = 0; number < mRange.end; ++number) {
            const AVFrame* picture = reader.Next();
            if (!picture || mInterruption.Requested()) {
                break;
            }
            if (number < mRange.first || (number - mRange.first) % mEvery != 0) {
                continue;
            }
            if (framesPerSecond > 0) {
                const std::chrono::duration<double> due(static_cast<double>(mPublished + mFailed) / framesPerSecond);
                if (mInterruption.SleepUntil(mStart + std::chrono::duration_cast<steady_clock::duration>(due))) {
                    break;
                }
            }
            Publish(*picture, reader.SampleAspectRatio(*picture), announcement.NextIndex());
            announcement.Advance();
            mReports.Update(mPublished);
        }
        if (announcement.NextIndex() == mRange.first && !mInterruption.Requested()) {
            throw Failure(ExitCode::Usage, "--frames: the input has fewer pictures");
        }
    }

    // A picture that cannot be published is told to those who wait for it, and the run goes on: the next may be of
    // another layout, and memory may be free again.
    void Publish(const AVFrame& picture, AVRational sampleAspectRatio, std::int64_t index) {
        const Guid id = FrameGuid(mName, index);
        try {
            const Frame source = PictureToFrame(picture, sampleAspectRatio);
            const PictureSize size = mSize.value_or(PictureSize{picture.width, picture.height});
            const Frame frame = ConvertFrame(source, mFormat.value_or(source->GetPixelType()), size.width, size.height,
                                             zynmediatypes::kRenderQuality_High);
            frame->SetRenderTime(static_cast<std::uint32_t>(index));
            if (VF::PublishVideoFrame(frame, id) != 0) {
                throw Failure(ExitCode::SharingFailed, "shared memory is full, or its Guid is in use");
            }
            ++mPublished;
            mBytes += BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetBufferSize();
        } catch (const Failure& failure) {
            framebroker::PutBinaryDataGenerationError(id, kFrameFailed);
            Fail(index, failure.Code(), failure.what());
        }
    }

    void Fail(std::int64_t index, ExitCode code, const std::string& why) {
        const std::string message = mName + ':' + std::to_string(index) + " is not published: " + why;
        if (mPublished == 0) { // what was asked for does not work at all
            throw Failure(code, message);
        }
        ++mFailed;
        mReports.Damage(message);
    }

    void Hold() {
        if (mHold == std::chrono::milliseconds(0) || mInterruption.Requested()) {
            return;
        }
        mReports.Note(mName + ": all " + Plural(static_cast<std::uint64_t>(mPublished), "frame") + " published, " +
                      BytesText(framebroker::GetClientStatistics().keptPutBytes) + " held " +
                      (mHold ? "for " + mHoldText + " s" : "until Ctrl-C"));
        mInterruption.SleepUntil(mHold ? steady_clock::now() + *mHold : steady_clock::time_point::max());
    }

    void PrintSummary(double seconds) const {
        const auto recycled = framebroker::GetClientStatistics().blocksRecycled;
        std::printf("%s: %s published, %.1f frames/s, %s, %s recycled%s%s\n", mName.c_str(),
                    Plural(static_cast<std::uint64_t>(mPublished), "frame").c_str(),
                    seconds > 0 ? static_cast<double>(mPublished) / seconds : 0.0, BytesText(mBytes).c_str(),
                    Plural(recycled, "block").c_str(),
                    mFailed > 0 ? (", " + std::to_string(mFailed) + " failed").c_str() : "",
                    mReports.DamageText().c_str());
    }

    SharingGuard mSharing; // before all that publishes
    LibraryGuard mLibrary;
    Interruption mInterruption;
    std::string mInput;
    std::string mName;
    std::optional<PictureSize> mSize;
    std::optional<zynmediatypes::PixelFormat> mFormat;
    FrameRange mRange;
    std::int64_t mEvery = 1;
    bool mLoop = false;
    std::optional<double> mRate; // 0: as fast as it goes
    std::optional<std::chrono::milliseconds> mHold;
    std::string mHoldText;
    RunReports mReports;
    steady_clock::time_point mStart;
    std::int64_t mPublished = 0;
    std::int64_t mFailed = 0;
    std::uint64_t mBytes = 0;
};

} // namespace

void Publish(const PublishArguments& arguments) {
    Publication(arguments).Run();
}

} // namespace tool
