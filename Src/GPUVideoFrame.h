#pragma once

#include "DeviceVideoFrame.h"
#include "FrameBlock.h"
#include "VideoFrameInterfaces.h"

namespace VF {

class GPUVideoFrameBase : public RK::IVideoFrame,
                          public RK::IVideoFrameClearable,
                          public IGPUVideoFrame,
                          public IGPUVideoFrameMemoryAccess,
                          public IGPUVideoFrame2DPixelMemoryAccess,
                          public ICompletionEventVideoFrame,
                          public Details::IFrameBlock {
protected:
    ~GPUVideoFrameBase() = default;
};

/// A frame in device memory.
class GPUVideoFrame final : public Details::DeviceVideoFrame<GPUVideoFrame, GPUVideoFrameBase> {
public:
    std::int32_t QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) override;

    std::int32_t FillWithOpaqueBlack() override;
    std::int32_t FillWithOpaqueWhite() override;
    std::int32_t FillWithTransparentBlack() override;
    std::int32_t FillWithTransparentWhite() override;

    std::uint32_t GetDeviceIndex() override;
    zyncore::utility::Guid GetFrameGuid() override { return mFrameGuid; }
    void SetFrameGuid(zyncore::utility::Guid inGuid) override { mFrameGuid = inGuid; }

    /// Nothing of it is the CPU's to touch.
    Details::BlockExtent GetBlockExtent() override { return {}; }
    void* GetData() override { return mDeviceData; }

private:
    friend Details::DeviceVideoFrame<GPUVideoFrame, GPUVideoFrameBase>;
    using Fill = int (*)(const boost::shared_ptr<DK::Device>&, const void*, int, zynmediatypes::PixelFormat, int,
                         int) noexcept;

    explicit GPUVideoFrame(const boost::shared_ptr<DK::Device>& device) : DeviceVideoFrame(device) {}
    ~GPUVideoFrame();
    bool Allocate(std::uint64_t bytes);
    void CopyIdentity(const GPUVideoFrame& from) { mFrameGuid = from.mFrameGuid; }
    std::int32_t FillWith(Fill fill);

    zyncore::utility::Guid mFrameGuid;
    void* mDeviceData = nullptr;
};

} // namespace VF
