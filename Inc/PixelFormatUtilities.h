#pragma once

/// The three numberings of pixel formats and the maps between them; black, white and colours in any format; rectangle
/// rules. All functions are pure and may be called from any thread at any time.

#include "BRTFoundation.h"
#include "PixelBlitter.h"
#include "VFExport.h"
#include "zynmediatypes.h"

#include <cstdint>

/// The host SDK's format: the bare four-character code, first character in the lowest byte.
using KxPixelFormat = std::uint32_t;

namespace VF {

/// The name of a suite format, whatever its properties.
VF_API KxPixelFormat BEToSDKPixelFormat(zynmediatypes::PixelFormat inFormat);

/// The suite format that a valid code, "badf" or 0 names, with the properties that zynmediatypes looks up for it; the
/// invalid format for every other code.
VF_API zynmediatypes::PixelFormat SDKToBEPixelFormat(KxPixelFormat inFormat);

/// Whether a code is custom or one of the host SDK's 63 codes.
VF_API bool IsValidSDKPixelFormat(KxPixelFormat inFormat);

/// Whether a code's first character is '@' or '_'.
VF_API bool IsCustomSDKPixelFormat(KxPixelFormat inFormat);
VF_API bool IsCustomBEPixelFormat(zynmediatypes::PixelFormat inFormat);
VF_API bool IsStandardBEPixelFormat(zynmediatypes::PixelFormat inFormat);

/// Bits per component: 8, 16 or 32; 0 for every other precision code, 10-bit formats among them.
VF_API int PixelFormatComponentPrecision(zynmediatypes::PixelFormat inFormat);

/// The converter's value of a format: kPB_CustomFormat for custom formats, 0 for a format that the converter does not
/// know. A value whose properties differ from the table's is not known.
VF_API PB_PixelFormat BEPixelFormatToPBPixelFormat(zynmediatypes::PixelFormat inFormat);
VF_API PixelBlitterPixelFormat BEToPBPixelFormat(zynmediatypes::PixelFormat inFormat);

/// The suite format of a converter value; the invalid format for every other value, kPB_CustomFormat among them.
VF_API zynmediatypes::PixelFormat PBPixelFormatToBEPixelFormat(PB_PixelFormat inFormat);

/// Write one unit of opaque black or white to pixelData, which the caller owns: 4, 8 or 16 bytes for 4:4:4:4 (8 bit, 16
/// bit, float), a pair of 4 bytes for 8-bit 4:2:2, a group of 16 bytes for V210, 3 bytes for planar 4:2:0. 0, or -1
/// when the format has no such pixel or pixelData is null.
VF_API int GetBlackForPixelFormat(zynmediatypes::PixelFormat inFormat, void* pixelData);
VF_API int GetWhiteForPixelFormat(zynmediatypes::PixelFormat inFormat, void* pixelData);

/// Writes one pixel of a colour, channels from 0 to 1, to pixelData, which holds as many bytes as for black: formats
/// that share units between pixels write a whole unit. 0, or -1 when the format cannot take it or
/// pixelData is null.
VF_API int ConvertColorToPixelFormattedData(zynmediatypes::PixelFormat inFormat, float inAlpha, float inRed,
                                            float inGreen, float inBlue, void* pixelData);

/// Whether a rectangle of this size can be stored in the format; zynmediatypes::IsRectValidForFormat answers.
VF_API bool RectIsValidForPixelFormat(zynmediatypes::PixelFormat inFormat, const BRT::ParamRect<BRT::CRect>& inRect,
                                      const zynmediatypes::PixelAspectRatio& inAspectRatio);

/// Whether a frame of these bounds and this format stores the rectangle natively: the bounds themselves always; half
/// and quarter size for planar and DV formats; field size for planar 4:2:0. Products wrap as 32-bit words.
VF_API bool IsRectNativeToFrame(const BRT::ParamRect<BRT::CRect>& inRect,
                                const BRT::ParamRect<BRT::CRect>& inFrameBounds, zynmediatypes::PixelFormat inFormat);

} // namespace VF
