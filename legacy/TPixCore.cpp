// The record: making and disposing, its fields, and steps over its rows.

#include "ContractReport.h"
#include "LentPixmaps.h"
#include "LiveRecord.h"
#include "TPix.h"
#include "TPixHandleUtilities.h"
#include "VideoFrameGeometry.h"

#include <cstdint>
#include <cstring>

using VF::Details::LiveRecord;
using VF::Details::OffsetPointer;

TPixHand tpixNew(const RECT* inBounds) {
    RECT bounds = inBounds ? *inBounds : RECT{};
    return VF::NewTPixWithVideoFrame(inBounds ? &bounds : nullptr, zynmediatypes::kPixelFormat_BGRA_4444_8u, false, 0,
                                     zynmediatypes::kPixelAspectRatio_Square, 0, 0, 0);
}

std::int16_t tpixDispose(TPixHand inHand) {
    VF::DisposeTPixFromVideoFrame(inHand);
    return 0;
}

std::int16_t tpixLockPixels(TPixHand) {
    return 0;
}

__attribute__((alias("tpixLockPixels"))) std::int16_t tpixUnlockPixels(TPixHand);

void tpixGetBounds(TPixHand inHand, RECT* outBounds) {
    if (outBounds) {
        const TPix* const record = LiveRecord(inHand);
        *outBounds = record ? record->bounds : RECT{};
    }
}

std::int32_t tpixGetRowbytes(TPixHand inHand) {
    const TPix* const record = LiveRecord(inHand);
    return record ? record->rowbytes : 0;
}

std::uint8_t* tpixGetPixels(TPixHand inHand) {
    const TPix* const record = LiveRecord(inHand);
    return record ? record->pixels : nullptr;
}

std::uint32_t tpixGetPixelAspectRatio(TPixHand inHand) {
    unsigned numerator = 0;
    unsigned denominator = 0;
    VF::GetUnderlyingVideoFrameAspectRatio(inHand, &numerator, &denominator);
    const std::uint32_t packed = numerator << 16U | denominator;
    if (TPix* const record = LiveRecord(inHand)) {
        record->pixelAspectRatio = packed;
    }
    return packed;
}

std::int64_t GetPixFieldbase(TPixHand inHand) {
    const TPix* const record = LiveRecord(inHand);
    return record ? record->fieldMode : 0;
}

std::uint8_t* tpixTopLine(std::uint8_t* inBase, std::int32_t inRowBytes, std::int32_t inHeight) {
    const std::int32_t rows = static_cast<std::int32_t>(static_cast<std::uint32_t>(inHeight) - 1);
    return static_cast<std::uint8_t*>(OffsetPointer(inBase, VF::Details::WrappingProduct(rows, inRowBytes)));
}

std::uint8_t* tpixNextLine(std::uint8_t* inLine, std::int32_t inRowBytes) {
    return static_cast<std::uint8_t*>(OffsetPointer(inLine, -std::int64_t{inRowBytes}));
}

int tpixCalcNextSkip(int inRowBytes, int inWidth) {
    return static_cast<int>(0U - static_cast<unsigned>(inRowBytes) - 4U * static_cast<unsigned>(inWidth));
}

std::uint32_t tpixGetPixel(TPixHand inHand, std::int32_t inX, std::int32_t inY) {
    constexpr std::uint32_t kNoPixel = 0xFFFFFF;
    const TPix* const record = LiveRecord(inHand);
    if (!record || !record->pixels) {
        return kNoPixel;
    }
    const RECT& bounds = record->bounds;
    const std::int64_t height = std::int64_t{bounds.bottom} - bounds.top;
    // Rows are counted from the bounds' top, so there may be fewer than the edges say.
    if (inX < 0 || inX >= bounds.right || inY < 0 || inY >= bounds.bottom || inY >= height) {
        return kNoPixel;
    }
    const void* const address =
        OffsetPointer(record->pixels, (height - inY - 1) * record->rowbytes + std::int64_t{4} * inX);
    // Narrower pixels end before the last 32-bit one, columns count from 0 whatever the left edge is, and a field view
    // may have the whole picture's height: then the block says what is there.
    if ((record->bitsPerPixel < 32 || bounds.left != 0 || record->fieldMode != 0) &&
        !VF::Details::LentPixels(inHand).Contain(VF::Details::PixelRows{address, 0, 1, 4})) {
        return kNoPixel;
    }
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, address, sizeof pixel);
    return pixel & 0xFFFFFF;
}

void tpixGetAlphaBounds(TPixHand inHand, RECT* outBounds) {
    VF::Details::CheckContract(inHand != nullptr, "tpixHandle != NULL", "Src/VideoFrameUtilities");
    BRT::ParamRect<BRT::CRect> bounds{};
    if (inHand) {
        if (const auto frame = VF::GetVideoFrameFromTPix(inHand)) {
            frame->GetAlphaBounds(bounds);
        }
    }
    if (outBounds) {
        *outBounds = {bounds.left, bounds.top, bounds.right, bounds.bottom};
    }
}
