#include "CopyMask.h"
#include "PixelBlitter.h"
#include "PixmapPlace.h"
#include "TPixCopy.h"

using namespace VF::Details;
using namespace VF::Pixmaps;

namespace {

constexpr int kBicubic = 3;
constexpr int kBestQuality = 4;

POINT LeftTop(const RECT& bounds) noexcept {
    return {bounds.left, bounds.top};
}

// Also for pictures whose pixels are nobody's to copy: the caller reads the rectangle afterwards.
void CutToBounds(TPixHand hand, RECT* rect) {
    const TPix* const record = LiveRecord(hand);
    if (record != nullptr && rect != nullptr) {
        CutTo(record->bounds, *rect);
    }
}

// Where the left top corner of a destination's bounds lies in A, B and the mask.
struct Points {
    POINT a, b, mask;
};

std::int32_t Composite(TPixHand a, TPixHand b, TPixHand destination, RECT* rect, const std::uint8_t* mask,
                       const Points& points) {
    CutToBounds(destination, rect);
    const std::optional<LentPicture> pictures[3] = {LentPicture::Of(a), LentPicture::Of(b),
                                                    LentPicture::Of(destination)};
    if (!pictures[0] || !pictures[1] || !pictures[2] || rect == nullptr) {
        return 0;
    }
    const RECT& bounds = pictures[2]->record->bounds;
    const POINT fromA = MovedInto(pictures[0]->record->bounds, points.a);
    const POINT fromB = MovedInto(pictures[1]->record->bounds, points.b);
    const POINT bit = MovedInto(bounds, points.mask);
    // The mask holds no more than the destination's size.
    const std::int64_t width = std::min(WidthOf(*rect), WidthOf(bounds) - bit.x);
    const std::int64_t height = std::min(HeightOf(*rect), HeightOf(bounds) - bit.y);
    if (mask == nullptr || width < 1 || height < 1 || bit.x < 0 || bit.y < 0) {
        return 0;
    }
    const std::int64_t maskRowBytes = RegionRowBytes(WidthOf(bounds));
    const PixelImage images[3] = {pictures[0]->From(fromA.x, fromA.y, width, height),
                                  pictures[1]->From(fromB.x, fromB.y, width, height),
                                  pictures[2]->From(rect->left, rect->top, width, height)};
    for (int i = 0; i < 3; ++i) {
        if (!pictures[i]->lent.Contain(images[i])) {
            return 0;
        }
    }
    if (pictures[2]->lent.MayWrite()) {
        PB_OneBitMaskComposite(images[0].data, images[0].rowBytes, images[0].format, images[1].data, images[1].rowBytes,
                               images[1].format, mask + bit.y * maskRowBytes + bit.x / 8,
                               static_cast<int>(maskRowBytes), bit.x % 8, images[2].data, images[2].rowBytes,
                               images[2].format, images[2].width, images[2].height, kBicubic);
    }
    return 0;
}

} // namespace

std::int32_t tpixStraightCopyRect(TPixHand inSource, POINT inSourcePoint, TPixHand ioDestination,
                                  RECT* ioDestinationRect) {
    CutToBounds(ioDestination, ioDestinationRect);
    const std::optional<LentPicture> source = LentPicture::Of(inSource), destination = LentPicture::Of(ioDestination);
    if (!source || !destination || ioDestinationRect == nullptr) {
        return 0;
    }
    const POINT point = MovedInto(source->record->bounds, inSourcePoint);
    const std::int64_t width = WidthOf(*ioDestinationRect), height = HeightOf(*ioDestinationRect);
    if (width < 1 || height < 1) {
        return 0;
    }
    const PixelImage from = source->From(point.x, point.y, width, height);
    const PixelImage to = destination->From(ioDestinationRect->left, ioDestinationRect->top, width, height);
    if (source->lent.Contain(from) && destination->lent.Contain(to) && destination->lent.MayWrite()) {
        PB_Convert(from.data, from.rowBytes, from.format, to.data, to.rowBytes, to.format, to.width, to.height,
                   kBestQuality);
    }
    return 0;
}

std::int32_t tpixStraightCopy(TPixHand inSource, TPixHand ioDestination) {
    const TPix *const source = LiveRecord(inSource), *const destination = LiveRecord(ioDestination);
    if (source == nullptr || destination == nullptr) {
        return 0;
    }
    RECT whole = destination->bounds;
    return tpixStraightCopyRect(inSource, LeftTop(source->bounds), ioDestination, &whole);
}

