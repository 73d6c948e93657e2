#include "BaseSuite.h"
#include "CopyMask.h"
#include "LockedGlobal.h"
#include "MaskedCopy.h"
#include "PixelBlitter.h"
#include "PixmapPlace.h"
#include "RowWalk.h"
#include "TPixCopy.h"

#include <limits>

using namespace VF::Details;
using namespace VF::Pixmaps;

namespace {

constexpr std::uint8_t kWholeSource = 255; // a weight
constexpr int kBicubic = 3;
constexpr PB_PixelFormat kBGRA = 0x4;

/// What stands behind the records; null where nobody knows.
struct Behind {
    const LentPixels* source;
    const LentPixels* destination;
};

/// The mask of one copy, let go of when the copy ends.
class Mask {
public:
    Mask(std::uint16_t mode, void* mask, const RECT& rect) {
        const std::int64_t width = WidthOf(rect), height = HeightOf(rect);
        if (mask == nullptr) {
            return;
        }
        if ((mode & kTPixCopy_ByteMask) != 0) {
            mPicture = static_cast<TPixHand>(mask);
        } else if ((mode & kTPixCopy_BitMask) != 0) {
            mGlobal.Lock(static_cast<HGLOBAL>(mask));
            SetRows(mGlobal.Bytes(), ((width - 1) / 16 + 1) * 2, height);
            mUsable = mBits == nullptr || mGlobal.Size() >= static_cast<std::uint64_t>(mRowBytes * height);
        } else {
            mDrawn = DrawRegion(static_cast<HRGN>(mask), width, height);
            SetRows(mDrawn.get(), RegionRowBytes(width), height);
        }
    }

    bool IsThere() const noexcept { return mPicture != nullptr || mBits != nullptr; }
    bool IsUsable() const noexcept { return mUsable; }
    TPixHand Picture() const noexcept { return mPicture; }
    /// Of a stored row of the rectangle, counted from the lowest that is left of it; null without bits.
    const std::uint8_t* Row(std::int64_t row) const noexcept {
        return mBits != nullptr ? mLastRow - row * mRowBytes : nullptr;
    }

private:
    void SetRows(const std::uint8_t* bits, std::int64_t rowBytes, std::int64_t height) noexcept {
        mBits = bits;
        mRowBytes = rowBytes;
        mLastRow = bits != nullptr && height <= std::numeric_limits<std::int64_t>::max() / rowBytes
                       ? bits + (height - 1) * rowBytes
                       : bits;
    }

    TPixHand mPicture = nullptr;
    LockedGlobal mGlobal;
    ScratchPtr mDrawn;
    const std::uint8_t* mBits = nullptr;
    const std::uint8_t* mLastRow = nullptr;
    std::int64_t mRowBytes = 0;
    bool mUsable = true;
};

/// A rectangle whose edges may move beyond 32 bits while it is cut.
struct Edges {
    std::int64_t edge[4]; ///< left, top, right, bottom

    explicit Edges(const RECT& rect) noexcept : edge{rect.left, rect.top, rect.right, rect.bottom} {}
    std::int64_t Size(int side) const noexcept { return side % 2 == 0 ? edge[2] - edge[0] : edge[3] - edge[1]; }
    bool IsInside(const Edges& bounds) const noexcept {
        return edge[0] >= bounds.edge[0] && edge[1] >= bounds.edge[1] && edge[2] <= bounds.edge[2] &&
               edge[3] <= bounds.edge[3] && edge[0] < edge[2] && edge[1] < edge[3];
    }
    /// By how much an edge must move to lie in the bounds.
    std::int64_t Excess(const Edges& bounds, int side) const noexcept {
        const std::int64_t move = bounds.edge[side] - edge[side];
        return side < 2 ? std::max<std::int64_t>(move, 0) : std::min<std::int64_t>(move, 0);
    }
};

/// Cuts one rectangle to its bounds, moving the same edges of the other, by sizes in proportion where there are any.
void Cut(Edges& rect, const Edges& bounds, Edges& other, const Edges* size, const Edges* otherSize) noexcept {
    for (int side = 0; side < 4; ++side) {
        const std::int64_t move = rect.Excess(bounds, side);
        rect.edge[side] += move;
        if (size == nullptr) {
            other.edge[side] += move;
            continue;
        }
        std::int64_t product = 0;
        if (__builtin_mul_overflow(move, otherSize->Size(side), &product)) {
            continue; // no picture is that large
        }
        other.edge[side] += static_cast<std::int16_t>(product / size->Size(side));
    }
}

/// What of a record a copy touches: its first stored row, as 32-bit pixels.
struct Place {
    std::uint8_t* first;
    std::int32_t rowBytes;
    std::int32_t width;
    std::int32_t height;

