#include "PinnedMemoryVideoFrame.h"

#include "DeviceVideoFrames.h"
#include "InterfaceAnswer.h"
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
    const bool offered = inID == RK::IVideoFrameClearable::kInterfaceID ? !GetReadOnly()
                         : inID == IVideoFrame2DPixelMemoryAccess::kInterfaceID
                             ? Details::IsRowAddressable(mPixelFormat)
                             : true;
    return Details::AnswerInterface<RK::IVideoFrame, IVideoFrameMemoryAccess, ICompletionEventVideoFrame,
                                    RK::IVideoFrameClearable, IVideoFrame2DPixelMemoryAccess, Details::IFrameBlock>(
        *this, inID, offered, outInterface);
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