std::int32_t tpixStraightScaleRect(TPixHand inSource, RECT* ioSourceRect, TPixHand ioDestination,
                                   RECT* ioDestinationRect) {
    CutToBounds(inSource, ioSourceRect);
    CutToBounds(ioDestination, ioDestinationRect);
    const std::optional<LentPicture> source = LentPicture::Of(inSource), destination = LentPicture::Of(ioDestination);
    if (!source || !destination || ioSourceRect == nullptr || ioDestinationRect == nullptr) {
        return 0;
    }
    if (IsEmpty(*ioSourceRect) || IsEmpty(*ioDestinationRect)) {
        return 0; // nothing to the converter, too
    }
    const PixelImage from =
        source->From(ioSourceRect->left, ioSourceRect->top, WidthOf(*ioSourceRect), HeightOf(*ioSourceRect));
    const PixelImage to = destination->From(ioDestinationRect->left, ioDestinationRect->top,
                                            WidthOf(*ioDestinationRect), HeightOf(*ioDestinationRect));
    if (source->lent.Contain(from) && destination->lent.Contain(to) && destination->lent.MayWrite()) {
        PB_ScaleConvert(from.data, from.rowBytes, from.width, from.height, from.format, 0, to.data, to.rowBytes,
                        to.width, to.height, to.format, 0, kBicubic);
    }
    return 0;
}

std::int32_t tpixStraightScale(TPixHand inSource, TPixHand ioDestination) {
    const TPix *const source = LiveRecord(inSource), *const destination = LiveRecord(ioDestination);
    if (source == nullptr || destination == nullptr) {
        return 0;
    }
    RECT from = source->bounds, to = destination->bounds;
    return tpixStraightScaleRect(inSource, &from, ioDestination, &to);
}

std::int32_t tpixOneBitMaskCompositeRect(TPixHand inA, POINT inAPoint, TPixHand inB, POINT inBPoint,
                                         TPixHand ioDestination, RECT* ioDestinationRect, const void* inMaskBits,
                                         POINT inMaskPoint) {
    return Composite(inA, inB, ioDestination, ioDestinationRect, static_cast<const std::uint8_t*>(inMaskBits),
                     {inAPoint, inBPoint, inMaskPoint});
}

std::int32_t tpixOneBitMaskComposite(TPixHand inA, TPixHand inB, TPixHand ioDestination, const void* inMaskBits) {
    const TPix* const destination = LiveRecord(ioDestination);
    if (destination == nullptr) {
        return 0;
    }
    RECT whole = destination->bounds;
    const POINT corner = LeftTop(whole);
    return tpixOneBitMaskCompositeRect(inA, corner, inB, corner, ioDestination, &whole, inMaskBits, corner);
}

std::int32_t tpixOneBitMaskRegionCompositeRect(TPixHand inA, POINT inAPoint, TPixHand inB, POINT inBPoint,
                                               TPixHand ioDestination, RECT* ioDestinationRect, HRGN inRegion,
                                               POINT inMaskPoint) {
    const TPix* const destination = LiveRecord(ioDestination);
    if (destination == nullptr) {
        return 0;
    }
    const ScratchPtr mask = DrawRegion(inRegion, WidthOf(destination->bounds), HeightOf(destination->bounds));
    return mask ? tpixOneBitMaskCompositeRect(inA, inAPoint, inB, inBPoint, ioDestination, ioDestinationRect,
                                              mask.get(), inMaskPoint)
                : 0;
}

std::int32_t tpixOneBitMaskRegionComposite(TPixHand inA, TPixHand inB, TPixHand ioDestination, HRGN inRegion) {
    const TPix* const destination = LiveRecord(ioDestination);
    if (destination == nullptr) {
        return 0;
    }
    RECT whole = destination->bounds;
    const POINT corner = LeftTop(whole);
    return tpixOneBitMaskRegionCompositeRect(inA, corner, inB, corner, ioDestination, &whole, inRegion, corner);
}

std::int32_t tpixCompositeToBlack(TPixHand inSource, TPixHand ioDestination) {
    const std::optional<LentPicture> source = LentPicture::Of(inSource), destination = LentPicture::Of(ioDestination);
    if (!source || !destination || source->format != destination->format) {
        return 0;
    }
    const RECT &from = source->record->bounds, &to = destination->record->bounds;
    const std::int64_t width = WidthOf(to), height = HeightOf(to);
    if (WidthOf(from) != width || HeightOf(from) != height) {
        return 0;
    }
    const PixelImage read = source->From(from.left, from.top, width, height);
    const PixelImage written = destination->From(to.left, to.top, width, height);
    if (width > 0 && height > 0 && source->lent.Contain(read) && destination->lent.Contain(written) &&
        destination->lent.MayWrite()) {
        PB_CompositeToBlack(read.data, read.rowBytes, read.format, written.data, written.rowBytes, written.format,
                            written.width, written.height, 1.0F, kBestQuality);
    }
    return 0;
}
