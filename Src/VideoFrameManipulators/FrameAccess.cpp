#include "FrameAccess.h"

#include "PixelFormatUtilities.h"
#include "VideoFrameGeometry.h"

namespace VF::Details {
namespace {

// Bits of a converter value: two of storage, and the alpha variants straight 4, premultiplied 8, none 12.
constexpr PB_PixelFormat kConverterStorage = 0x30;
constexpr PB_PixelFormat kConverterAlpha = 0xC;
constexpr PB_PixelFormat kConverterStraight = 0x4;
constexpr PB_PixelFormat kConverterPremultiplied = 0x8;

} // namespace

std::int32_t FrameAccess::Stride() const {
    return rows ? rows->GetRowBytes() : static_cast<std::int32_t>(static_cast<std::uint32_t>(memory->GetDataSize()));
}

std::uint32_t FrameAccess::MixablePixelSize(zynmediatypes::PixelFormat format) const {
    return IsAddressable(format) ? rows->GetPixelSize() : 0;
}

bool IsAddressable(zynmediatypes::PixelFormat format) noexcept {
    return IsUncompressed(format) && (format.properties & zynmediatypes::kPropertyMask_Chroma) == 0;
}

std::uint32_t BytesPerAddressablePixel(zynmediatypes::PixelFormat format) noexcept {
    if (!IsAddressable(format)) {
        return 0;
    }
    switch ((format.properties & zynmediatypes::kPropertyMask_Precision) >> zynmediatypes::kPropertyShift_Precision) {
    case 0:
        return 4;
    case 2:
    case 3:
        return 8;
    case 5:
        return 16;
    default:
        return 0;
    }
}

PB_PixelFormat AlphaAwareConverterFormat(const BRT::InterfaceRef<RK::IVideoFrame>& frame) {
    const PB_PixelFormat format = BEToPBPixelFormat(frame->GetPixelType());
    if ((format & kConverterStorage) != 0 || (format & kConverterAlpha) != kConverterStraight) {
        return format;
    }
    const bool hasAlpha = frame->HasAlpha();
    const std::uint32_t alphaType = frame->GetAlphaType();
    if (hasAlpha && alphaType == zynmediatypes::kAlphaType_Premultiplied) {
        return (format & ~kConverterStraight) | kConverterPremultiplied;
    }
    if (hasAlpha && alphaType == zynmediatypes::kAlphaType_Straight) {
        return format;
    }
    return format | kConverterAlpha;
}

} // namespace VF::Details
