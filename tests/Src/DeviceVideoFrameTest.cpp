// GPU and pinned frames, on every device. (What holds for all frames is in FrameConformanceTest.)

#include "DeviceVideoFrames.h"

#include "../platform/DeviceKit/TestDevices.h"
#include "VFResults.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameManipulators.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

namespace {

using namespace vftest;
using namespace zynmediatypes;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using Rect = BRT::ParamRect<BRT::CRect>;
using zyncore::utility::Guid;

class DeviceVideoFrames : public EveryDevice {
protected:
    using Create = decltype(&VF::CreateGPUVideoFrame);
    FrameRef Make(Create create, PixelFormat format, std::uint32_t width = 1920, std::uint32_t height = 1080) {
        FrameRef frame;
        EXPECT_EQ(create(frame, device, format, width, height, {10, 11}, kFieldType_UpperFirst), 0);
        return frame;
    }
    static constexpr Create kCreators[] = {VF::CreateGPUVideoFrame, VF::CreatePinnedMemoryVideoFrame};
};

bool Offers(const FrameRef& frame, const Guid& id) {
    void* found = &found;
    const std::int32_t result = frame->QueryInterface(id, &found);
    EXPECT_EQ(result == 0, found != nullptr);
    EXPECT_TRUE(result == 0 || result == VF::kResult_NoSuchInterface);
    BRT::InterfaceRef<BRT::BRTUnknown>::Adopt(static_cast<BRT::BRTUnknown*>(found));
    return found != nullptr;
}

TEST_P(DeviceVideoFrames, BeginAndOfferWhatTheyShould) {
    for (const Create create : kCreators) {
        const bool gpu = create == VF::CreateGPUVideoFrame;
        const FrameRef frame = Make(create, kPixelFormat_BGRA_4444_8u);
        EXPECT_EQ(frame->GetPixelAspectRatio(), (PixelAspectRatio{10, 11}));
        Rect bounds;
        EXPECT_TRUE(frame->GetAlphaBounds(bounds));
        EXPECT_EQ(bounds, (Rect{0, 0, 1920, 1080}));
        const auto offersAll = [&](bool writable, bool rows) {
            EXPECT_TRUE(Offers(frame, RK::IVideoFrame::kInterfaceID) && Offers(frame, BRT::BRTUnknown::kInterfaceID) &&
                        Offers(frame, VF::ICompletionEventVideoFrame::kInterfaceID));
            EXPECT_EQ(Offers(frame, VF::IGPUVideoFrame::kInterfaceID), gpu);
            EXPECT_EQ(Offers(frame, VF::IGPUVideoFrameMemoryAccess::kInterfaceID), gpu);
            EXPECT_EQ(Offers(frame, VF::IVideoFrameMemoryAccess::kInterfaceID), !gpu);
            EXPECT_EQ(Offers(frame, RK::IVideoFrameClearable::kInterfaceID), writable);
            EXPECT_EQ(Offers(frame, VF::IGPUVideoFrame2DPixelMemoryAccess::kInterfaceID), gpu && rows);
            EXPECT_EQ(Offers(frame, VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID), !gpu && rows);
            EXPECT_FALSE(Offers(frame, VF::IPublishableVideoFrame::kInterfaceID));
        };
        offersAll(true, true);
        frame->SetReadOnly(true);
        offersAll(false, true);
        frame->SetRenderTime(4); // a setter asks nobody
        EXPECT_EQ(frame->GetRenderTime(), 4U);
        EXPECT_FALSE(BRT::QueryInterface<VF::ICompletionEventVideoFrame>(frame)->GetCompletionEvent());
        // The first operation behind IVideoFrame's.
        using Self = FrameRef(void*);
        EXPECT_EQ(reinterpret_cast<Self*>((*reinterpret_cast<void***>(frame.GetPtr()))[28])(frame.GetPtr()), frame);
    }
    const FrameRef frame = Make(VF::CreateGPUVideoFrame, kPixelFormat_BGRA_4444_8u);
    const auto memory = BRT::QueryInterface<VF::IGPUVideoFrameMemoryAccess>(frame);
    const auto rows = BRT::QueryInterface<VF::IGPUVideoFrame2DPixelMemoryAccess>(frame);
    EXPECT_EQ(rows->GetField0Data(), static_cast<char*>(memory->GetData()) + 7680);
    EXPECT_EQ(rows->GetField1Data(), memory->GetData());
    EXPECT_EQ(rows->GetFieldRowBytes(), 15360);
    EXPECT_EQ(BRT::QueryInterface<VF::IGPUVideoFrame>(frame)->GetDeviceIndex(), device->GetIndex());
}

TEST_P(DeviceVideoFrames, FailedCreationsChangeNothing) {
    const PixelFormat custom{FourCharacterCode("@abc"), kPixelFormatProperties_Custom};
    for (const Create create : kCreators) {
        const FrameRef before = Make(create, kPixelFormat_BGRA_4444_8u, 8, 4);
        const DK::PoolStatistics memory = device->GetCUDAMemoryStatistics();
        FrameRef frame = before;
        const auto refused = [&](const boost::shared_ptr<DK::Device>& on, PixelFormat format, std::uint32_t width,
                                 std::uint32_t height) {
            return create(frame, on, format, width, height, {1, 1}, kFieldType_NotSet) == VF::kResult_BufferTooSmall;
        };
        EXPECT_TRUE(refused({}, kPixelFormat_BGRA_4444_8u, 8, 4)) << "no device";
        EXPECT_TRUE(refused(device, kPixelFormat_BGRA_4444_8u, 0, 4));
        EXPECT_TRUE(refused(device, kPixelFormat_BGRA_4444_8u, 8, 0));
        EXPECT_TRUE(refused(device, kPixelFormat_BGRA_4444_8u, 0xFFFFFFFF, 4));
        EXPECT_TRUE(refused(device, kPixelFormat_BGRA_4444_8u, 0x7FFFFFFF, 0x7FFFFFFF));
        EXPECT_TRUE(refused(device, kPixelFormat_Invalid, 8, 4));
        EXPECT_TRUE(refused(device, custom, 8, 4));
        EXPECT_EQ(frame, before);
        EXPECT_EQ(device->GetCUDAMemoryStatistics().bytesInUse, memory.bytesInUse);
    }
}

TEST_P(DeviceVideoFrames, CompatibleFramesCarryTheMetadata) {
    for (const Create create : kCreators) {
        const FrameRef frame = Make(create, kPixelFormat_ARGB_4444_15u, 6, 4);
        frame->SetUserTriple({1, 2, 3});
        frame->SetReadOnly(true);
        const auto event = boost::make_shared<DK::UserEvent>();
        BRT::QueryInterface<VF::ICompletionEventVideoFrame>(frame)->SetCompletionEvent(event);
        const Guid id = Guid::Generate();
        const auto gpu = BRT::QueryInterface<VF::IGPUVideoFrame>(frame);
        if (gpu) {
            EXPECT_EQ(gpu->GetFrameGuid(), Guid());
            gpu->SetFrameGuid(id);
        }
        const FrameRef copy = frame->CreateCompatibleFrame();
        ASSERT_TRUE(copy);
        EXPECT_NE(copy, frame);
        EXPECT_EQ(copy->GetBounds(), (Rect{0, 0, 6, 4}));
        EXPECT_EQ(copy->GetUserTriple(), (RK::UserTriple{1, 2, 3}));
        EXPECT_FALSE(BRT::QueryInterface<VF::ICompletionEventVideoFrame>(copy)->GetCompletionEvent());
        EXPECT_EQ(BRT::QueryInterface<VF::ICompletionEventVideoFrame>(frame)->GetCompletionEvent(), event);
        EXPECT_TRUE(!gpu || BRT::QueryInterface<VF::IGPUVideoFrame>(copy)->GetFrameGuid() == id);
    }
}

TEST_P(DeviceVideoFrames, TheLastReleaseHandsTheMemoryBackWithTheEvent) {
    device->SetIdleLimits(1 << 20, 1 << 20);
    const auto event = boost::make_shared<DK::UserEvent>();
    event->Record();
    for (const Create create : kCreators) {
        FrameRef frame = Make(create, kPixelFormat_BGRA_4444_8u, 16, 16);
        BRT::QueryInterface<VF::ICompletionEventVideoFrame>(frame)->SetCompletionEvent(event);
    }
    EXPECT_EQ(device->GetCUDAMemoryStatistics().bytesWaiting, 1024U);
    EXPECT_EQ(device->GetPinnedMemoryStatistics().bytesWaiting, 1024U);
    EXPECT_EQ(event.use_count(), 3);
    event->Complete();
    device->ReleaseIdleMemory();
    EXPECT_EQ(event.use_count(), 1);

    FrameRef last = Make(VF::CreateGPUVideoFrame, kPixelFormat_BGRA_4444_8u, 16, 16);
    const boost::weak_ptr<DK::Device> kept = device;
    device.reset();
    EXPECT_FALSE(kept.expired()) << "a frame keeps its device";
    last.Reset();
    EXPECT_TRUE(kept.expired());
}

TEST_P(DeviceVideoFrames, Fills) {
    const auto filled = [&](Create create, PixelFormat format, std::int32_t (RK::IVideoFrameClearable::*fill)()) {
        const FrameRef frame = Make(create, format, 1, 1);
        const std::int32_t result = ((*BRT::QueryInterface<RK::IVideoFrameClearable>(frame)).*fill)();
        std::uint32_t pixel = 0;
        if (const auto gpu = BRT::QueryInterface<VF::IGPUVideoFrameMemoryAccess>(frame)) {
            EXPECT_EQ(DK::CopyRowsToHost(device, {&pixel, 0}, {gpu->GetData(), 0}, sizeof(pixel), 1), 0);
        } else {
            pixel = *static_cast<std::uint32_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData());
        }
        return result == 0 ? pixel : static_cast<std::uint32_t>(result);
    };
    using Clearable = RK::IVideoFrameClearable;
    for (const Create create : kCreators) {
        const bool gpu = create == VF::CreateGPUVideoFrame;
        const auto bgra = kPixelFormat_BGRA_4444_8u;
        EXPECT_EQ(filled(create, bgra, &Clearable::FillWithOpaqueBlack), 0xFF000000U);
        EXPECT_EQ(filled(create, bgra, &Clearable::FillWithOpaqueWhite), 0xFFFFFFFFU);
        EXPECT_EQ(filled(create, bgra, &Clearable::FillWithTransparentBlack), 0U);
        EXPECT_EQ(filled(create, bgra, &Clearable::FillWithTransparentWhite), gpu ? 0U : 0x00FFFFFFU);
        const std::uint32_t refused = gpu ? 0xA00F0001U : 0xFFFFFFFFU;
        EXPECT_EQ(filled(create, kPixelFormat_UYVY_422_8u, &Clearable::FillWithTransparentBlack), refused);
        EXPECT_EQ(filled(create, kPixelFormat_BGRA_4444_16u, &Clearable::FillWithOpaqueBlack), refused);
    }
}

// The CPU's operations take pinned frames and refuse GPU frames.
TEST_P(DeviceVideoFrames, OperationsOnPixels) {
    namespace Manipulators = VF::VideoFrameManipulators;
    const FrameRef gpu = Make(VF::CreateGPUVideoFrame, kPixelFormat_BGRA_4444_8u, 4, 4);
    const FrameRef bgra = Make(VF::CreatePinnedMemoryVideoFrame, kPixelFormat_BGRA_4444_8u, 4, 4);
    const FrameRef argb = Make(VF::CreatePinnedMemoryVideoFrame, kPixelFormat_ARGB_4444_8u, 4, 4);
    BRT::QueryInterface<RK::IVideoFrameClearable>(bgra)->FillWithOpaqueBlack();
    EXPECT_EQ(Manipulators::CopyFrame(bgra, argb, kRenderQuality_High), 0);
    EXPECT_EQ(*static_cast<std::uint32_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(argb)->GetData()), 0xFFU);
    EXPECT_THROW(Manipulators::CopyFrame(gpu, argb, kRenderQuality_High), BRT::NullInterfaceException);
}

VF_INSTANTIATE_FOR_DEVICES(DeviceVideoFrames);

} // namespace
