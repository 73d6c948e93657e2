#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"
#include "VideoFrameGeometry.h"

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

// Every second row from firstLine on is kept. A rebuilt row without a neighbour on one side becomes a copy of the
// other, all others the mean of both.
void RebuildOtherField(const Details::PixelImage& image, bool keepsFirstRow, std::size_t usedRowBytes) {
    const auto row = [&](std::int32_t number) {
        return Details::OffsetPointer(image.data, std::int64_t{number} * image.rowBytes);
    };
    std::int32_t fieldRowBytes = 0;
    if (image.height < 2 || __builtin_mul_overflow(image.rowBytes, 2, &fieldRowBytes)) {
        return;
    }
    const std::int32_t lastRow = image.height - 1;
    if (!keepsFirstRow) {
        PB_CopyMemory(row(0), row(1), usedRowBytes);
    }
    const std::int32_t first = keepsFirstRow ? 1 : 2;
    const std::int32_t count = (lastRow - first + 1) / 2; // rows with a row behind them
    if (count > 0) {
        PB_CrossDissolve(row(first - 1), fieldRowBytes, image.format, row(first + 1), fieldRowBytes, image.format,
                         row(first), fieldRowBytes, image.format, image.width, count, 0.5F,
                         zynmediatypes::kRenderQuality_Higher);
    }
    const bool keepsLastRow = (lastRow % 2 == 0) == keepsFirstRow;
    if (!keepsLastRow) {
        PB_CopyMemory(row(lastRow), row(lastRow - 1), usedRowBytes);
    }
}

} // namespace

int InterpFieldToFrame(FrameRef inSourceFrame, FrameRef inDestFrame, int inField) {
    Details::CheckContract(!inDestFrame->GetReadOnly(), Details::kWritableCondition, Details::kManipulatorsSource);
    const int copied = CopyField(inSourceFrame, inDestFrame, inField, zynmediatypes::kRenderQuality_Higher);
    if (copied < 0) {
        return copied;
    }
    DeinterlaceVideoFrame(inDestFrame, inField);
    return kResult_Success;
}

void DeinterlaceVideoFrame(FrameRef inVideoFrame, int inField) {
    const zynmediatypes::PixelFormat format = inVideoFrame->GetPixelType();
    const Details::FrameAccess access(inVideoFrame);
    Details::CheckContract(!inVideoFrame->GetReadOnly(), "inVideoFrame->GetReadOnly() == false",
                           Details::kManipulatorsSource);
    const std::int32_t rowBytes = access.rows->GetRowBytes();
    const std::uint32_t pixelSize = access.MixablePixelSize(format);
    if (pixelSize == 0) {
        return;
    }
    const BRT::ParamRect<BRT::CRect> bounds = inVideoFrame->GetBounds();
    const bool keepsFirstRow = access.rows->GetFieldFirstLine(static_cast<std::uint32_t>(inField)) == 0;
    const Details::PixelImage image{access.memory->GetData(), rowBytes, bounds.right, bounds.bottom,
                                    BEToPBPixelFormat(format)};
    const std::uint64_t usedRowBytes = Details::UsedRowBytes(bounds.right, pixelSize);
    if (Details::MayWritePixels(inVideoFrame) && usedRowBytes != 0 &&
        Details::LiesInFrame(Details::PixelRows{image.data, rowBytes, image.height, usedRowBytes}, inVideoFrame)) {
        RebuildOtherField(image, keepsFirstRow, usedRowBytes);
    }
    inVideoFrame->SetFieldType(zynmediatypes::kFieldType_Progressive);
}

} // namespace VF::VideoFrameManipulators
