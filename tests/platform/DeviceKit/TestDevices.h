#pragma once

#include "DeviceKit.h"
#ifdef VF_FAKE_DRIVER
#include "FakeCudaDriver.h"
#endif

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vftest {

/// Tests that hold for every device. They run on the host device and on the machine's first GPU, if it has one; built
/// with VF_FAKE_DRIVER on the driver of FakeCudaDriver.h, to which everything must have been given back at the end.
class EveryDevice : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
#ifdef VF_FAKE_DRIVER
        fakecuda::Reset();
#endif
        if (GetParam() == std::string("Host")) {
            device = DK::GetHostDevice();
        } else if (device = DK::GetDefaultDevice(); device->IsHost()) {
            device.reset();
            GTEST_SKIP() << "no GPU: " << DK::DescribeDriver();
        }
    }
    void TearDown() override {
#ifdef VF_FAKE_DRIVER
        device.reset();
        EXPECT_EQ(fakecuda::GetHeld(), fakecuda::Held{}) << "something was not given back";
#endif
    }

    boost::shared_ptr<DK::Device> device;
};

#ifdef VF_FAKE_DRIVER
#define VF_TEST_DEVICES ::testing::Values("GPU")
#define VF_TEST_PREFIX FakeDriver
#else
#define VF_TEST_DEVICES ::testing::Values("Host", "GPU")
#define VF_TEST_PREFIX Devices
#endif
#define VF_INSTANTIATE_AS(prefix, suite)                                                                               \
    INSTANTIATE_TEST_SUITE_P(prefix, suite, VF_TEST_DEVICES, [](const auto& kind) { return std::string(kind.param); })
#define VF_INSTANTIATE_EXPANDED(prefix, suite) VF_INSTANTIATE_AS(prefix, suite)
#define VF_INSTANTIATE_FOR_DEVICES(suite) VF_INSTANTIATE_EXPANDED(VF_TEST_PREFIX, suite)

/// Device memory that is freed at the end of its scope.
class DeviceMemory {
public:
    DeviceMemory(boost::shared_ptr<DK::Device> device, const std::vector<std::uint8_t>& bytes)
        : mDevice(std::move(device)), mBytes(bytes.size()), mData(mDevice->AllocateCUDAMemory(mBytes)) {
        EXPECT_EQ(DK::CopyRowsToDevice(mDevice, {mData, 0}, {bytes.data(), 0}, mBytes, 1), 0);
    }
    ~DeviceMemory() { mDevice->FreeCUDAMemory(mData, {}); }
    DeviceMemory(const DeviceMemory&) = delete;
    DeviceMemory& operator=(const DeviceMemory&) = delete;

    std::uint8_t* Data() const { return static_cast<std::uint8_t*>(mData); }
    std::vector<std::uint8_t> Bytes() const {
        std::vector<std::uint8_t> bytes(mBytes);
        EXPECT_EQ(DK::CopyRowsToHost(mDevice, {bytes.data(), 0}, {mData, 0}, mBytes, 1), 0);
        return bytes;
    }

private:
    boost::shared_ptr<DK::Device> mDevice;
    std::size_t mBytes;
    void* mData;
};

} // namespace vftest
