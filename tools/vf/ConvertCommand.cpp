#include "ClipReader.h"
#include "Commands.h"
#include "DeviceRoundTrip.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "FrameEdits.h"
#include "Options.h"
#include "PictureToFrame.h"
#include "PictureWriter.h"
#include "RunReports.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace tool {
namespace {

struct ConvertArguments {
    std::string input;
    std::string output;
    std::string size;
    std::string format = "bgra";
    int quality = zynmediatypes::kRenderQuality_High;
    std::string frames;
    std::string crop;
    std::string device;
    FrameEdits edits;
};

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

void AddConvertCommand(CLI::App& app) {
    const auto arguments = std::make_shared<ConvertArguments>();
    CLI::App* command = app.add_subcommand("convert", "Convert a clip or still through a pixel format and a size");
    command->add_option("IN", arguments->input, "clip or still to read")->required();
    command->add_option("OUT", arguments->output, "file to write: .png (%04d numbers several), .y4m, .mp4, .mkv ...")
        ->required();
    command->add_option("--size", arguments->size, "WxH of the output; the input's own size without it");
    command->add_option("--format", arguments->format, "code of the format to go through (see vf formats)")
        ->capture_default_str();
    command->add_option("--quality", arguments->quality, "0 fastest to 5 best")
        ->capture_default_str()
        ->check(CLI::Range(0, 5));
    command->add_option("--frames", arguments->frames, "A:B, pictures A up to but not including B, from 0");
    command->add_option("--via-device", arguments->device,
                        "index of a device (see vf devices), or host: take each converted frame through its memory");
    CLI::Option* const deinterlace =
        command->add_option("--deinterlace", arguments->edits.keptField, "keep field 0 or 1 and rebuild the other");
    deinterlace->check(CLI::Range(0, 1));
    command->add_option("--field", arguments->edits.shownField, "field 0 or 1 alone, as a picture of half the height")
        ->check(CLI::Range(0, 1))
        ->excludes(deinterlace);
    command->add_option("--crop", arguments->crop, "L,T,R,B, the part of each picture to take");
    command->add_option("--alpha", arguments->edits.alpha, "invert the alpha of each picture, or make it opaque")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, AlphaEdit>{{"invert", AlphaEdit::Invert}, {"opaque", AlphaEdit::Opaque}}));
    command->callback([arguments] {
        av_log_set_level(AV_LOG_QUIET); // damage is told by our own reports
        Conversion(*arguments).Run();
    });
}

} // namespace tool
