#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

#include <algorithm>

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using Rect = BRT::ParamRect<BRT::CRect>;

Details::PixelImage FieldImage(const FrameRef& frame, const Details::FrameAccess& access, int field,
                               std::int32_t height) {
    return {field == 0 ? access.rows->GetField0Data() : access.rows->GetField1Data(), access.rows->GetFieldRowBytes(),
            frame->GetBounds().right, height, BEPixelFormatToPBPixelFormat(frame->GetPixelType())};
}

int ScaleConvert(const Details::PixelImage& from, const Details::PixelImage& to) {
    return PB_ScaleConvert(from.data, from.rowBytes, from.width, from.height, from.format,
                           zynmediatypes::kFieldType_Progressive, to.data, to.rowBytes, to.width, to.height, to.format,
                           zynmediatypes::kFieldType_Progressive, zynmediatypes::kRenderQuality_Higher);
}

// Scales onto a field that has fewer rows than the picture: what has no row is cut off, not squeezed in.
int ScaleConvertAndCut(const Details::PixelImage& from, const Details::PixelImage& to, std::int32_t rowsInField,
                       const FrameRef& destination) {
    FrameRef whole;
    const int created = CreateVideoFrame(whole, destination->GetPixelType(), static_cast<std::uint32_t>(to.width),
                                         static_cast<std::uint32_t>(to.height), {1, 1}, false, false);
    if (created < 0) {
        return created;
    }
    const Details::FrameAccess access(whole);
    const Details::PixelImage scaled{access.memory->GetData(), access.rows->GetRowBytes(), to.width, to.height,
                                     to.format};
    if (const int result = ScaleConvert(from, scaled); result != 0) {
        return result;
    }
    return PB_Convert(scaled.data, scaled.rowBytes, scaled.format, to.data, to.rowBytes, to.format, to.width,
                      rowsInField, zynmediatypes::kRenderQuality_Higher);
}

} // namespace

int CopyField(FrameRef inSourceFrame, FrameRef inDestFrame, int inField, zynmediatypes::RenderQuality inQuality) {
    Details::CheckContract(!inDestFrame->GetReadOnly(), Details::kWritableCondition, Details::kManipulatorsSource);
    FrameRef sourceFrame;
    const int addressable =
        MakeAddressableVideoFrame(inSourceFrame, sourceFrame, inDestFrame->GetPixelType(), inQuality);
    if (addressable < 0) {
        return addressable;
    }
    const Details::FrameAccess source(sourceFrame);
    const Details::FrameAccess destination(inDestFrame);
    const std::int32_t sourceHeight = sourceFrame->GetBounds().bottom;
    const std::int32_t destinationHeight = inDestFrame->GetBounds().bottom;
    // The source's first line decides both heights, so a destination of the other field order may be given one row more
    // than its field has.
    const bool takesOddRow = source.rows->GetFieldFirstLine(static_cast<std::uint32_t>(inField)) == 0;
    const auto fieldHeight = [&](std::int32_t height) { return height / 2 + (takesOddRow && height % 2 != 0 ? 1 : 0); };
    const std::int32_t sourceRows = fieldHeight(sourceHeight);
    const std::int32_t destinationRows = fieldHeight(destinationHeight);
    Details::CheckContract(sourceRows == destinationRows, "theSrcRect.Height() == theDestRect.Height()",
                           Details::kManipulatorsSource);

    const Details::PixelImage from = FieldImage(sourceFrame, source, inField, sourceRows);
    const Details::PixelImage to = FieldImage(inDestFrame, destination, inField, destinationRows);
    if (!Details::MayWritePixels(inDestFrame)) {
        return kResult_Success;
    }
    const std::uint32_t firstLine = destination.rows->GetFieldFirstLine(static_cast<std::uint32_t>(inField));
    const std::int32_t rowsInField = firstLine == 0 ? destinationHeight / 2 + destinationHeight % 2 //
                                                    : destinationHeight / 2;
    Details::PixelImage written = to;
    written.height = std::min(to.height, rowsInField);
    if (!Details::LiesInFrame(from, sourceFrame) || !Details::LiesInFrame(written, inDestFrame)) {
        return kResult_Failed;
    }
    const int result =
        written.height == to.height ? ScaleConvert(from, to) : ScaleConvertAndCut(from, to, rowsInField, inDestFrame);
    if (result == 0) {
        return kResult_Success;
    }
    return result == Details::kConverterOutOfMemory ? kResult_BufferTooSmall : kResult_Failed;
}

void SwapFields(FrameRef inSourceFrame, FrameRef inDestFrame) {
    Details::CheckContract(!inDestFrame->GetReadOnly(), Details::kWritableCondition, Details::kManipulatorsSource);
    const Rect source = inSourceFrame->GetBounds();
    const Rect destination = inDestFrame->GetBounds();
    const auto copy = [&](const Rect& from, const Rect& to) {
        const auto empty = [](const Rect& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; };
        if (!empty(from) && !empty(to)) {
            constexpr int kWholeRows = 3;
            static_cast<void>(
                CopyRect(inSourceFrame, from, inDestFrame, to, zynmediatypes::kRenderQuality_Higher, kWholeRows));
        }
    };
    copy({source.left, source.top, source.right, source.top + 1},
         {destination.left, destination.top, destination.right, destination.top + 1});
    copy({source.left, source.top, source.right, std::max(source.bottom, 0) - 1},
         {destination.left, destination.top + 1, destination.right, destination.bottom});
}

} // namespace VF::VideoFrameManipulators
