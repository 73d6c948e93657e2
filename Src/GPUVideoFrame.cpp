#include "GPUVideoFrame.h"

#include "DeviceVideoFrames.h"
#include "InterfaceAnswer.h"

namespace VF {

GPUVideoFrame::~GPUVideoFrame() {
    if (mDeviceData != nullptr) {
        mDevice->FreeCUDAMemory(mDeviceData, mCompletionEvent);
    }
}

bool GPUVideoFrame::Allocate(std::uint64_t bytes) {
    mDeviceData = mDevice->AllocateCUDAMemory(bytes);
    return mDeviceData != nullptr;
}

// The CPU's identifiers are not answered, although the interfaces derive from the CPU's.
std::int32_t GPUVideoFrame::QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) {
    const bool offered = inID == RK::IVideoFrameClearable::kInterfaceID ? !GetReadOnly()
                         : inID == IGPUVideoFrame2DPixelMemoryAccess::kInterfaceID
                             ? Details::IsRowAddressable(mPixelFormat)
                             : true;
    return Details::AnswerInterface<RK::IVideoFrame, IGPUVideoFrame, IGPUVideoFrameMemoryAccess,
                                    ICompletionEventVideoFrame, RK::IVideoFrameClearable,
                                    IGPUVideoFrame2DPixelMemoryAccess, Details::IFrameBlock>(*this, inID, offered,
                                                                                             outInterface);
}

std::int32_t GPUVideoFrame::FillWith(Fill fill) {
    const int result = fill(mDevice, GetData(), GetRowBytes(), mPixelFormat, mFrameRect.width, mFrameRect.height);
    return result == DK::kResult_Success ? kResult_Success : kResult_Failed;
}

std::int32_t GPUVideoFrame::FillWithOpaqueBlack() {
    return FillWith(DK::FillWithOpaqueBlack);
}

std::int32_t GPUVideoFrame::FillWithOpaqueWhite() {
    return FillWith(DK::FillWithOpaqueWhite);
}

std::int32_t GPUVideoFrame::FillWithTransparentBlack() {
    return FillWith(DK::FillWithTransparentBlack);
}

// Devices have no transparent white.
std::int32_t GPUVideoFrame::FillWithTransparentWhite() {
    return FillWith(DK::FillWithTransparentBlack);
}

std::uint32_t GPUVideoFrame::GetDeviceIndex() {
    return mDevice->GetIndex();
}

std::int32_t CreateGPUVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                 const boost::shared_ptr<DK::Device>& inDevice, zynmediatypes::PixelFormat inFormat,
                                 std::uint32_t inWidth, std::uint32_t inHeight,
                                 zynmediatypes::PixelAspectRatio inAspectRatio, zynmediatypes::FieldType inFieldType) {
    return GPUVideoFrame::Create(outFrame, {inDevice, inFormat, static_cast<std::int32_t>(inWidth),
                                            static_cast<std::int32_t>(inHeight), inAspectRatio, inFieldType});
}

} // namespace VF
