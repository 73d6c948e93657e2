#include "PixelFormatUtilities.h"

#include "ContractReport.h"
#include "VideoFrameGeometry.h"

namespace VF {
namespace {

using zynmediatypes::PixelFormat;
using zynmediatypes::PixelFormatName;
using Fill = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;

constexpr const char* kSource = "Src/PixelFormatUtilities";

// The quality that a plain conversion of one pixel passes; without scaling it chooses nothing.
constexpr int kPlainQuality = 4;

int FillOneUnit(Fill fill, PixelFormat format, void* pixelData) {
    if (!pixelData) {
        return -1;
    }
    const bool pairs =
        Details::IsUncompressed(format) && zynmediatypes::ChromaOf(format) == zynmediatypes::Chroma::C422;
    return fill(pixelData, 0, pairs ? 2 : 1, 1, BEPixelFormatToPBPixelFormat(format)) == 0 ? 0 : -1;
}

bool FieldSizesAreNative(PixelFormat format) noexcept {
    return (format.properties & zynmediatypes::kProperty_YUV) != 0 &&
           zynmediatypes::IsPlanar(zynmediatypes::StorageOf(format)) &&
           zynmediatypes::ChromaOf(format) == zynmediatypes::Chroma::C420;
}

} // namespace

KxPixelFormat BEToSDKPixelFormat(PixelFormat inFormat) {
    return inFormat.name;
}

PixelFormat SDKToBEPixelFormat(KxPixelFormat inFormat) {
    const auto name = static_cast<PixelFormatName>(inFormat);
    if (IsValidSDKPixelFormat(inFormat) || name == zynmediatypes::kPixelFormat_Invalid.name || inFormat == 0) {
        return {name, zynmediatypes::LookupPropertiesForName(name)};
    }
    return zynmediatypes::kPixelFormat_Invalid;
}

bool IsValidSDKPixelFormat(KxPixelFormat inFormat) {
    const auto name = static_cast<PixelFormatName>(inFormat);
    // The host SDK has a code for every format of the suite but one: its 16-bit full-range pixels are VUYA.
    return zynmediatypes::IsCustomName(name) ||
           (zynmediatypes::FindPixelFormat(name) && name != zynmediatypes::kPixelFormat_BGRA_4444_16u.name);
}

bool IsCustomSDKPixelFormat(KxPixelFormat inFormat) {
    return zynmediatypes::IsCustomName(static_cast<PixelFormatName>(inFormat));
}

bool IsCustomBEPixelFormat(PixelFormat inFormat) {
    return zynmediatypes::IsCustomName(inFormat.name);
}

bool IsStandardBEPixelFormat(PixelFormat inFormat) {
    return !IsCustomBEPixelFormat(inFormat);
}

int PixelFormatComponentPrecision(PixelFormat inFormat) {
    switch ((inFormat.properties & zynmediatypes::kPropertyMask_Precision) >> zynmediatypes::kPropertyShift_Precision) {
    case 0:
        return 8;
    case 2:
        return 16;
    case 5:
        return 32;
    default:
        return 0;
    }
}

PB_PixelFormat BEPixelFormatToPBPixelFormat(PixelFormat inFormat) {
    if (zynmediatypes::IsCustomName(inFormat.name)) {
        return kPB_CustomFormat;
    }
    const auto* const row = zynmediatypes::FindPixelFormat(inFormat.name);
    return row && row->format == inFormat ? static_cast<PB_PixelFormat>(row->converterValue) : kPB_NoFormat;
}

PixelBlitterPixelFormat BEToPBPixelFormat(PixelFormat inFormat) {
    return BEPixelFormatToPBPixelFormat(inFormat);
}

PixelFormat PBPixelFormatToBEPixelFormat(PB_PixelFormat inFormat) {
    const auto* const row = zynmediatypes::FindPixelFormatByConverterValue(static_cast<std::uint32_t>(inFormat));
    return row ? row->format : zynmediatypes::kPixelFormat_Invalid;
}

int GetBlackForPixelFormat(PixelFormat inFormat, void* pixelData) {
    Details::CheckContract(pixelData != nullptr, "pixelData != NULL", kSource);
    return FillOneUnit(PB_FillWithOpaqueBlack, inFormat, pixelData);
}

int GetWhiteForPixelFormat(PixelFormat inFormat, void* pixelData) {
    Details::CheckContract(pixelData != nullptr, "pixelData != NULL", kSource);
    return FillOneUnit(PB_FillWithOpaqueWhite, inFormat, pixelData);
}

int ConvertColorToPixelFormattedData(PixelFormat inFormat, float inAlpha, float inRed, float inGreen, float inBlue,
                                     void* pixelData) {
    Details::CheckContract(pixelData != nullptr, "pixelData != NULL", kSource);
    if (!pixelData) {
        return -1;
    }
    const float color[4] = {inAlpha, inRed, inGreen, inBlue};
    return PB_Convert(color, 0, BEPixelFormatToPBPixelFormat(zynmediatypes::kPixelFormat_ARGB_4444_32f), pixelData, 0,
                      BEPixelFormatToPBPixelFormat(inFormat), 1, 1, kPlainQuality) == 0
               ? 0
               : -1;
}

bool RectIsValidForPixelFormat(PixelFormat inFormat, const BRT::ParamRect<BRT::CRect>& inRect,
                               const zynmediatypes::PixelAspectRatio& inAspectRatio) {
    return zynmediatypes::IsRectValidForFormat(inFormat, inRect.Width(), inRect.Height(), inAspectRatio);
}

bool IsRectNativeToFrame(const BRT::ParamRect<BRT::CRect>& inRect, const BRT::ParamRect<BRT::CRect>& inFrameBounds,
                         PixelFormat inFormat) {
    if (inRect == inFrameBounds) {
        return true;
    }
    if (inFormat == zynmediatypes::kPixelFormat_Invalid || !Details::IsUncompressed(inFormat) ||
        (inFormat.properties & zynmediatypes::kPropertyMask_Storage) == 0 || inFrameBounds.left != 0 ||
        inFrameBounds.top != 0) {
        return false;
    }
    const auto isPart = [&](std::int32_t widthDivisor, std::int32_t heightDivisor) {
        return Details::WrappingProduct(widthDivisor, inRect.Width()) == inFrameBounds.right &&
               Details::WrappingProduct(heightDivisor, inRect.Height()) == inFrameBounds.bottom;
    };
    if (isPart(2, 2) || isPart(4, 4)) {
        return true;
    }
    return FieldSizesAreNative(inFormat) && (isPart(1, 2) || isPart(2, 4));
}

} // namespace VF