    Place(const TPix& record, const Edges& rect) noexcept
        : first(static_cast<std::uint8_t*>(
              OffsetPointer(record.pixels, (record.bounds.bottom - rect.edge[3]) * record.rowbytes +
                                               rect.edge[0] * (record.bitsPerPixel / 8)))),
          rowBytes(record.rowbytes), width(static_cast<std::int32_t>(rect.Size(0))),
          height(static_cast<std::int32_t>(rect.Size(1))) {}

    bool LiesIn(const LentPixels* lent) const {
        return lent == nullptr || lent->Contain(PixelRows{first, rowBytes, height, std::uint64_t{4} * Pixels()});
    }
    std::size_t Pixels() const noexcept { return static_cast<std::size_t>(width); }
};

void CopyThroughBytes(TPixHand mask, const Place& from, const Place& to) {
    const TPix* const record = LiveRecord(mask);
    constexpr int kMaskBits = 8;
    if (record == nullptr || !HasRows(*record) || record->bitsPerPixel < kMaskBits) {
        return;
    }
    const auto width = static_cast<std::int32_t>(std::min<std::int64_t>(from.width, WidthOf(record->bounds)));
    const auto height = static_cast<std::int32_t>(std::min<std::int64_t>(from.height, HeightOf(record->bounds)));
    if (width < 1 || height < 1 ||
        !LentPixels(mask).Contain(
            PixelRows{record->pixels, record->rowbytes, height, static_cast<std::uint64_t>(width)})) {
        return;
    }
    CopyMask8(from.first, to.first, width, height, from.rowBytes, to.rowBytes, -record->rowbytes, record->pixels);
}

void CopyRows(const Place& from, const Place& to, const Mask& mask, std::uint8_t weight) {
    constexpr std::size_t kMovedBytes = 12; // a pixel of the source and of the destination read, one written
    const MaskKernels& kernels = KernelsOfThisMachine().masks;
    EachRowOfPixels(
        {from.first, to.first, from.width, from.height, from.rowBytes, to.rowBytes}, kMovedBytes,
        [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t row, const Transfer& transfer) {
            const std::uint8_t* const bits = mask.Row(static_cast<std::int64_t>(row));
            if (weight == kWholeSource) {
                kernels.throughBits(source, destination, from.Pixels(), bits, transfer);
            } else {
                kernels.blendRounded(source, destination, from.Pixels(), bits, weight, transfer);
            }
        });
}

void CopySameSize(const Place& from, const Place& to, const Mask& mask, std::uint8_t weight, bool whole) {
    if (mask.Picture() != nullptr) {
        CopyThroughBytes(mask.Picture(), from, to);
    } else if (mask.IsThere() || weight != kWholeSource) {
        // Also without a mask, so that a blend gives the same bytes with and without one.
        CopyRows(from, to, mask, weight);
    } else if (whole && from.rowBytes == to.rowBytes && from.rowBytes == std::int64_t{4} * from.width) {
        KxBlockMove(from.first, to.first,
                    static_cast<std::size_t>(from.rowBytes) * static_cast<std::size_t>(from.height));
    } else {
        CallSuite(kCopy32Entry, from.first, to.first, from.width, from.height, from.rowBytes, to.rowBytes);
    }
}

void Copy(const TPix* source, TPix* destination, const RECT* sourceRect, const RECT* destinationRect,
          std::uint16_t mode, void* maskArgument, const Behind& behind) {
    if (source == nullptr || destination == nullptr || sourceRect == nullptr || destinationRect == nullptr ||
        IsEmpty(*sourceRect) || IsEmpty(*destinationRect)) {
        return;
    }
    const auto weight = static_cast<std::uint8_t>((mode & kTPixCopy_Blend) != 0 ? mode & 0xFF : kWholeSource);
    constexpr int kPixelBits = 32;
    if (weight == 0 || !HasRows(*source) || !HasRows(*destination) || source->bitsPerPixel < kPixelBits ||
        destination->bitsPerPixel < kPixelBits) {
        return;
    }
    Edges from(*sourceRect), to(*destinationRect);
    const Edges fromWhole = from, toWhole = to, fromBounds(source->bounds), toBounds(destination->bounds);
    const bool sameSize = from.Size(0) == to.Size(0) && from.Size(1) == to.Size(1);
    Cut(from, fromBounds, to, sameSize ? nullptr : &fromWhole, &toWhole);
    Cut(to, toBounds, from, sameSize ? nullptr : &toWhole, &fromWhole);
    if (!from.IsInside(fromBounds) || !to.IsInside(toBounds)) {
        return;
    }
    const bool whole = from.Size(0) == fromBounds.Size(0) && from.Size(1) == fromBounds.Size(1) &&
                       to.Size(0) == toBounds.Size(0) && to.Size(1) == toBounds.Size(1);
    Place read(*source, from), written(*destination, to);
    if (sameSize && whole && maskArgument == nullptr && weight == kWholeSource) {
        // Whole pictures move from pixels to pixels, whatever their left edges are.
        read.first = source->pixels;
        written.first = destination->pixels;
    }
    if (!read.LiesIn(behind.source) || !written.LiesIn(behind.destination)) {
        return;
    }
    if (!sameSize) {
        PB_ScaleConvert(read.first, read.rowBytes, read.width, read.height, kBGRA, 0, written.first, written.rowBytes,
                        written.width, written.height, kBGRA, 0, kBicubic);
        return;
    }
    // Masks have the size of the rectangle before it was cut.
    const Mask mask(mode, maskArgument, *sourceRect);
    if (mask.IsUsable()) {
        CopySameSize(read, written, mask, weight, whole);
    }
}

} // namespace

void MyCopyPix(const TPix* inSource, TPix* ioDestination, const RECT* inSourceRect, const RECT* inDestinationRect,
               std::uint16_t inMode, void* inMask) {
    Copy(inSource, ioDestination, inSourceRect, inDestinationRect, inMode, inMask, {});
}

void tpixCopyRgn(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect, const RECT* inDestinationRect,
                 std::uint16_t inMode, void* inMask) {
    const std::optional<LentPicture> source = LentPicture::Of(inSource), destination = LentPicture::Of(ioDestination);
    if (source && destination && destination->lent.MayWrite()) {
        Copy(source->record, destination->record, inSourceRect, inDestinationRect, inMode, inMask,
             {&source->lent, &destination->lent});
    }
}

// One function under two names.
extern "C" VF_API __attribute__((alias("tpixCopyRgn"))) void bn_StretchBits(TPixHand, TPixHand, const RECT*,
                                                                            const RECT*, std::uint16_t, void*);

void tpixCopy(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect, const RECT* inDestinationRect,
              std::uint16_t inMode) {
    tpixCopyRgn(inSource, ioDestination, inSourceRect, inDestinationRect, inMode, nullptr);
}
