#include "PixelBlitter.h"
#include "PixmapPlace.h"
#include "TPixCopy.h"

#include <array>

using namespace VF::Details;
using namespace VF::Pixmaps;

namespace {

constexpr PB_PixelFormat kBGRA = 0x4;

using FixedQuad = std::array<TPixFixedPoint, 4>;

// Whole pixels as fixed point. What does not fit 16 bits wraps.
TPixFixedPoint Fixed(std::int32_t x, std::int32_t y) noexcept {
    const auto shifted = [](std::int32_t value) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << 16);
    };
    return {shifted(x), shifted(y)};
}

FixedQuad QuadOf(const POINT* points) noexcept {
    FixedQuad quad;
    std::transform(points, points + quad.size(), quad.begin(),
                   [](const POINT& point) { return Fixed(point.x, point.y); });
    return quad;
}

FixedQuad QuadOf(const RECT& rect) noexcept {
    return {Fixed(rect.left, rect.top), Fixed(rect.right, rect.top), Fixed(rect.right, rect.bottom),
            Fixed(rect.left, rect.bottom)};
}

// The converter counts rows as they are stored.
std::array<PB_Corner, 4> Corners(const TPixFixedPoint* quad, std::int64_t height) noexcept {
    constexpr double kOne = 65536;
    std::array<PB_Corner, 4> corners;
    std::transform(quad, quad + corners.size(), corners.begin(), [=](const TPixFixedPoint& point) {
        return PB_Corner{point.x / kOne, static_cast<double>(height) - point.y / kOne};
    });
    return corners;
}

} // namespace

void bn_FixedToFixed(TPixHand inSource, TPixHand ioDestination, const TPixFixedPoint* inSourceQuad,
                     const TPixFixedPoint* inDestinationQuad) {
    const std::optional<LentPicture> source = LentPicture::Of(inSource), destination = LentPicture::Of(ioDestination);
    if (!source || !destination || inSourceQuad == nullptr || inDestinationQuad == nullptr) {
        return;
    }
    const TPix &from = *source->record, &to = *destination->record;
    const std::int64_t height = HeightOf(from.bounds), destinationHeight = HeightOf(to.bounds);
    // From the lowest line up.
    const PixelImage read{from.pixels, from.rowbytes, static_cast<std::int32_t>(WidthOf(from.bounds)),
                          static_cast<std::int32_t>(height), kBGRA};
    const PixelImage written{to.pixels, to.rowbytes, static_cast<std::int32_t>(WidthOf(to.bounds)),
                             static_cast<std::int32_t>(destinationHeight), destination->format};
    if (read.width < 1 || read.height < 1 || written.width < 1 || written.height < 1 || from.bitsPerPixel < 32 ||
        !source->lent.Contain(read) || !destination->lent.Contain(written) || !destination->lent.MayWrite()) {
        return;
    }
    PB_WarpAffineQuad(read.width, read.height, read.data, read.rowBytes, {0, 0}, Corners(inSourceQuad, height).data(),
                      written.data, written.rowBytes, {0, 0}, Corners(inDestinationQuad, destinationHeight).data(),
                      {written.width, written.height}, kBGRA, 255, 1, 1, written.format, 0, 0, 1, 0);
}

void bn_MapPolygon(TPixHand inSource, TPixHand ioDestination, const POINT* inSourceQuad,
                   const POINT* inDestinationQuad) {
    if (inSourceQuad != nullptr && inDestinationQuad != nullptr) {
        bn_FixedToFixed(inSource, ioDestination, QuadOf(inSourceQuad).data(), QuadOf(inDestinationQuad).data());
    }
}

void bn_DistortPolygon(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                       const POINT* inDestinationQuad) {
    if (inSourceRect != nullptr && inDestinationQuad != nullptr) {
        bn_FixedToFixed(inSource, ioDestination, QuadOf(*inSourceRect).data(), QuadOf(inDestinationQuad).data());
    }
}

void bn_DistortFixed(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                     const TPixFixedPoint* inDestinationQuad) {
    if (inSourceRect != nullptr) {
        bn_FixedToFixed(inSource, ioDestination, QuadOf(*inSourceRect).data(), inDestinationQuad);
    }
}

// One function under seven names.
void bn_AudioMix() {}
extern "C" {
VF_API __attribute__((alias("bn_AudioMix"))) void bn_AudioLimit(void);
VF_API __attribute__((alias("bn_AudioMix"))) void bn_AudioMunge(void);
VF_API __attribute__((alias("bn_AudioMix"))) void bn_AudioStretch(void);
VF_API __attribute__((alias("bn_AudioMix"))) void bn_AudioSum(void);
VF_API __attribute__((alias("bn_AudioMix"))) void bn_ImageKey(void);
VF_API __attribute__((alias("bn_AudioMix"))) void bn_Resample(void);
}
