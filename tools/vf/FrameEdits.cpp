#include "FrameEdits.h"

#include "ExitCodes.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameManipulators.h"

#include <new>
#include <string>

namespace tool {
namespace {

namespace Manipulators = VF::VideoFrameManipulators;
using Rect = BRT::ParamRect<BRT::CRect>;
using zynmediatypes::FieldType;

void Check(int result, const Frame& frame) {
    if (result == VF::kResult_BufferTooSmall || result == VF::kResult_MemoryExhausted) {
        throw std::bad_alloc();
    }
    if (result < 0) {
        throw Failure(ExitCode::ConversionRefused, "the library does not edit " + FrameText(frame));
    }
}

// Every second row, in a frame whose pixels are twice as tall.
Frame FieldOf(const Frame& frame, int field, zynmediatypes::RenderQuality quality) {
    const int width = WidthOf(frame);
    const int rows = HeightOf(frame) / 2;
    if (rows == 0) {
        throw Failure(ExitCode::ConversionRefused, FrameText(frame) + " has no two fields");
    }
    auto ratio = frame->GetPixelAspectRatio();
    ratio.denominator *= 2;
    Frame shown = MakeFrame(frame->GetPixelType(), width, rows, ratio);
    shown->SetFieldType(zynmediatypes::kFieldType_Progressive);
    shown->SetAlphaType(frame->GetAlphaType());
    const auto access = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    // The selector names the rows of memory: 0 those from row 1 on, 1 those from row 0 on.
    const int selector = access->GetFieldFirstLine(static_cast<std::uint32_t>(field)) == 1 ? 0 : 1;
    Check(Manipulators::CopyRect(frame, frame->GetBounds(), shown, shown->GetBounds(), quality, selector), frame);
    return shown;
}

FieldType Exchanged(FieldType type) {
    switch (type) {
    case zynmediatypes::kFieldType_UpperFirst:
        return zynmediatypes::kFieldType_LowerFirst;
    case zynmediatypes::kFieldType_LowerFirst:
        return zynmediatypes::kFieldType_UpperFirst;
    default:
        return type;
    }
}

// A copy of what a view of the part shows.
Frame PartOf(const Frame& frame, const Crop& crop, zynmediatypes::RenderQuality quality) {
    const int height = HeightOf(frame);
    if (crop.right > WidthOf(frame) || crop.bottom > height) {
        throw Failure(ExitCode::Usage, "--crop: reaches out of the picture, " + FrameText(frame));
    }
    // Views count rows from the start of memory, which has the bottom of the picture.
    Frame view;
    Check(VF::CreateVideoSubFrame(view, frame, {crop.left, height - crop.bottom, crop.right, height - crop.top}),
          frame);
    Frame part = MakeFrame(frame->GetPixelType(), WidthOf(view), HeightOf(view), frame->GetPixelAspectRatio());
    Check(Manipulators::CopyFrame(view, part, quality), frame);
    // Fields count from the top, which now is a line of the other field when the lines above it are odd in number.
    part->SetFieldType(crop.top % 2 == 0 ? frame->GetFieldType() : Exchanged(frame->GetFieldType()));
    part->SetOrigin({-1, -1});
    return part;
}

} // namespace

Frame Edited(const Frame& picture, const FrameEdits& edits, zynmediatypes::PixelFormat preferredFormat,
             zynmediatypes::RenderQuality quality) {
    if (!edits.Any()) {
        return picture;
    }
    Frame frame;
    Check(Manipulators::MakeAddressableVideoFrame(picture, frame, preferredFormat, quality), picture);
    if (edits.keptField) {
        Manipulators::DeinterlaceVideoFrame(frame, *edits.keptField);
    }
    if (edits.shownField) {
        frame = FieldOf(frame, *edits.shownField, quality);
    }
    if (edits.crop) {
        frame = PartOf(frame, *edits.crop, quality);
    }
    if (edits.alpha == AlphaEdit::Invert) {
        Manipulators::InvertAlpha(frame);
    } else if (edits.alpha == AlphaEdit::Opaque) {
        Manipulators::OpaqueAlpha(frame);
    }
    return frame;
}

} // namespace tool
