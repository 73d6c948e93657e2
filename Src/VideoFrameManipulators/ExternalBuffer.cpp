#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

Details::PixelImage WholeFrame(const FrameRef& frame, const Details::FrameAccess& access) {
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    const std::int32_t rowBytes = access.rows->GetRowBytes();
    return {access.memory->GetData(), rowBytes, bounds.right, bounds.bottom, BEToPBPixelFormat(frame->GetPixelType())};
}

// Moves one whole picture onto another. The addresses are asked for in the order given by the callers, and what the
// converter refuses ends the operation.
bool Clip(Details::PixelImage& image) {
    return PB_ClipBufferToRect(image.data, image.rowBytes, image.width, image.height, image.format, 0, 0,
                               &image.data) == 0;
}

void ScaleConvert(const Details::PixelImage& from, const Details::PixelImage& to) {
    static_cast<void>(PB_ScaleConvert(from.data, from.rowBytes, from.width, from.height, from.format,
                                      zynmediatypes::kFieldType_Progressive, to.data, to.rowBytes, to.width, to.height,
                                      to.format, zynmediatypes::kFieldType_Progressive,
                                      zynmediatypes::kRenderQuality_High));
}

} // namespace

void StoreExternal(FrameRef inSourceFrame, void* outBlock, int inWidth, int inHeight, int inRowBytes) {
    const Details::FrameAccess source(inSourceFrame);
    Details::CheckContract(source.memory != nullptr, "srcMemoryAccess != NULL", Details::kManipulatorsSource);
    Details::CheckContract(source.rows != nullptr, "src2DPixelMemoryAccess != NULL", Details::kManipulatorsSource);
    Details::PixelImage frame = WholeFrame(inSourceFrame, source);
    Details::PixelImage block{outBlock, inRowBytes, inWidth, inHeight, frame.format};
    if (Details::LiesInFrame(frame, inSourceFrame) && Clip(frame) && Clip(block)) {
        ScaleConvert(frame, block);
    }
}

void StoreExternal(FrameRef inSourceFrame, void* outBlock, int inRowBytes) {
    const BRT::ParamRect<BRT::CRect> bounds = inSourceFrame->GetBounds();
    StoreExternal(inSourceFrame, outBlock, bounds.right, bounds.bottom, inRowBytes);
}

void LoadExternal(FrameRef inDestFrame, void* inBlock, int inWidth, int inHeight, int inRowBytes) {
    const Details::FrameAccess destination(inDestFrame);
    Details::CheckContract(destination.memory != nullptr, "destMemoryAccess != NULL", Details::kManipulatorsSource);
    Details::CheckContract(destination.rows != nullptr, "dest2DPixelMemoryAccess != NULL",
                           Details::kManipulatorsSource);
    Details::CheckContract(!inDestFrame->GetReadOnly(), "inDestVideoFrame->GetReadOnly() == false",
                           Details::kManipulatorsSource);
    Details::PixelImage frame = WholeFrame(inDestFrame, destination);
    Details::PixelImage block{inBlock, inRowBytes, inWidth, inHeight, frame.format};
    if (Details::MayWritePixels(inDestFrame) && Details::LiesInFrame(frame, inDestFrame) && Clip(block) &&
        Clip(frame)) {
        ScaleConvert(block, frame);
    }
}

void LoadExternal(FrameRef inDestFrame, void* inBlock, int inRowBytes) {
    const BRT::ParamRect<BRT::CRect> bounds = inDestFrame->GetBounds();
    LoadExternal(inDestFrame, inBlock, bounds.right, bounds.bottom, inRowBytes);
}

} // namespace VF::VideoFrameManipulators
