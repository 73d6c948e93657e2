#include "ClipReader.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "PictureCommands.h"
#include "PictureToFrame.h"
#include "PictureWriter.h"
#include "PixelBlitter.h"
#include "RunReports.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <string>

namespace tool {
namespace {

constexpr PB_PixelFormat kBGRA = 0x4;

// "RRGGBB" or "RRGGBBAA" as B G R A.
std::array<std::uint8_t, 4> ParseColour(const std::string& text) {
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value, 16);
    if ((text.size() != 6 && text.size() != 8) || parsed.ec != std::errc{} || parsed.ptr != end) {
        throw Failure(ExitCode::Usage, "--background " + text + ": a colour is RRGGBB or RRGGBBAA, in hexadecimal");
    }
    if (text.size() == 6) {
        value = value << 8 | 0xFF;
    }
    const auto byte = [=](int shift) { return static_cast<std::uint8_t>(value >> shift); };
    return {byte(8), byte(16), byte(24), byte(0)};
}

} // namespace

void Warp(const WarpArguments& arguments) {
    if (!TakesOnePicture(arguments.output)) {
        throw Failure(ExitCode::Usage,
                      arguments.output + ": a picture is written as .png, without a number in the name");
    }
    const auto background = ParseColour(arguments.background);
    const LibraryGuard library;
    RunReports reports;
    ClipReader reader(arguments.input, [&](const std::string& what) { reports.Damage(what); });
    const AVFrame* const picture = reader.Next();
    if (!picture) {
        throw Failure(ExitCode::InputBroken, arguments.input + ": no picture decodes");
    }
    const Frame decoded = PictureToFrame(*picture, reader.SampleAspectRatio(*picture));
    const int width = WidthOf(decoded), height = HeightOf(decoded);
    const Frame source = ConvertFrame(decoded, zynmediatypes::kPixelFormat_BGRA_4444_8u, width, height,
                                      zynmediatypes::kRenderQuality_High);
    const Frame warped =
        MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, width, height, decoded->GetPixelAspectRatio());
    const FrameRows from(source), to(warped);
    auto* const pixels = to.Row<std::uint8_t>(height - 1); // the lowest line is stored first
    const int rowBytes = 4 * width;
    if (PB_FillWithColor(pixels, rowBytes, width, height, kBGRA, background.data(), kBGRA) != kPB_Success) {
        throw Failure(ExitCode::ConversionRefused, "the picture cannot be filled");
    }
    const double right = width, top = height;
    const PB_Corner whole[4] = {{0, top}, {right, top}, {right, 0}, {0, 0}};
    PB_Corner quad[4];
    for (std::size_t i = 0; i < 4; ++i) {
        quad[i] = {arguments.quad[2 * i], top - arguments.quad[2 * i + 1]};
    }
    const int result =
        PB_WarpAffineQuad(width, height, from.Row<std::uint8_t>(height - 1), rowBytes, {0, 0}, whole, pixels, rowBytes,
                          {0, 0}, quad, {width, height}, kBGRA, 255, 1, 1, kBGRA, 0, 0, 1, 0);
    if (result != kPB_Success) {
        throw Failure(ExitCode::Usage, "--quad: the corners must be those of a convex quadrilateral, in order");
    }
    const auto writer = MakeWriter(arguments.output, {});
    writer->Write(warped, 0, 0, Matrix::Other);
    writer->Finish();
    std::printf("%s: %s\n", writer->Description().c_str(), FrameText(warped).c_str());
}

} // namespace tool
