// What becomes of a driver's failures.

#include "DeviceVideoFrames.h"
#include "TestDevices.h"
#include "VideoFrameInterfaces.h"
#include "cuda/DriverLibrary.h"
#include "cuda/FillKernelText.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

using namespace vftest;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

class FailingDriver : public ::testing::Test {
protected:
    void SetUp() override { fakecuda::Reset(); }
    void TearDown() override { fakecuda::Reset(); }
};

constexpr auto kFloats = zynmediatypes::kPixelFormat_BGRA_4444_32f; // needs a kernel to be filled

// Everything that a device does, as far as it gets. True when all of it was done.
bool UseEverything(const boost::shared_ptr<DK::Device>& device) {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    bool done = device->GetMemorySize(total, free) == 0 && !device->GetName().empty();
    const auto event = device->CreateEvent();
    done = event && done;
    FrameRef gpu;
    FrameRef pinned;
    done = VF::CreateGPUVideoFrame(gpu, device, kFloats, 8, 4, {1, 1}, zynmediatypes::kFieldType_Progressive) == 0 &&
           VF::CreatePinnedMemoryVideoFrame(pinned, device, kFloats, 8, 4, {1, 1},
                                            zynmediatypes::kFieldType_Progressive) == 0 &&
           done;
    if (!gpu || !pinned) {
        return false;
    }
    const auto memory = BRT::QueryInterface<VF::IGPUVideoFrameMemoryAccess>(gpu);
    BRT::QueryInterface<VF::ICompletionEventVideoFrame>(gpu)->SetCompletionEvent(event);
    done = BRT::QueryInterface<RK::IVideoFrameClearable>(gpu)->FillWithOpaqueBlack() == 0 && done;
    for (const auto format : {zynmediatypes::kPixelFormat_BGRA_4444_8u, zynmediatypes::kPixelFormat_BGRA_4444_15u,
                              zynmediatypes::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601,
                              zynmediatypes::kPixelFormat_VUYA_4444_8u}) {
        done = DK::FillWithOpaqueWhite(device, memory->GetData(), 64, format, 8, 4) == 0 && done;
    }
    done = DK::FillWithOpaqueWhite(device, static_cast<char*>(memory->GetData()) + 2, 66,
                                   zynmediatypes::kPixelFormat_BGRA_4444_15u, 8, 4) == 0 &&
           done;
    void* const host = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(pinned)->GetData();
    for (const auto& recorded : {boost::shared_ptr<DK::Event>(), event}) {
        for (const std::int64_t stride : {128, 100, -128}) {
            DK::Rows gpuRows{static_cast<char*>(memory->GetData()) + (stride < 0 ? 384 : 0), stride};
            done = DK::CopyRowsToDevice(device, gpuRows, {host, 128}, 96, 4, recorded) == 0 && done;
            done = DK::CopyRowsToHost(device, {host, 128}, gpuRows, 96, 4, recorded) == 0 && done;
            done =
                DK::CopyRowsOnDevice(device, {memory->GetData(), 128}, {memory->GetData(), 128}, 128, 4) == 0 && done;
        }
    }
    done = DK::CopyRowsOnDevice(device, {memory->GetData(), 100}, {static_cast<char*>(memory->GetData()) + 256, 100},
                                24, 2) == 0 &&
           done;
    done = event && event->Record() == 0 && event->Query() == 0 && event->Wait() == 0 && done;
    return device->Synchronize() == 0 && done;
}

// Every call of the driver that fails is told, leaks nothing that the driver would take back, and does no lasting harm.
TEST_F(FailingDriver, EveryCallMayFail) {
    ASSERT_TRUE(UseEverything(DK::GetDevice(0)));
    EXPECT_EQ(fakecuda::GetHeld(), fakecuda::Held{});
    const std::string harmless =
        "cuDriverGetVersion cuGetErrorName cuInit cuDeviceGetCount cuDeviceTotalMem cuDeviceGetName ";
#define DEVICEKIT_NAME(function, symbol, parameters) #function,
    for (const std::string function : {DEVICEKIT_DRIVER_FUNCTIONS(DEVICEKIT_NAME)}) {
        SCOPED_TRACE(function);
        const bool givesBack = function.find("Free") != std::string::npos ||
                               function.find("Destroy") != std::string::npos || function == "cuModuleUnload" ||
                               function == "cuDevicePrimaryCtxRelease" || function == "cuCtxPopCurrent";
        if (givesBack || function == "cuInit" || function == "cuDeviceGetCount") {
            continue; // what it does not take back stays with it
        }
        fakecuda::Reset();
        fakecuda::FailCalls(function, DK::kResult_UnknownFailure);
        auto device = DK::GetDevice(0);
        ASSERT_FALSE(device->IsHost());
        EXPECT_EQ(UseEverything(device), harmless.find(function + " ") != std::string::npos);
        device.reset();
        fakecuda::Reset();
        EXPECT_TRUE(UseEverything(DK::GetDevice(0))) << "it works again when the driver does";
        EXPECT_EQ(fakecuda::GetHeld(), fakecuda::Held{});
    }
}

