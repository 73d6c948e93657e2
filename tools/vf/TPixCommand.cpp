#include "ExitCodes.h"
#include "Options.h"
#include "PictureCommands.h"
#include "Pixmaps.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace tool {

void ShowTPix(const TPixArguments& arguments) {
    const auto number = ParseNumber(arguments.picture);
    if (!number) {
        throw Failure(ExitCode::Usage, "--picture " + arguments.picture + ": not a number");
    }
    const LibraryGuard library;
    const Frame frame = ReadPixmapFrame(arguments.input, *number);

    const bool asField = arguments.field >= 0;
    const auto order =
        arguments.order == 0 ? frame->GetFieldType() : static_cast<zynmediatypes::FieldType>(arguments.order);
    const LentTPix hand(VF::NewTPixFromVideoFrame(frame, asField, order, asField ? arguments.field : 0));
    if (!hand) {
        throw std::bad_alloc();
    }
    const TPix& record = **hand;
    auto ratio = frame->GetPixelAspectRatio();
    ratio.denominator *= asField ? 2 : 1;
    const Frame shown = CopyOf(record, ratio);
    const std::string written = WritePicture(arguments.output, shown);
    const std::ptrdiff_t offset = record.pixels - std::min(record.field0Base, record.field1Base);
    std::printf("%s: %dx%d of %s, field order %d, fieldMode %lld, stored row %lld first, %d bytes a row\n",
                written.c_str(), WidthOf(shown), HeightOf(shown), FrameText(frame).c_str(), static_cast<int>(order),
                static_cast<long long>(record.fieldMode), static_cast<long long>(offset == 0 ? 0 : 1), record.rowbytes);
}

} // namespace tool
