#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <optional>

namespace VF::VideoFrameManipulators {
namespace {

using Rect = BRT::ParamRect<BRT::CRect>;

// The part of a frame that a copy reads or writes: the whole image and a rectangle in it, rows in memory order.
struct ImagePart {
    Details::PixelImage image;
    Rect rect;
};

// Edge by edge, so a rectangle outside the frame becomes an empty one on its edge.
Rect Clamp(const Rect& rect, const Rect& bounds) {
    const auto column = [&](std::int32_t x) { return std::min(std::max(x, bounds.left), bounds.right); };
    const auto row = [&](std::int32_t y) { return std::min(std::max(y, bounds.top), bounds.bottom); };
    return {column(rect.left), row(rect.top), column(rect.right), row(rect.bottom)};
}

// Rectangles count from the picture's top, rows in memory from its bottom.
Rect Mirror(const Rect& rect, const Rect& bounds) {
    const auto mirror = [&](std::int32_t y) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(bounds.top) +
                                         static_cast<std::uint32_t>(bounds.bottom) - static_cast<std::uint32_t>(y));
    };
    return {rect.left, mirror(rect.bottom), rect.right, mirror(rect.top)};
}

int ClipToRect(const ImagePart& part, void*& outStart) {
    return PB_ClipBufferToRect(part.image.data, part.image.rowBytes, part.rect.Width(), part.rect.Height(),
                               part.image.format, part.rect.left, part.rect.top, &outStart);
}

int ScaleConvert(const ImagePart& source, const ImagePart& destination, zynmediatypes::RenderQuality quality) {
    void* sourceStart = nullptr;
    if (const int result = ClipToRect(source, sourceStart); result != 0) {
        return result;
    }
    void* destinationStart = nullptr;
    if (const int result = ClipToRect(destination, destinationStart); result != 0) {
        return result;
    }
    const int converterQuality = quality < zynmediatypes::kRenderQuality_High ? 2 : 3;
    return PB_ScaleConvert(sourceStart, source.image.rowBytes, source.rect.Width(), source.rect.Height(),
                           source.image.format, zynmediatypes::kFieldType_Progressive, destinationStart,
                           destination.image.rowBytes, destination.rect.Width(), destination.rect.Height(),
                           destination.image.format, zynmediatypes::kFieldType_Progressive, converterQuality);
}

// Every second row of the source, and half the rectangle. The rectangle is halved unmirrored: a field copy takes the
// rows in the order they lie in memory. Empty when the doubled stride is no 32-bit word.
std::optional<ImagePart> FieldOf(const ImagePart& whole, const Rect& unmirroredRect, int fieldSelector) {
    ImagePart field = whole;
    if (fieldSelector == 0) {
        field.image.data = Details::OffsetPointer(field.image.data, field.image.rowBytes);
    }
    if (__builtin_mul_overflow(field.image.rowBytes, 2, &field.image.rowBytes)) {
        return std::nullopt;
    }
    field.rect = {unmirroredRect.left, unmirroredRect.top / 2, unmirroredRect.right, unmirroredRect.bottom / 2};
    return field;
}

} // namespace

int CopyRect(BRT::InterfaceRef<RK::IVideoFrame> inSourceFrame, const Rect& inSourceRect,
             BRT::InterfaceRef<RK::IVideoFrame> inDestFrame, const Rect& inDestRect,
             zynmediatypes::RenderQuality inQuality, int inFieldSelector) {
    if (inDestRect.left == inDestRect.right || inDestRect.top == inDestRect.bottom) {
        return kResult_Success;
    }
    const Details::FrameAccess source(inSourceFrame);
    Details::CheckContract(source.memory != nullptr, "srcMemoryAccess != NULL", Details::kManipulatorsSource);
    const Details::FrameAccess destination(inDestFrame);
    Details::CheckContract(destination.memory != nullptr, "destMemoryAccess != NULL", Details::kManipulatorsSource);
    Details::CheckContract(!inDestFrame->GetReadOnly(), "destVideoFrame->GetReadOnly() == false",
                           Details::kManipulatorsSource);

    const Rect sourceBounds = inSourceFrame->GetBounds();
    const Rect destinationBounds = inDestFrame->GetBounds();
    const Rect sourceRect = Clamp(inSourceRect, sourceBounds);
    const bool fieldCopy = inFieldSelector == 0 || inFieldSelector == 1;
    if (fieldCopy && !(source.rows && destination.rows)) {
        BRT::ThrowNullInterface();
    }
    ImagePart from{{source.memory->GetData(), source.Stride(), sourceBounds.right, sourceBounds.bottom,
                    BEToPBPixelFormat(inSourceFrame->GetPixelType())},
                   Mirror(sourceRect, sourceBounds)};
    const ImagePart to{{destination.memory->GetData(), destination.Stride(), destinationBounds.right,
                        destinationBounds.bottom, BEToPBPixelFormat(inDestFrame->GetPixelType())},
                       Mirror(Clamp(inDestRect, destinationBounds), destinationBounds)};

    if (!Details::MayWritePixels(inDestFrame) || !Details::LiesInFrame(from.image, inSourceFrame) ||
        !Details::LiesInFrame(to.image, inDestFrame)) {
        return kResult_Success;
    }
    if (fieldCopy) {
        const std::optional<ImagePart> field = FieldOf(from, sourceRect, inFieldSelector);
        if (!field) {
            return kResult_Success;
        }
        from = *field;
    }
    return ScaleConvert(from, to, inQuality) == Details::kConverterOutOfMemory ? kResult_BufferTooSmall
                                                                               : kResult_Success;
}

} // namespace VF::VideoFrameManipulators
