#include "ChannelFilters.h"
#include "ExitCodes.h"
#include "PictureCommands.h"
#include "PictureWriter.h"
#include "Pixmaps.h"

#include <cstdio>
#include <vector>

namespace tool {

void Convolve(const ConvolveArguments& arguments) {
    if (!TakesOnePicture(arguments.output)) {
        throw Failure(ExitCode::Usage,
                      arguments.output + ": a picture is written as .png, without a number in the name");
    }
    std::vector<std::int16_t> kernel = arguments.kernel;
    int sum = 0;
    for (std::size_t k = 0; k < 9; ++k) {
        sum += kernel[k];
    }
    kernel.resize(kConvolveKernel_Numbers);
    if (arguments.kernel.size() <= kConvolveKernel_Divisor) {
        kernel[kConvolveKernel_Divisor] = static_cast<std::int16_t>(sum > 0 && sum <= INT16_MAX ? sum : 1);
    }
    const LibraryGuard library;
    const Frame frame = ReadPixmapFrame(arguments.input, 0);
    const int height = HeightOf(frame);
    const FrameRows rows(frame);
    // The kernel's first row belongs to the line above, which is stored behind this one.
    for (std::size_t k = 0; k < 3; ++k) {
        std::swap(kernel[k], kernel[k + 6]);
    }
    auto* const pixels = rows.Row<std::uint8_t>(height - 1);
    DoConvolve(pixels, pixels, kernel.data(), 4 * WidthOf(frame), WidthOf(frame), height);
    const auto writer = MakeWriter(arguments.output, {});
    writer->Write(frame, 0, 0, Matrix::Other);
    writer->Finish();
    std::printf("%s: %s\n", writer->Description().c_str(), FrameText(frame).c_str());
}

} // namespace tool
