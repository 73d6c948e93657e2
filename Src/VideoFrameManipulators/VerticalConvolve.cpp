#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <memory>
#include <new>

namespace VF::VideoFrameManipulators {
namespace {

// Every row as a quarter, a half and a quarter of three, from the last one in memory to the first. Both pictures have
// the same rows; scratch holds one.
void BlurRows(const void* source, void* destination, const Details::PixelImage& layout, std::uint64_t usedRowBytes,
              void* scratch) {
    const auto sourceRow = [&](std::int32_t number) {
        return Details::OffsetPointer(const_cast<void*>(source), std::int64_t{number} * layout.rowBytes);
    };
    const auto destinationRow = [&](std::int32_t number) {
        return Details::OffsetPointer(destination, std::int64_t{number} * layout.rowBytes);
    };
    const auto mean = [&](const void* a, const void* b, void* result) {
        PB_CrossDissolve(a, 0, layout.format, b, 0, layout.format, result, 0, layout.format, layout.width, 1, 0.5F,
                         zynmediatypes::kRenderQuality_Higher);
    };
    const std::int32_t last = layout.height - 1;
    mean(sourceRow(last), sourceRow(last - 1), destinationRow(last));
    for (std::int32_t row = last - 1; row >= 1; --row) {
        Details::FetchAhead(sourceRow(std::max(row - 2, 0)), usedRowBytes);
        Details::FetchAhead(destinationRow(row - 1), usedRowBytes);
        mean(sourceRow(row + 1), sourceRow(row - 1), scratch);
        mean(scratch, sourceRow(row), destinationRow(row));
    }
    mean(sourceRow(1), sourceRow(0), destinationRow(0));
}

} // namespace

void VerticalConvolve(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame,
                      BRT::InterfaceRef<RK::IVideoFrame> inDestFrame) {
    Details::CheckContract(!inDestFrame->GetReadOnly(), Details::kWritableCondition, Details::kManipulatorsSource);
    const Details::FrameAccess source(inSourceFrame);
    const Details::FrameAccess destination(inDestFrame);
    const std::int32_t rowBytes = source.rows->GetRowBytes();
    const std::uint32_t pixelSize = source.MixablePixelSize(inSourceFrame->GetPixelType());
    if (pixelSize == 0) {
        return;
    }
    const BRT::ParamRect<BRT::CRect> bounds = inSourceFrame->GetBounds();
    // The source's rows and the destination's format count for both frames, whatever the other says of itself.
    const Details::PixelImage layout{destination.memory->GetData(), rowBytes, bounds.right, bounds.bottom,
                                     BEToPBPixelFormat(inDestFrame->GetPixelType())};
    const void* const sourceData = source.memory->GetData();
    const std::uint64_t mixedRowBytes = layout.width > 0 ? PB_PixelFormatSize(layout.format, layout.width, 1) : 0;
    const std::uint64_t copiedRowBytes = Details::UsedRowBytes(layout.width, pixelSize);
    const std::uint64_t usedRowBytes = layout.height == 1 ? copiedRowBytes : mixedRowBytes;
    if (layout.height <= 0 || usedRowBytes == 0 || !Details::MayWritePixels(inDestFrame)) {
        return;
    }
    const auto lies = [&](const void* data, const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
        return Details::LiesInBlock(Details::PixelRows{data, rowBytes, layout.height, usedRowBytes},
                                    Details::RowsExtent(frame));
    };
    if (!lies(sourceData, inSourceFrame) || !lies(layout.data, inDestFrame)) {
        return;
    }
    if (layout.height == 1) {
        PB_CopyMemory(layout.data, sourceData, copiedRowBytes);
        return;
    }
    const std::unique_ptr<std::byte[]> scratch(new (std::nothrow) std::byte[mixedRowBytes]);
    if (scratch) {
        BlurRows(sourceData, layout.data, layout, mixedRowBytes, scratch.get());
    }
}

} // namespace VF::VideoFrameManipulators
