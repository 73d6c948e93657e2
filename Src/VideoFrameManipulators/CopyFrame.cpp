#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

// Gives the destination the field type that the copy leaves in it.
void SetDestinationFieldType(const FrameRef& source, const FrameRef& destination, zynmediatypes::RenderQuality quality,
                             zynmediatypes::FieldType sourceFieldType, bool fieldTypeGiven) {
    const std::int64_t sourceHeight = source->GetBounds().bottom;
    const std::int64_t destinationHeight = destination->GetBounds().bottom;
    if (quality < zynmediatypes::kRenderQuality_High && sourceHeight >= 2 * destinationHeight) {
        // A fast copy to half the height mixes both fields, so what arrives is progressive.
        destination->SetFieldType(zynmediatypes::kFieldType_Progressive);
    } else if (destination->GetFieldType() == zynmediatypes::kFieldType_NotSet ||
               (!fieldTypeGiven && sourceHeight <= destinationHeight)) {
        destination->SetFieldType(sourceFieldType);
    }
}

// The precision of the preferred format in the format that holds the source, where that makes pixels smaller.
zynmediatypes::PixelFormat PreferPrecision(zynmediatypes::PixelFormat target, zynmediatypes::PixelFormat preferred,
                                           zynmediatypes::RenderQuality quality) {
    if (preferred == target || !Details::IsAddressable(preferred) || quality >= zynmediatypes::kRenderQuality_Highest ||
        Details::BytesPerAddressablePixel(target) <= Details::BytesPerAddressablePixel(preferred)) {
        return target;
    }
    constexpr auto kDepth = zynmediatypes::kPropertyMask_Precision | zynmediatypes::kProperty_FullRange16;
    zynmediatypes::PixelFormat candidate;
    candidate.properties = (target.properties & ~kDepth) | (preferred.properties & kDepth);
    candidate.name = zynmediatypes::GuessNameForProperties(candidate.properties);
    return BEPixelFormatToPBPixelFormat(candidate) != kPB_NoFormat ? candidate : target;
}

} // namespace

int CopyFrameWithFields(FrameRef inSourceFrame, FrameRef inDestFrame, zynmediatypes::RenderQuality inQuality,
                        zynmediatypes::FieldType inSourceFieldType) {
    Details::CheckContract(!inDestFrame->GetReadOnly(), "inDestVideoFrame->GetReadOnly() == false",
                           Details::kManipulatorsSource);
    const bool fieldTypeGiven = inSourceFieldType != zynmediatypes::kFieldType_OfSource;
    const zynmediatypes::FieldType sourceFieldType = fieldTypeGiven ? inSourceFieldType : inSourceFrame->GetFieldType();
    SetDestinationFieldType(inSourceFrame, inDestFrame, inQuality, sourceFieldType, fieldTypeGiven);
    inDestFrame->SetAlphaType(inSourceFrame->GetAlphaType());
    inDestFrame->SetOrigin(inSourceFrame->GetOrigin());

    // The formats come after the alpha type, because setting that changes the format of some frames.
    const Details::FrameAccess source(inSourceFrame);
    const Details::FrameAccess destination(inDestFrame);
    const BRT::ParamRect<BRT::CRect> sourceBounds = inSourceFrame->GetBounds();
    const BRT::ParamRect<BRT::CRect> destinationBounds = inDestFrame->GetBounds();
    const PB_PixelFormat sourceFormat = Details::AlphaAwareConverterFormat(inSourceFrame);
    const PB_PixelFormat destinationFormat = Details::AlphaAwareConverterFormat(inDestFrame);
    const std::int32_t sourceStride = source.Stride();
    const std::int32_t destinationStride = destination.Stride();
    const Details::PixelImage from{source.memory->GetData(), sourceStride, sourceBounds.right, sourceBounds.bottom,
                                   sourceFormat};
    const Details::PixelImage to{destination.memory->GetData(), destinationStride, destinationBounds.right,
                                 destinationBounds.bottom, destinationFormat};

    if (Details::MayWritePixels(inDestFrame)) {
        if (!Details::LiesInFrame(from, inSourceFrame) || !Details::LiesInFrame(to, inDestFrame)) {
            return kResult_Failed;
        }
        const int result =
            PB_ScaleConvert(from.data, from.rowBytes, from.width, from.height, from.format, sourceFieldType, to.data,
                            to.rowBytes, to.width, to.height, to.format, inDestFrame->GetFieldType(), inQuality);
        if (result != 0) {
            return result == Details::kConverterOutOfMemory ? kResult_BufferTooSmall : kResult_Failed;
        }
    }
    if (BRT::ParamRect<BRT::CRect> alphaBounds;
        sourceBounds == destinationBounds && inSourceFrame->GetAlphaBounds(alphaBounds)) {
        inDestFrame->SetAlphaBounds(alphaBounds);
    }
    return kResult_Success;
}

int CopyFrame(FrameRef inSourceFrame, FrameRef inDestFrame, zynmediatypes::RenderQuality inQuality) {
    return CopyFrameWithFields(std::move(inSourceFrame), std::move(inDestFrame), inQuality,
                               zynmediatypes::kFieldType_OfSource);
}

int MakeAddressableVideoFrame(FrameRef inSourceFrame, FrameRef& outFrame, zynmediatypes::PixelFormat inPreferredFormat,
                              zynmediatypes::RenderQuality inQuality) {
    const zynmediatypes::PixelFormat sourceFormat = inSourceFrame->GetPixelType();
    if (Details::IsAddressable(sourceFormat)) {
        outFrame = inSourceFrame;
        return kResult_Success;
    }
    const zynmediatypes::PixelFormat target =
        PreferPrecision(zynmediatypes::Select4444PixelFormat(sourceFormat, inQuality), inPreferredFormat, inQuality);
    const BRT::ParamRect<BRT::CRect> bounds = inSourceFrame->GetBounds();
    FrameRef frame;
    const int created =
        CreateVideoFrame(frame, target, static_cast<std::uint32_t>(bounds.right),
                         static_cast<std::uint32_t>(bounds.bottom), inSourceFrame->GetPixelAspectRatio(), false, false);
    if (created < 0) {
        return created;
    }
    frame->SetFieldType(inSourceFrame->GetFieldType());
    const int copied = CopyFrame(inSourceFrame, frame, inQuality);
    if (copied >= 0) {
        outFrame = frame;
    }
    return copied;
}

} // namespace VF::VideoFrameManipulators