TEST_F(FailingDriver, WithoutADeviceThereIsTheHost) {
    DK::Details::DriverLibrary driver;
    EXPECT_FALSE(driver.Load("libno-such-driver.so.1"));
    EXPECT_FALSE(driver.Load("libm.so.6")) << "it has none of the functions";
    EXPECT_EQ(DK::DescribeDriver(), "CUDA driver 12.4");
    const auto gpu = DK::GetDefaultDevice();
    EXPECT_EQ(gpu->GetName(), "Fake GPU 0");
    for (const int count : {0, 3}) {
        fakecuda::SetDeviceCount(count);
        EXPECT_EQ(DK::EnumerateDevices().size(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(DK::GetHostDevice()->GetIndex(), static_cast<std::uint32_t>(count));
        EXPECT_TRUE(UseEverything(DK::GetHostDevice()));
    }
    fakecuda::SetDeviceCount(0);
    EXPECT_EQ(DK::DescribeDriver(), "CUDA driver without a device: CUDA_ERROR_NO_DEVICE (100)");
    fakecuda::FailCalls("cuInit", 999);
    EXPECT_EQ(DK::EnumerateDevices().size(), 1U);
    EXPECT_EQ(DK::DescribeDriver(), "CUDA driver without a device: unknown error (999)");
}

TEST_F(FailingDriver, OutOfMemoryGivesTheIdleUpFirst) {
    const auto device = DK::GetDevice(0);
    device->SetIdleLimits(48 << 20, 0);
    void* const first = device->AllocateCUDAMemory(40 << 20);
    FrameRef held;
    ASSERT_EQ(VF::CreatePinnedMemoryVideoFrame(held, device, kFloats, 8, 4, {1, 1}, zynmediatypes::kFieldType_NotSet),
              0);
    FrameRef frame = held;
    EXPECT_EQ(VF::CreateGPUVideoFrame(frame, device, kFloats, 2048, 1100, {1, 1}, zynmediatypes::kFieldType_NotSet),
              static_cast<std::int32_t>(0xA00F0006));
    EXPECT_EQ(frame, held);
    device->FreeCUDAMemory(first, {});
    EXPECT_EQ(device->GetCUDAMemoryStatistics().bytesIdle, 40U << 20);
    EXPECT_EQ(VF::CreateGPUVideoFrame(frame, device, kFloats, 2048, 1100, {1, 1}, zynmediatypes::kFieldType_NotSet), 0);
    EXPECT_FALSE(frame->CreateCompatibleFrame()) << "there is no room for a second one";
    EXPECT_EQ(device->GetCUDAMemoryStatistics().bytesIdle, 0U);
}

TEST_F(FailingDriver, ALostDeviceAnswersItsError) {
    auto device = DK::GetDevice(0);
    const auto event = device->CreateEvent();
    FrameRef frame;
    ASSERT_EQ(VF::CreateGPUVideoFrame(frame, device, kFloats, 8, 4, {1, 1}, zynmediatypes::kFieldType_NotSet), 0);
    fakecuda::LoseDevice(719);
    EXPECT_EQ(device->Synchronize(), 719);
    EXPECT_EQ(event->Query(), 719);
    EXPECT_EQ(event->Wait(), 719);
    EXPECT_EQ(BRT::QueryInterface<RK::IVideoFrameClearable>(frame)->FillWithOpaqueBlack(),
              static_cast<std::int32_t>(0xA00F0001));
    EXPECT_FALSE(frame->CreateCompatibleFrame());
    BRT::QueryInterface<VF::ICompletionEventVideoFrame>(frame)->SetCompletionEvent(event);
    frame.Reset();
    EXPECT_EQ(device->GetCUDAMemoryStatistics().bytesInUse, 0U);
    EXPECT_EQ(device->AllocatePinnedMemory(100), nullptr);
    EXPECT_TRUE(UseEverything(DK::GetHostDevice()));
    fakecuda::Reset(); // the driver takes back only now, for the next test
}

// Work is not done when a call with an event returns, so nothing of it may be used again.
TEST_F(FailingDriver, WorkThatIsNotDoneKeepsItsMemory) {
    const auto device = DK::GetDevice(0);
    const auto event = device->CreateEvent();
    auto* const pinned = static_cast<std::uint8_t*>(device->AllocatePinnedMemory(1000));
    void* const memory = device->AllocateCUDAMemory(1000);
    std::fill_n(pinned, 1000, std::uint8_t{9});
    fakecuda::HoldQueues(true);
    EXPECT_EQ(DK::CopyRowsToDevice(device, {memory, 0}, {pinned, 0}, 1000, 1, event), 0);
    EXPECT_EQ(event->Query(), DK::kResult_NotReady);
    device->FreePinnedMemory(pinned, event);
    void* const other = device->AllocatePinnedMemory(1000);
    EXPECT_NE(other, pinned);
    std::vector<std::uint8_t> back(1000);
    EXPECT_EQ(DK::CopyRowsToHost(device, {back.data(), 0}, {memory, 0}, 1000, 1), 0) << "which waits for its turn";
    EXPECT_EQ(back, std::vector<std::uint8_t>(1000, 9));
    EXPECT_EQ(event->Query(), 0);
    EXPECT_EQ(device->AllocatePinnedMemory(1000), pinned);
    EXPECT_EQ(DK::CopyRowsToDevice(DK::GetHostDevice(), {back.data(), 0}, {other, 0}, 1, 1, event), 0);
    EXPECT_EQ(DK::CopyRowsToDevice(device, {memory, 0}, {pinned, 0}, 1, 1, DK::GetHostDevice()->CreateEvent()),
              DK::kResult_InvalidValue)
        << "the host's event knows nothing of the GPU's work";
}

TEST_F(FailingDriver, KernelsAreGoodPtx) {
    if (std::string(VF_PTXAS).empty()) {
        GTEST_SKIP() << "ptxas is not installed";
    }
    const std::string file = ::testing::TempDir() + "vf-fill-kernels.ptx";
    std::ofstream(file) << DK::Details::FillKernelText();
    EXPECT_EQ(std::system((VF_PTXAS " --warning-as-error '" + file + "' -o /dev/null").c_str()), 0);
    std::remove(file.c_str());
}

} // namespace
