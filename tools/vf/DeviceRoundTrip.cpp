#include "DeviceRoundTrip.h"

#include "DeviceVideoFrames.h"
#include "ExitCodes.h"
#include "Options.h"
#include "VideoFrameInterfaces.h"

#include <cstring>
#include <limits>
#include <optional>

namespace tool {
namespace {

std::string DeviceText(const DK::Device& device) {
    return "device " + std::to_string(device.GetIndex()) + " (" + device.GetName() + ")";
}

void Check(int result, const boost::shared_ptr<DK::Device>& device) {
    if (result != DK::kResult_Success) {
        throw Failure(ExitCode::Unexpected, DeviceText(*device) + ": CUDA error " + std::to_string(result));
    }
}

template <class Access, class Create>
BRT::InterfaceRef<Access> MakeLike(const Frame& frame, Create create, const boost::shared_ptr<DK::Device>& device,
                                   Frame& outFrame) {
    if (create(outFrame, device, frame->GetPixelType(), static_cast<std::uint32_t>(WidthOf(frame)),
               static_cast<std::uint32_t>(HeightOf(frame)), frame->GetPixelAspectRatio(), frame->GetFieldType()) != 0) {
        throw Failure(ExitCode::Unexpected, DeviceText(*device) + " has no memory for " + FrameText(frame));
    }
    return BRT::QueryInterface<Access>(outFrame);
}

} // namespace

boost::shared_ptr<DK::Device> ParseDevice(const std::string& option, const std::string& text) {
    if (text == "host") {
        return DK::GetHostDevice();
    }
    const std::optional<std::int64_t> index = ParseNumber(text);
    const bool possible = index && *index <= std::numeric_limits<std::uint32_t>::max();
    auto device = possible ? DK::GetDevice(static_cast<std::uint32_t>(*index)) : boost::shared_ptr<DK::Device>();
    if (!device) {
        throw Failure(ExitCode::Usage, option + ' ' + text + ": no such device; vf devices lists them");
    }
    return device;
}

void TakeThroughDevice(const boost::shared_ptr<DK::Device>& device, const Frame& frame) {
    Frame sent;
    Frame there;
    Frame returned;
    const auto sentBytes = MakeLike<VF::IVideoFrameMemoryAccess>(frame, VF::CreatePinnedMemoryVideoFrame, device, sent);
    const auto thereBytes = MakeLike<VF::IGPUVideoFrameMemoryAccess>(frame, VF::CreateGPUVideoFrame, device, there);
    const auto returnedBytes =
        MakeLike<VF::IVideoFrameMemoryAccess>(frame, VF::CreatePinnedMemoryVideoFrame, device, returned);
    const auto bytes = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame);
    const std::uint64_t size = bytes->GetDataSize();

    // One event behind both copies; until it is complete the frames' memory belongs to them.
    const auto event = device->CreateEvent();
    if (!event) {
        Check(DK::kResult_UnknownFailure, device);
    }
    for (const Frame& used : {sent, there, returned}) {
        BRT::QueryInterface<VF::ICompletionEventVideoFrame>(used)->SetCompletionEvent(event);
    }
    std::memcpy(sentBytes->GetData(), bytes->GetData(), size);
    Check(DK::CopyRowsToDevice(device, {thereBytes->GetData(), 0}, {sentBytes->GetData(), 0}, size, 1, event), device);
    Check(DK::CopyRowsToHost(device, {returnedBytes->GetData(), 0}, {thereBytes->GetData(), 0}, size, 1, event),
          device);
    Check(event->Wait(), device);
    std::memcpy(bytes->GetData(), returnedBytes->GetData(), size);
}

} // namespace tool
