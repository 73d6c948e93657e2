#include "ClipReader.h"
#include "DeviceRoundTrip.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "FrameEdits.h"
#include "Options.h"
#include "PictureCommands.h"
#include "PictureToFrame.h"
#include "PictureWriter.h"
#include "RunReports.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tool {
namespace {

class Conversion {
public:
    explicit Conversion(const ConvertArguments& arguments)
        : mArguments(arguments), mFormat(ParseFormat("--format", arguments.format)),
          mQuality(static_cast<zynmediatypes::RenderQuality>(arguments.quality)) {
        if (!arguments.size.empty()) {
            mSize = ParseSize("--size", arguments.size);
        }
        if (!arguments.frames.empty()) {
            mRange = ParseRange(arguments.frames);
        }
        if (!arguments.crop.empty()) {
            mArguments.edits.crop = ParseCrop(arguments.crop);
        }
        if (!arguments.device.empty()) {
            mDevice = ParseDevice("--via-device", arguments.device);
        }
        if (TakesOnePicture(arguments.output)) {
            mRange.end = std::min(mRange.end, mRange.first + 1);
        }
    }

    void Run() {
        RefuseToOverwriteInput();
        MakeWriter(mArguments.output, {}); // a wrong extension is noticed before the input is looked at
        ClipReader reader(mArguments.input, [this](const std::string& what) { mReports.Damage(what); });
        const auto writer = MakeWriter(mArguments.output, {reader.FrameRate(), mQuality});

        const std::int64_t count = std::min(mRange.end, reader.EstimatedCount());
        mReports.Begin(std::max<std::int64_t>(count - mRange.first, 0));
        const auto start = std::chrono::steady_clock::now();
        std::int64_t written = 0;
        for (std::int64_t number = 0; number < mRange.end; ++number) {
            const AVFrame* picture = reader.Next();
            if (!picture) {
                break;
            }
            if (number >= mRange.first) {
                writer->Write(Convert(*picture, reader.SampleAspectRatio(*picture)), reader.FrameTime(*picture), number,
                              ColourOf(*picture).matrix);
                mReports.Update(++written);
            }
        }
        if (written == 0) {
            throw Failure(ExitCode::Usage, "--frames " + mArguments.frames + ": the input has fewer pictures");
        }
        writer->Finish();
        mReports.End();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        PrintSummary(*writer, written, seconds.count());
    }

private:
    Frame Convert(const AVFrame& picture, AVRational sampleAspectRatio) {
        const Frame source = Edited(PictureToFrame(picture, sampleAspectRatio), mArguments.edits, mFormat, mQuality);
        if (!mSize) { // pictures may change their size within a clip, files may not
            mSize = PictureSize{WidthOf(source), HeightOf(source)};
        }
        const Frame converted = ConvertFrame(source, mFormat, mSize->width, mSize->height, mQuality);
        if (mDevice) {
            TakeThroughDevice(mDevice, converted);
        }
        return converted;
    }

    void RefuseToOverwriteInput() const {
        std::error_code error;
        if (std::filesystem::equivalent(mArguments.input, mArguments.output, error)) {
            throw Failure(ExitCode::Usage, mArguments.output + ": is the input");
        }
    }

    void PrintSummary(const PictureWriter& writer, std::int64_t written, double seconds) const {
        const auto recycled = BRT::MemoryRecycler::Instance().GetStatistics().bytesRecycled;
        std::printf("%s: %s, %.1f frames/s, %s recycled%s\n", writer.Description().c_str(),
                    Plural(static_cast<std::uint64_t>(written), "frame").c_str(),
                    seconds > 0 ? static_cast<double>(written) / seconds : 0.0, BytesText(recycled).c_str(),
                    mReports.DamageText().c_str());
    }

    ConvertArguments mArguments;
    LibraryGuard mLibrary;
    boost::shared_ptr<DK::Device> mDevice;
    zynmediatypes::PixelFormat mFormat;
    zynmediatypes::RenderQuality mQuality;
    std::optional<PictureSize> mSize;
    FrameRange mRange;
    RunReports mReports;
};

} // namespace

void Convert(const ConvertArguments& arguments) {
    Conversion(arguments).Run();
}

} // namespace tool
