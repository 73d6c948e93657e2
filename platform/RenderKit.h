#pragma once

/// The suite's media library: the frame interfaces, the media manager, and the format constants that it exports again.
///
/// The table slots of all interfaces are fixed: other modules call them directly.

#include "BRTFoundation.h"
#include "RenderKit_MediaManager.h"
#include "SymbolVisibility.h"
#include "zynmediatypes.h"

#include <array>
#include <cstdint>

namespace RK {

using zynmediatypes::kPixelFormat_Invalid;

using zynmediatypes::kPixelFormat_BGRA_4444_16u;
using zynmediatypes::kPixelFormat_BGRA_4444_32f;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;
using zynmediatypes::kPixelFormat_VUYA_4444_16u;
using zynmediatypes::kPixelFormat_VUYA_4444_32f;
using zynmediatypes::kPixelFormat_VUYA_4444_32f_709;
using zynmediatypes::kPixelFormat_VUYA_4444_8u;
using zynmediatypes::kPixelFormat_VUYA_4444_8u_709;

using zynmediatypes::kPixelFormat_NTSCDV100_1080i;
using zynmediatypes::kPixelFormat_NTSCDV100_720p;
using zynmediatypes::kPixelFormat_NTSCDV25;
using zynmediatypes::kPixelFormat_NTSCDV50;
using zynmediatypes::kPixelFormat_PALDV100_1080i;
using zynmediatypes::kPixelFormat_PALDV100_720p;
using zynmediatypes::kPixelFormat_PALDV25;
using zynmediatypes::kPixelFormat_PALDV50;

/// Three words that a frame carries for its callers.
using UserTriple = std::array<std::uint32_t, 3>;
static_assert(sizeof(UserTriple) == 12);

/// A video frame. Slots 4 to 27 after BRTUnknown's four. Which properties a class stores, and what its setters do while
/// the frame is read-only, each class says.
class VF_SYMBOL_EXPORT IVideoFrame : public BRT::BRTUnknown {
public:
    /// {5A2A4FE9-EE01-4438-8F14-AA8946104D5F}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x5A2A4FE9, 0xEE01, 0x4438, {0x8F, 0x14, 0xAA, 0x89, 0x46, 0x10, 0x4D, 0x5F}};

    /// Slot 4. (0, 0, width, height), in pixels.
    virtual BRT::ParamRect<BRT::CRect> GetBounds() = 0;
    /// Slot 5. Whether the frame's format stores this rectangle natively.
    virtual bool IsRectNative(const BRT::ParamRect<BRT::CRect>& inRect) = 0;
    /// Slots 6 and 7.
    virtual zynmediatypes::PixelAspectRatio GetPixelAspectRatio() = 0;
    virtual void SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& inAspectRatio) = 0;
    /// Slot 8.
    virtual zynmediatypes::PixelFormat GetPixelType() = 0;
    /// Slots 9 and 10. A read-only frame refuses writing access.
    virtual bool GetReadOnly() = 0;
    virtual void SetReadOnly(bool inReadOnly) = 0;
    /// Slots 11 and 12. Interlace order.
    virtual zynmediatypes::FieldType GetFieldType() = 0;
    virtual void SetFieldType(zynmediatypes::FieldType inFieldType) = 0;
    /// Slots 13 and 14. One of the kAlphaType_ codes.
    virtual std::uint32_t GetAlphaType() = 0;
    virtual void SetAlphaType(std::uint32_t inAlphaType) = 0;
    /// Slot 15. Whether the pixels carry alpha that means something.
    virtual bool HasAlpha() = 0;
    /// Slots 16 and 17. Where the frame lies in the caller's world; (-1, -1) when nobody said.
    virtual BRT::ParamPoint<BRT::CPoint> GetOrigin() = 0;
    virtual void SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) = 0;
    /// Slots 18 and 19. Carried for callers, never interpreted.
    virtual BRT::ParamRect<BRT::CRect> GetUserRect() = 0;
    virtual void SetUserRect(const BRT::ParamRect<BRT::CRect>& inRect) = 0;
    /// Slots 20 and 21. Carried for callers where the class has room for it, else zeros.
    virtual UserTriple GetUserTriple() = 0;
    virtual void SetUserTriple(const UserTriple& inTriple) = 0;
    /// Slots 22 and 23. Carried for the host.
    virtual std::uint32_t GetRenderTime() = 0;
    virtual void SetRenderTime(std::uint32_t inRenderTime) = 0;
    /// Slot 24. A new writable frame of the same format, size and aspect ratio with this frame's metadata; pixels are
    /// not copied. Empty when it cannot be made.
    virtual BRT::InterfaceRef<IVideoFrame> CreateCompatibleFrame() = 0;
    /// Slots 25 to 27. The rectangle outside which alpha is known to be 0; true when it is known.
    virtual bool GetAlphaBounds(BRT::ParamRect<BRT::CRect>& outBounds) = 0;
    virtual void SetAlphaBounds(const BRT::ParamRect<BRT::CRect>& inBounds) = 0;
    virtual void ResetAlphaBounds() = 0;

protected:
    ~IVideoFrame() = default;
};

/// A frame that can be cleared. Each operation fills the whole frame and answers 0 when done, negative when not.
class VF_SYMBOL_EXPORT IVideoFrameClearable : public BRT::BRTUnknown {
public:
    /// {A1489635-6B6B-47A6-8FB6-576F3E25BE56}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0xA1489635, 0x6B6B, 0x47A6, {0x8F, 0xB6, 0x57, 0x6F, 0x3E, 0x25, 0xBE, 0x56}};

    virtual std::int32_t FillWithOpaqueBlack() = 0;      ///< slot 4
    virtual std::int32_t FillWithOpaqueWhite() = 0;      ///< slot 5
    virtual std::int32_t FillWithTransparentBlack() = 0; ///< slot 6
    virtual std::int32_t FillWithTransparentWhite() = 0; ///< slot 7

protected:
    ~IVideoFrameClearable() = default;
};

} // namespace RK
