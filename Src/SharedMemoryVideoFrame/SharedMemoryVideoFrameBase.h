#pragma once

#include "../FrameBlock.h"
#include "RenderKit.h"
#include "SharedMemoryFormat.h"
#include "VideoFrameInterfaces.h"

#include <cstdint>

namespace VF {

/// A frame whose properties, all but the read-only flag, live in the header of the block that holds its pixels, so that
/// the block can be handed to another process as it is. Derived classes supply the block.
///
/// A block may be shared with processes that write into it at any moment. Every property is read with one load, and
/// nothing that is read decides alone how far a pointer reaches (FrameBlock.h).
class SharedMemoryVideoFrameBase : public RK::IVideoFrame,
                                   public RK::IVideoFrameClearable,
                                   public IVideoFrameMemoryAccess,
                                   public IVideoFrame2DPixelMemoryAccess,
                                   public IPublishableVideoFrame,
                                   public Details::IFrameBlock {
public:
    // The operations behind IVideoFrame's slots, in table order. They come before every overrider of a secondary
    // interface's operation, because such an overrider takes a slot of the primary table too.
    virtual void* InternalGetWritableData() = 0; ///< start of the block when the class can write it, else null
    virtual const void* InternalGetData() = 0;   ///< start of the block for reading
    virtual bool CanPublish() = 0;               ///< whether the frame holds a broker reference
    virtual BRT::InterfaceRef<RK::IVideoFrame> GetSelfReference();

    std::uint32_t AddRef() final;
    std::uint32_t Release() final;
    void* DeletingDestructor(unsigned int inFlags) override = 0;
    std::int32_t QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) final;

    BRT::ParamRect<BRT::CRect> GetBounds() final;
    bool IsRectNative(const BRT::ParamRect<BRT::CRect>& inRect) final;
    zynmediatypes::PixelAspectRatio GetPixelAspectRatio() final;
    void SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& inAspectRatio) final;
    zynmediatypes::PixelFormat GetPixelType() final;
    zynmediatypes::FieldType GetFieldType() final;
    void SetFieldType(zynmediatypes::FieldType inFieldType) final;
    std::uint32_t GetAlphaType() final;
    void SetAlphaType(std::uint32_t inAlphaType) final;
    bool HasAlpha() final;
    BRT::ParamPoint<BRT::CPoint> GetOrigin() final;
    void SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) final;
    BRT::ParamRect<BRT::CRect> GetUserRect() final;
    void SetUserRect(const BRT::ParamRect<BRT::CRect>& inRect) final;
    RK::UserTriple GetUserTriple() final;
    void SetUserTriple(const RK::UserTriple& inTriple) final;
    std::uint32_t GetRenderTime() final;
    void SetRenderTime(std::uint32_t inRenderTime) final;
    BRT::InterfaceRef<RK::IVideoFrame> CreateCompatibleFrame() final;
    bool GetAlphaBounds(BRT::ParamRect<BRT::CRect>& outBounds) final;
    void SetAlphaBounds(const BRT::ParamRect<BRT::CRect>& inBounds) final;
    void ResetAlphaBounds() final;

    std::int32_t FillWithOpaqueBlack() final;
    std::int32_t FillWithOpaqueWhite() final;
    std::int32_t FillWithTransparentBlack() final;
    std::int32_t FillWithTransparentWhite() final;

    void* GetData() final;
    std::uint64_t GetDataSize() final;
    std::uint64_t GetBufferSize() final;

    std::uint32_t GetPixelSize() final;
    std::int32_t GetRowBytes() final;
    void* GetField0Data() final;
    void* GetField1Data() final;
    std::int32_t GetFieldRowBytes() final;
    std::uint32_t GetFieldFirstLine(std::uint32_t inField) final;

    Details::BlockExtent GetBlockExtent() final;

protected:
    SharedMemoryVideoFrameBase() = default;
    ~SharedMemoryVideoFrameBase() = default;

    /// Bytes of the block as its owner knows them.
    virtual std::uint64_t GetBlockSize() = 0;

private:
    using Header = SharedMemoryVideoFrameHeader;
    using Fill = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;

    const Header* ReadableHeader();
    Header* WritableHeader();
    void* WritablePixels();
    const void* ReadablePixels();
    void* FieldData(std::uint32_t field, int contractLine);
    std::int32_t FillWith(Fill fill);

    BRT::ReferenceCount mReferenceCount;
};

} // namespace VF
