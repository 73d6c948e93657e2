#include "Pixmaps.h"

#include "ClipReader.h"
#include "ExitCodes.h"
#include "Options.h"
#include "PictureToFrame.h"
#include "PictureWriter.h"
#include "RunReports.h"
#include "VideoFrameManipulators.h"

#include <cstring>
#include <new>

namespace tool {

Frame ReadPixmapFrame(const std::string& path, std::int64_t number) {
    RunReports reports;
    ClipReader reader(path, [&](const std::string& what) { reports.Damage(what); });
    const AVFrame* picture = nullptr;
    for (std::int64_t n = 0; n <= number; ++n) {
        picture = reader.Next();
        if (!picture) {
            throw Failure(ExitCode::Usage, "--picture " + std::to_string(number) + ": the input has fewer pictures");
        }
    }
    const Frame source = PictureToFrame(*picture, reader.SampleAspectRatio(*picture));
    Frame frame = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, WidthOf(source), HeightOf(source),
                            source->GetPixelAspectRatio());
    if (VF::VideoFrameManipulators::CopyFrame(source, frame, zynmediatypes::kRenderQuality_High) < 0) {
        throw Failure(ExitCode::ConversionRefused, "the library does not convert " + FrameText(source));
    }
    return frame;
}

LentTPix Lend(const Frame& frame) {
    LentTPix hand(VF::NewTPixFromVideoFrame(frame));
    if (!hand) {
        throw std::bad_alloc();
    }
    return hand;
}

Frame CopyOf(const TPix& record, zynmediatypes::PixelAspectRatio ratio) {
    const int width = record.bounds.right - record.bounds.left;
    const int height = record.bounds.bottom - record.bounds.top;
    if (width < 1 || height < 1) {
        throw Failure(ExitCode::ConversionRefused, "the picture has no line of this field");
    }
    Frame shown = MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, width, height, ratio);
    const FrameRows rows(shown);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const line = record.pixels + static_cast<std::ptrdiff_t>(height - 1 - y) * record.rowbytes;
        std::memcpy(rows.Row<std::uint8_t>(y), line, static_cast<std::size_t>(width) * 4);
    }
    return shown;
}

std::string WritePicture(const std::string& path, const Frame& frame) {
    if (!TakesOnePicture(path)) {
        throw Failure(ExitCode::Usage, path + ": one picture is written, as .png");
    }
    const auto writer = MakeWriter(path, {});
    writer->Write(frame, 0, 0, Matrix::Other);
    writer->Finish();
    return writer->Description();
}

} // namespace tool
