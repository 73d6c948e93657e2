#pragma once

#include "BRTFoundation.h"
#include "FrameBlock.h"
#include "RenderKit.h"
#include "VideoFrameInterfaces.h"

#include <cstdint>

namespace VF {

/// A frame that shows a rectangle of another frame, its parent, whose pixels and properties it shares. Origin, user
/// rectangle and triple, render time and alpha bounds are the view's own. What would change the parent's geometry or
/// protection is refused.
///
/// The rectangle is taken as it comes and may reach outside the parent. The library's own operations keep to the bytes
/// that the parent's rows take, whatever the rectangle says (FrameBlock.h).
///
/// Lives on the ordinary heap. The view's own properties take no lock; everything else follows the parent's rules.
class VideoSubFrame final : public RK::IVideoFrame,
                            public IVideoFrameMemoryAccess,
                            public IVideoFrame2DPixelMemoryAccess,
                            public RK::IVideoFrameClearable,
                            public Details::IFrameBlock {
public:
    using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
    using Rect = BRT::ParamRect<BRT::CRect>;

    // The operations behind IVideoFrame's slots, in table order. They come before every overrider of a secondary
    // interface's operation, because such an overrider takes a slot of the primary table too.
    virtual FrameRef GetSelfReference();
    virtual void Reserved() {}
    /// Called once, before anything else. Reports a parent without rows.
    virtual void Initialize(const FrameRef& inParent, const Rect& inSubRect);

    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    void* DeletingDestructor(unsigned int inFlags) override;
    std::int32_t QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) override;

    Rect GetBounds() override;
    bool IsRectNative(const Rect& inRect) override;
    zynmediatypes::PixelAspectRatio GetPixelAspectRatio() override;
    void SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& inAspectRatio) override;
    zynmediatypes::PixelFormat GetPixelType() override;
    bool GetReadOnly() override;
    void SetReadOnly(bool inReadOnly) override;
    zynmediatypes::FieldType GetFieldType() override;
    void SetFieldType(zynmediatypes::FieldType inFieldType) override;
    std::uint32_t GetAlphaType() override;
    void SetAlphaType(std::uint32_t inAlphaType) override;
    bool HasAlpha() override;
    BRT::ParamPoint<BRT::CPoint> GetOrigin() override;
    void SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) override;
    Rect GetUserRect() override;
    void SetUserRect(const Rect& inRect) override;
    RK::UserTriple GetUserTriple() override;
    void SetUserTriple(const RK::UserTriple& inTriple) override;
    std::uint32_t GetRenderTime() override;
    void SetRenderTime(std::uint32_t inRenderTime) override;
    /// Another view of the same pixels.
    FrameRef CreateCompatibleFrame() override;
    /// In the parent's coordinates; the view's rectangle while they are unknown.
    bool GetAlphaBounds(Rect& outBounds) override;
    void SetAlphaBounds(const Rect& inBounds) override;
    void ResetAlphaBounds() override;

    void* GetData() override;
    std::uint64_t GetDataSize() override;
    std::uint64_t GetBufferSize() override;

    std::uint32_t GetPixelSize() override;
    std::int32_t GetRowBytes() override;
    void* GetField0Data() override;
    void* GetField1Data() override;
    std::int32_t GetFieldRowBytes() override;
    std::uint32_t GetFieldFirstLine(std::uint32_t inField) override;

    // The parent's fills, which cover the whole parent.
    std::int32_t FillWithOpaqueBlack() override;
    std::int32_t FillWithOpaqueWhite() override;
    std::int32_t FillWithTransparentBlack() override;
    std::int32_t FillWithTransparentWhite() override;

    bool MayWritePixels() override;
    Details::BlockExtent GetBlockExtent() override;

private:
    using Fill = std::int32_t (RK::IVideoFrameClearable::*)();

    ~VideoSubFrame() = default;

    BRT::InterfaceRef<IVideoFrame2DPixelMemoryAccess> ParentRows(int contractLine);
    void* FieldData(std::uint32_t field);
    std::int32_t FillParent(Fill fill, int contractLine);

    BRT::ReferenceCount mReferenceCount;
    Rect mAlphaBounds;
    bool mAlphaBoundsKnown = false;
    Rect mSubRect;
    FrameRef mParent;
    BRT::ParamPoint<BRT::CPoint> mOrigin;
    Rect mUserRect;
    RK::UserTriple mUserTriple{};
    std::uint32_t mRenderTime = 0;
};

} // namespace VF
