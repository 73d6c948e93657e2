#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

// Checks the frame, then has its pixels rewritten in place where it has alpha in rows.
template <class Rewrite>
void RewriteAlpha(const FrameRef& frame, Rewrite rewrite) {
    Details::CheckContract(!frame->GetReadOnly(), Details::kWritableCondition, Details::kManipulatorsSource);
    const Details::FrameAccess access(frame);
    if (!frame->HasAlpha() || !access.rows) {
        return;
    }
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    const std::int32_t rowBytes = access.rows->GetRowBytes();
    const Details::PixelImage image{access.memory->GetData(), rowBytes, bounds.right, bounds.bottom,
                                    BEToPBPixelFormat(frame->GetPixelType())};
    if (Details::MayWritePixels(frame) && Details::LiesInFrame(image, frame)) {
        rewrite(image);
    }
}

} // namespace

void InvertAlpha(FrameRef inDestFrame) {
    RewriteAlpha(inDestFrame, [](const Details::PixelImage& image) {
        PB_InvertAlpha(image.data, image.rowBytes, image.data, image.rowBytes, image.format, image.width, image.height);
    });
}

void OpaqueAlpha(FrameRef inDestFrame) {
    RewriteAlpha(inDestFrame, [](const Details::PixelImage& image) {
        PB_CopyAndSetAlpha(image.data, image.rowBytes, image.data, image.rowBytes, image.format, image.width,
                           image.height, 1.0F);
    });
}

} // namespace VF::VideoFrameManipulators
