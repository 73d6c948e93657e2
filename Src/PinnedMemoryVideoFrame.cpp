#include "PinnedMemoryVideoFrame.h"

#include "DeviceVideoFrames.h"
#include "PixelFormatUtilities.h"

namespace VF {

PinnedMemoryVideoFrame::~PinnedMemoryVideoFrame() {
    if (mHostData != nullptr) {
        mDevice->FreePinnedMemory(mHostData, mCompletionEvent);
    }
}

bool PinnedMemoryVideoFrame::Allocate(std::uint64_t bytes) {
    mHostData = mDevice->AllocatePinnedMemory(bytes);
    return mHostData != nullptr;
}

std::int32_t PinnedMemoryVideoFrame::QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) {
    void* found = nullptr;
    if (inID == RK::IVideoFrame::kInterfaceID || inID == BRT::BRTUnknown::kInterfaceID) {
        found = static_cast<RK::IVideoFrame*>(this);
    } else if (inID == IVideoFrameMemoryAccess::kInterfaceID) {
        found = static_cast<IVideoFrameMemoryAccess*>(this);
    } else if (inID == ICompletionEventVideoFrame::kInterfaceID) {
        found = static_cast<ICompletionEventVideoFrame*>(this);
    } else if (inID == RK::IVideoFrameClearable::kInterfaceID) {
        found = GetReadOnly() ? nullptr : static_cast<RK::IVideoFrameClearable*>(this);
    } else if (inID == IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
        found = Details::IsRowAddressable(mPixelFormat) ? static_cast<IVideoFrame2DPixelMemoryAccess*>(this) : nullptr;
    } else if (inID == Details::IFrameBlock::kInterfaceID) {
        found = static_cast<Details::IFrameBlock*>(this);
    }
    *outInterface = found;
    if (found == nullptr) {
        return kResult_NoSuchInterface;
    }
    AddRef();
    return kResult_Success;
}

std::int32_t PinnedMemoryVideoFrame::FillWith(Fill fill) {
    const PB_PixelFormat format = BEPixelFormatToPBPixelFormat(mPixelFormat);
    if (format == kPB_NoFormat) {
        return -1;
    }
    return fill(GetData(), GetRowBytes(), mFrameRect.width, mFrameRect.height, format) == 0 ? 0 : -1;
}

std::int32_t PinnedMemoryVideoFrame::FillWithOpaqueBlack() {
    return FillWith(PB_FillWithOpaqueBlack);
}

std::int32_t PinnedMemoryVideoFrame::FillWithOpaqueWhite() {
    return FillWith(PB_FillWithOpaqueWhite);
}

std::int32_t PinnedMemoryVideoFrame::FillWithTransparentBlack() {
    return FillWith(PB_FillWithTransparentBlack);
}

std::int32_t PinnedMemoryVideoFrame::FillWithTransparentWhite() {
    return FillWith(PB_FillWithTransparentWhite);
}

std::int32_t CreatePinnedMemoryVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                          const boost::shared_ptr<DK::Device>& inDevice,
                                          zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                          std::uint32_t inHeight, zynmediatypes::PixelAspectRatio inAspectRatio,
                                          zynmediatypes::FieldType inFieldType) {
    return PinnedMemoryVideoFrame::Create(outFrame, {inDevice, inFormat, static_cast<std::int32_t>(inWidth),
                                                     static_cast<std::int32_t>(inHeight), inAspectRatio, inFieldType});
}

} // namespace VF
