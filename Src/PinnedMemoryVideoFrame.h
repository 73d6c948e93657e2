#pragma once

#include "DeviceVideoFrame.h"
#include "FrameBlock.h"
#include "PixelBlitter.h"
#include "VideoFrameInterfaces.h"

namespace VF {

class PinnedMemoryVideoFrameBase : public RK::IVideoFrame,
                                   public RK::IVideoFrameClearable,
                                   public IVideoFrameMemoryAccess,
                                   public IVideoFrame2DPixelMemoryAccess,
                                   public ICompletionEventVideoFrame,
                                   public Details::IFrameBlock {
protected:
    ~PinnedMemoryVideoFrameBase() = default;
};

/// A frame in page-locked host memory of a device.
class PinnedMemoryVideoFrame final
    : public Details::DeviceVideoFrame<PinnedMemoryVideoFrame, PinnedMemoryVideoFrameBase> {
public:
    std::int32_t QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) override;

    std::int32_t FillWithOpaqueBlack() override;
    std::int32_t FillWithOpaqueWhite() override;
    std::int32_t FillWithTransparentBlack() override;
    std::int32_t FillWithTransparentWhite() override;

    Details::BlockExtent GetBlockExtent() override { return {mHostData, GetDataSize()}; }
    void* GetData() override { return mHostData; }

private:
    friend Details::DeviceVideoFrame<PinnedMemoryVideoFrame, PinnedMemoryVideoFrameBase>;
    using Fill = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;

    explicit PinnedMemoryVideoFrame(const boost::shared_ptr<DK::Device>& device) : DeviceVideoFrame(device) {}
    ~PinnedMemoryVideoFrame();
    bool Allocate(std::uint64_t bytes);
    void CopyIdentity(const PinnedMemoryVideoFrame& /*from*/) {}
    std::int32_t FillWith(Fill fill);

    void* mHostData = nullptr;
};

} // namespace VF
