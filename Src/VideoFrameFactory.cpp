#include "VideoFrameFactory.h"

#include "ContractReport.h"
#include "SharedMemoryVideoFrame/CreateFrames.h"
#include "VFResults.h"
#include "VideoFrameManipulators.h"

#include <atomic>
#include <new>

namespace VF {
namespace {

constexpr const char* kSource = "Src/VideoFrameFactory";

std::atomic<std::uint32_t> sCreatePublishableVideoFrames{0};
std::atomic<std::uint32_t> sCreatePublishableCustomVideoFrames{0};

Details::FrameRequest MakeRequest(zynmediatypes::PixelFormat format, std::uint32_t width, std::uint32_t height,
                                  const zynmediatypes::PixelAspectRatio& aspectRatio) {
    Details::FrameRequest request;
    request.format = format;
    request.width = static_cast<std::int32_t>(width);
    request.height = static_cast<std::int32_t>(height);
    request.aspectRatio = aspectRatio;
    return request;
}

// Transparent where the format can say so, opaque where it cannot.
void Clear(const BRT::InterfaceRef<RK::IVideoFrame>& frame, bool transparent) {
    const auto clearable = BRT::QueryInterface<RK::IVideoFrameClearable>(frame);
    if (!clearable || (transparent && clearable->FillWithTransparentBlack() >= 0)) {
        return;
    }
    static_cast<void>(clearable->FillWithOpaqueBlack());
}

} // namespace

std::int32_t CreateDiskAlignedVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame,
                                         zynmediatypes::PixelFormat inFormat, std::uint32_t inWidth,
                                         std::uint32_t inHeight, const zynmediatypes::PixelAspectRatio& inAspectRatio,
                                         std::int32_t inAlignment, std::int32_t inBlockSize, std::int32_t inPrefixBytes,
                                         bool inClear, bool inClearTransparent) {
    Details::CheckContract(inWidth != 0, "inWidth != 0", kSource, 79);
    Details::CheckContract(inHeight != 0, "inHeight != 0", kSource, 80);
    outFrame.Reset();
    Details::FrameRequest request = MakeRequest(inFormat, inWidth, inHeight, inAspectRatio);
    request.alignment = inAlignment;
    request.blockSize = inBlockSize;
    request.prefixBytes = inPrefixBytes;
    try {
        if (GetCreatePublishableVideoFrames()) {
            outFrame = Details::CreateWritableBinaryReferenceFrame(request);
        }
        if (!outFrame) {
            outFrame = Details::CreateMemoryRecyclerFrame(request);
        }
        if (inClear && outFrame) {
            Clear(outFrame, inClearTransparent);
        }
    } catch (const std::bad_alloc&) {
        return kResult_MemoryExhausted;
    }
    return kResult_Success;
}

std::int32_t CreateVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame, zynmediatypes::PixelFormat inFormat,
                              std::uint32_t inWidth, std::uint32_t inHeight,
                              const zynmediatypes::PixelAspectRatio& inAspectRatio, bool inClear,
                              bool inClearTransparent) {
    return CreateDiskAlignedVideoFrame(outFrame, inFormat, inWidth, inHeight, inAspectRatio, 0, 0, 0, inClear,
                                       inClearTransparent);
}

std::int32_t CreateCustomVideoFrame(BRT::InterfaceRef<RK::IVideoFrame>& outFrame, zynmediatypes::PixelFormat inFormat,
                                    std::uint32_t inWidth, std::uint32_t inHeight, std::int32_t inDataSize,
                                    const zynmediatypes::PixelAspectRatio& inAspectRatio) {
    Details::CheckContract(inWidth != 0, "inWidth != 0", kSource, 148);
    Details::CheckContract(inHeight != 0, "inHeight != 0", kSource, 149);
    outFrame.Reset();
    const Details::FrameRequest request = MakeRequest(inFormat, inWidth, inHeight, inAspectRatio);
    try {
        if (GetCreatePublishableCustomVideoFrames()) {
            outFrame = Details::CreateCustomWritableBinaryReferenceFrame(request, inDataSize);
        }
        if (!outFrame) {
            outFrame = Details::CreateCustomMemoryRecyclerFrame(request, inDataSize);
        }
    } catch (const std::bad_alloc&) {
        return kResult_MemoryExhausted;
    }
    return kResult_Success;
}

BRT::InterfaceRef<RK::IVideoFrame> MakeWriteableVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inFrame,
                                                           zynmediatypes::RenderQuality inQuality) {
    if (!inFrame->GetReadOnly()) {
        return inFrame;
    }
    BRT::InterfaceRef<RK::IVideoFrame> frame = inFrame->CreateCompatibleFrame();
    static_cast<void>(VideoFrameManipulators::CopyFrame(inFrame, frame, inQuality));
    return frame;
}

void SetCreatePublishableVideoFrames(bool inPublishable) {
    sCreatePublishableVideoFrames.exchange(inPublishable ? 1 : 0);
}

bool GetCreatePublishableVideoFrames() {
    return sCreatePublishableVideoFrames.load() != 0;
}

void SetCreatePublishableCustomVideoFrames(bool inPublishable) {
    sCreatePublishableCustomVideoFrames.exchange(inPublishable ? 1 : 0);
}

bool GetCreatePublishableCustomVideoFrames() {
    return sCreatePublishableCustomVideoFrames.load() != 0 || GetCreatePublishableVideoFrames();
}

bool PixelType2DMemoryAccessCapable(zynmediatypes::PixelFormat inFormat) {
    return (inFormat.properties & zynmediatypes::kPropertyMask_Storage) == 0;
}

} // namespace VF
