#pragma once

/// The IVideoFrame implementation of frames that keep their properties in plain members.

#include "BRTFoundation.h"
#include "PixelFormatUtilities.h"
#include "RenderKit.h"
#include "VideoFrameGeometry.h"
#include "zynmediatypes.h"

#include <cstdint>

#ifdef __clang__ // what Base need not declare virtual cannot be marked "override"
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif

namespace VF {

/// Derives from Base, which supplies the list of interfaces (RK::IVideoFrame first, then, where it has pixels, a memory
/// access and a 2D access interface), and implements every property and everything that follows from format and size.
/// QueryInterface, counting, CreateCompatibleFrame, the destructor, GetData, fills, device and event operations are the
/// concrete class's. The creating factory sets the properties; setters make no read-only check and take no lock.
template <class Base>
class VideoFrameTemplate : public Base {
public:
    /// A counted reference to the object itself. The first operation after IVideoFrame's, so it is declared before any
    /// operation of the secondary interfaces, which would otherwise take its slot.
    virtual BRT::InterfaceRef<RK::IVideoFrame> GetSelfReference() {
        return BRT::InterfaceRef<RK::IVideoFrame>(static_cast<RK::IVideoFrame*>(this));
    }

    BRT::ParamRect<BRT::CRect> GetBounds() override { return {0, 0, mFrameRect.width, mFrameRect.height}; }
    bool IsRectNative(const BRT::ParamRect<BRT::CRect>& inRect) override {
        return IsRectNativeToFrame(inRect, GetBounds(), mPixelFormat);
    }
    zynmediatypes::PixelAspectRatio GetPixelAspectRatio() override { return mPixelAspectRatio; }
    void SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& inAspectRatio) override {
        mPixelAspectRatio = inAspectRatio;
    }
    zynmediatypes::PixelFormat GetPixelType() override { return mPixelFormat; }
    bool GetReadOnly() override { return mReadOnly; }
    void SetReadOnly(bool inReadOnly) override { mReadOnly = inReadOnly; }
    zynmediatypes::FieldType GetFieldType() override { return mFieldType; }
    void SetFieldType(zynmediatypes::FieldType inFieldType) override { mFieldType = inFieldType; }
    std::uint32_t GetAlphaType() override { return zynmediatypes::AlphaOf(mPixelFormat); }

    /// The alpha type is part of the format here, so setting it changes the format. A format without such a variant
    /// stays as it is.
    void SetAlphaType(std::uint32_t inAlphaType) override {
        const std::uint32_t alpha =
            (inAlphaType << zynmediatypes::kPropertyShift_Alpha) & zynmediatypes::kPropertyMask_Alpha;
        const auto properties = (mPixelFormat.properties & ~zynmediatypes::kPropertyMask_Alpha) | alpha;
        const auto name = zynmediatypes::GuessNameForProperties(properties);
        if (name != zynmediatypes::kPixelFormat_Invalid.name) {
            mPixelFormat = {name, properties};
        }
    }
    bool HasAlpha() override { return Details::FormatHasAlpha(mPixelFormat); }
    BRT::ParamPoint<BRT::CPoint> GetOrigin() override { return {mFrameRect.x, mFrameRect.y}; }
    void SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) override {
        mFrameRect.x = inOrigin.x;
        mFrameRect.y = inOrigin.y;
    }
    BRT::ParamRect<BRT::CRect> GetUserRect() override { return mUserRect; }
    void SetUserRect(const BRT::ParamRect<BRT::CRect>& inRect) override { mUserRect = inRect; }
    RK::UserTriple GetUserTriple() override { return mUserTriple; }
    void SetUserTriple(const RK::UserTriple& inTriple) override { mUserTriple = inTriple; }
    std::uint32_t GetRenderTime() override { return mRenderTime; }
    void SetRenderTime(std::uint32_t inRenderTime) override { mRenderTime = inRenderTime; }
    bool GetAlphaBounds(BRT::ParamRect<BRT::CRect>& outBounds) override {
        outBounds = mAlphaBounds;
        return true;
    }
    void SetAlphaBounds(const BRT::ParamRect<BRT::CRect>& inBounds) override { mAlphaBounds = inBounds; }
    void ResetAlphaBounds() override { mAlphaBounds = GetBounds(); }

    // Access, from format and size alone. Virtual where Base declares them so. The address a field begins at comes from
    // the concrete class's GetData.
    std::uint64_t GetDataSize() {
        return zynmediatypes::PixelFormatSize(mPixelFormat, mFrameRect.width, mFrameRect.height);
    }
    std::uint64_t GetBufferSize() { return GetDataSize(); }
    std::uint32_t GetPixelSize() { return Details::PixelSize(mPixelFormat); }
    std::int32_t GetRowBytes() {
        return static_cast<std::int32_t>(zynmediatypes::PixelFormatSize(mPixelFormat, mFrameRect.width, 1));
    }
    void* GetField0Data() { return FieldData(0); }
    void* GetField1Data() { return FieldData(1); }
    std::int32_t GetFieldRowBytes() { return Details::WrappingProduct(2, GetRowBytes()); }
    std::uint32_t GetFieldFirstLine(std::uint32_t inField) {
        return Details::FieldFirstLine(mFieldType, mFrameRect.height, inField);
    }

protected:
    /// x and y are the origin, width and height the size in pixels.
    struct FrameRect {
        std::int32_t x = 0;
        std::int32_t y = 0;
        std::int32_t width = 0;
        std::int32_t height = 0;
    };

    VideoFrameTemplate() = default;
    ~VideoFrameTemplate() = default;

    zynmediatypes::PixelFormat mPixelFormat = zynmediatypes::kPixelFormat_Invalid;
    FrameRect mFrameRect;
    BRT::ParamRect<BRT::CRect> mUserRect;
    BRT::ParamRect<BRT::CRect> mAlphaBounds;
    zynmediatypes::PixelAspectRatio mPixelAspectRatio;
    bool mReadOnly = false;
    zynmediatypes::FieldType mFieldType = zynmediatypes::kFieldType_NotSet;
    RK::UserTriple mUserTriple{};
    std::uint32_t mRenderTime = 0;

private:
    void* FieldData(std::uint32_t field) {
        const auto firstLine = static_cast<std::int32_t>(GetFieldFirstLine(field));
        return Details::OffsetPointer(this->GetData(), Details::WrappingProduct(firstLine, GetRowBytes()));
    }
};

} // namespace VF

#ifdef __clang__
#pragma clang diagnostic pop
#endif
