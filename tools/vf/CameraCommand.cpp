#include "CameraLines.h"
#include "ClipCard.h"
#include "ClipTimeline.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "FrameGuid.h"
#include "Options.h"
#include "PictureToFrame.h"
#include "RunReports.h"
#include "Sharing.h"
#include "SharingCommands.h"
#include "StageTime.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameSharing.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace tool {
namespace {

// The size in square pixels that shows a picture as large as the cell allows.
PictureSize SizeInCell(const AVFrame& picture, AVRational sampleAspectRatio, PictureSize cell) {
    const double width = picture.width * av_q2d(sampleAspectRatio);
    const double scale = std::min(cell.width / width, cell.height / static_cast<double>(picture.height));
    const auto side = [](double length, int whole) {
        const int rounded = std::clamp(static_cast<int>(std::lround(length)), 1, whole);
        return whole - rounded == 1 ? whole : rounded; // a single line has no room for bars on both sides
    };
    return {side(width * scale, cell.width), side(picture.height * scale, cell.height)};
}

class Camera {
public:
    explicit Camera(const CameraArguments& arguments)
        : mName(CheckedClipName(arguments.name)), mCell(ParseSize("--cell", arguments.cell)),
          mFormat(ParseFormat("--format", arguments.format)), mAhead(arguments.ahead),
          mReader(arguments.input, [this](const std::string& what) { mReports.Damage(what); }), mTimeline(mReader) {}

    void Run() {
        std::cout << LineOf(CameraClip{mReader.FrameRate(), mReader.EstimatedCount(), mTimeline.IsStill()})
                  << std::endl; // flushes
        for (std::int64_t index = 0; std::cin >> index;) {
            Provide(index);
        }
        mTotals.scaleSeconds = mScale.processor;
        mTotals.handOverSeconds = mHandOver.processor;
        mTotals.decodeSeconds = ProcessorSeconds() - mTotals.scaleSeconds - mTotals.handOverSeconds;
        const auto statistics = framebroker::GetClientStatistics();
        mTotals.blocksMade = statistics.blocksMade;
        mTotals.blocksRecycled = statistics.blocksRecycled;
        std::cout << LineOf(mTotals) << std::endl;
    }

private:
    // A frame that cannot be made is told to the monitor, and the next one may be possible.
    void Provide(std::int64_t index) {
        const Guid id = FrameGuid(mName, index);
        try {
            const AVFrame* picture = mTimeline.At(index);
            if (!picture) {
                framebroker::PutBinaryDataGenerationError(id, kCameraEnded);
                return;
            }
            if (!mFrame || mFrameNumber != mTimeline.Number()) {
                mFrame = Frame();
                mFrame = Scaled(*picture);
                mFrameNumber = mTimeline.Number();
            }
            Publish(id, index);
        } catch (const Failure& failure) {
            framebroker::PutBinaryDataGenerationError(id, kFrameFailed);
            mReports.Damage("frame " + std::to_string(index) + " is not shown: " + failure.what());
        }
    }

    Frame Scaled(const AVFrame& picture) {
        const StageTimer timer(mScale);
        const AVRational ratio = mReader.SampleAspectRatio(picture);
        const PictureSize size = SizeInCell(picture, ratio, mCell);
        VF::SetCreatePublishableVideoFrames(false); // nobody else sees the decoded picture
        const Frame source = PictureToFrame(picture, ratio);
        VF::SetCreatePublishableVideoFrames(true);
        return ConvertFrame(source, mFormat, size.width, size.height, zynmediatypes::kRenderQuality_Medium);
    }

    // A picture that is shown for several frames gets a further name for each.
    void Publish(const Guid& id, std::int64_t index) {
        const StageTimer timer(mHandOver);
        if (!mFrame->GetReadOnly()) {
            mFrame->SetRenderTime(static_cast<std::uint32_t>(index));
            // The monitor has opened what it needs of the frames before those that it asks for.
            const auto memory = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(mFrame);
            framebroker::SetPutBudget(memory->GetBufferSize() * (mAhead + 2));
        }
        if (VF::PublishVideoFrame(mFrame, id) != 0) {
            throw Failure(ExitCode::SharingFailed, "shared memory is full, or its Guid is in use");
        }
        ++mTotals.published;
    }

    SharingGuard mSharing; // before all that publishes
    LibraryGuard mLibrary;
    std::string mName;
    PictureSize mCell;
    zynmediatypes::PixelFormat mFormat;
    std::uint64_t mAhead = 1;
    RunReports mReports;
    ClipReader mReader;
    ClipTimeline mTimeline;
    Frame mFrame;
    std::int64_t mFrameNumber = 0;
    StageTime mScale;
    StageTime mHandOver;
    CameraTotals mTotals;
};

} // namespace

void RunCamera(const CameraArguments& arguments) {
    Camera(arguments).Run();
}

} // namespace tool
