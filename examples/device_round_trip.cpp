// A picture through the memory of a GPU, or of the host device where there is none.

#include "DeviceKit.h"
#include "DeviceVideoFrames.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameUtilities.h"

#include <cstdio>

int main() {
    using namespace zynmediatypes;
    VF::Initialize();
    int result = 0;
    {
        const auto device = DK::GetDefaultDevice();
        BRT::InterfaceRef<RK::IVideoFrame> pinned, gpu;
        if (VF::CreatePinnedMemoryVideoFrame(pinned, device, kPixelFormat_BGRA_4444_32f, 640, 360,
                                             kPixelAspectRatio_Square, kFieldType_Progressive) != 0 ||
            VF::CreateGPUVideoFrame(gpu, device, kPixelFormat_BGRA_4444_32f, 640, 360, kPixelAspectRatio_Square,
                                    kFieldType_Progressive) != 0) {
            return 1;
        }
        const auto host = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(pinned);
        const auto hostRows = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(pinned);
        const auto there = BRT::QueryInterface<VF::IGPUVideoFrameMemoryAccess>(gpu);
        const auto thereRows = BRT::QueryInterface<VF::IGPUVideoFrame2DPixelMemoryAccess>(gpu);
        BRT::QueryInterface<RK::IVideoFrameClearable>(pinned)->FillWithOpaqueWhite();
        BRT::QueryInterface<RK::IVideoFrameClearable>(gpu)->FillWithOpaqueBlack(); // on the device

        // Every second row goes up: half as many rows, at twice the distance. The call returns at once; the event tells
        // when the copy is done, and keeps the memory of both frames from being used again before, should they go.
        const auto uploaded = device->CreateEvent();
        BRT::QueryInterface<VF::ICompletionEventVideoFrame>(pinned)->SetCompletionEvent(uploaded);
        BRT::QueryInterface<VF::ICompletionEventVideoFrame>(gpu)->SetCompletionEvent(uploaded);
        result = DK::CopyRowsToDevice(device, {there->GetData(), thereRows->GetFieldRowBytes()},
                                      {host->GetData(), hostRows->GetFieldRowBytes()}, 640 * 16, 180, uploaded);

        // Copies of one device run in order, so this one brings what the first left. Without an event it waits.
        if (result == 0) {
            result = DK::CopyRowsToHost(device, {host->GetData(), hostRows->GetRowBytes()},
                                        {there->GetData(), thereRows->GetRowBytes()}, 640 * 16, 360);
        }
        const auto* const red = static_cast<const float*>(host->GetData()) + 2;
        std::printf("row 0 %.0f, row 1 %.0f\n", static_cast<double>(red[0]), static_cast<double>(red[640 * 4]));
    }
    VF::Shutdown();
    return result;
}
