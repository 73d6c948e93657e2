#include "PixelBlitter.h"
#include "TestDevices.h"
#include "TestHelpers.h"

#include <boost/make_shared.hpp>

#include <cstring>
#include <numeric>
#include <thread>

namespace {

using namespace vftest;
using zynmediatypes::PixelFormatSize;

// Every format, rows with and without gaps, upwards and at odd addresses: the converter's bytes, and no other is
// touched.
TEST_P(EveryDevice, FillsGiveTheConvertersBytes) {
    using DeviceFill =
        int (*)(const boost::shared_ptr<DK::Device>&, const void*, int, zynmediatypes::PixelFormat, int, int) noexcept;
    using ConverterFill = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;
    const std::pair<DeviceFill, ConverterFill> fills[] = {{DK::FillWithOpaqueBlack, PB_FillWithOpaqueBlack},
                                                          {DK::FillWithOpaqueWhite, PB_FillWithOpaqueWhite},
                                                          {DK::FillWithTransparentBlack, PB_FillWithTransparentBlack}};
    for (const zynmediatypes::PixelFormatRow& row : zynmediatypes::kPixelFormatTable) {
        const auto raster = zynmediatypes::DVRaster(zynmediatypes::StorageOf(row.format));
        const bool rows = zynmediatypes::StorageOf(row.format) == zynmediatypes::Storage::Rows;
        for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {300, 3}, {raster.width, raster.height}}) {
            const auto rowBytes = static_cast<int>(PixelFormatSize(row.format, width, 1));
            for (const int stride : {rowBytes, rowBytes + 64, -rowBytes, rowBytes + 1}) {
                if (!rows && stride != rowBytes) {
                    continue;
                }
                SCOPED_TRACE(std::string(row.constant) + " " + std::to_string(width) + " " + std::to_string(stride));
                const std::size_t bytes =
                    rows ? static_cast<std::size_t>(std::abs(stride)) * static_cast<std::size_t>(height)
                         : PixelFormatSize(row.format, width, height);
                const std::size_t start = stride < 0 ? bytes - static_cast<std::size_t>(rowBytes) : 0;
                for (const auto& [fillDevice, fillHost] : fills) {
                    std::vector<std::uint8_t> expected(bytes, 0xA5);
                    const DeviceMemory memory(device, expected);
                    const bool done =
                        row.converterValue != 0 && fillHost(expected.data() + start, stride, width, height,
                                                            static_cast<PB_PixelFormat>(row.converterValue)) == 0;
                    const int result = fillDevice(device, memory.Data() + start, stride, row.format, width, height);
                    ASSERT_EQ(result, done || bytes == 0 ? 0 : DK::kResult_NotSupported);
                    ASSERT_EQ(memory.Bytes(), expected);
                }
            }
        }
    }
}

TEST_P(EveryDevice, FillsStayInTheirMemory) {
    const auto format = zynmediatypes::kPixelFormat_BGRA_4444_8u;
    const DeviceMemory memory(device, std::vector<std::uint8_t>(64 * 9));
    const auto fill = [&](const void* data, int rowBytes, int width, int height) {
        return DK::FillWithOpaqueWhite(device, data, rowBytes, format, width, height);
    };
    EXPECT_EQ(fill(memory.Data(), 64, 16, 10), DK::kResult_InvalidValue);
    EXPECT_EQ(fill(memory.Data() + 4, 64, 16, 9), DK::kResult_InvalidValue);
    EXPECT_EQ(fill(memory.Data(), -64, 16, 2), DK::kResult_InvalidValue);
    EXPECT_EQ(fill(memory.Data(), 60, 16, 9), DK::kResult_InvalidValue);
    EXPECT_EQ(fill(nullptr, 64, 16, 9), DK::kResult_InvalidValue);
    EXPECT_EQ(DK::FillWithOpaqueWhite({}, memory.Data(), 64, format, 16, 9), DK::kResult_InvalidValue);
    EXPECT_EQ(DK::FillWithOpaqueWhite(device, memory.Data(), 64, zynmediatypes::kPixelFormat_Invalid, 16, 9),
              DK::kResult_NotSupported);
    EXPECT_EQ(fill(nullptr, 0, 0, 9), 0);
    EXPECT_EQ(memory.Bytes(), std::vector<std::uint8_t>(64 * 9)) << "a refusal wrote";
    EXPECT_EQ(fill(memory.Data() + 64 * 8, -64, 16, 9), 0);
}

// 5 rows of 24 bytes between every pair of strides, each way, with and without an event.
TEST_P(EveryDevice, RowsArriveWhereTheyBelong) {
    constexpr int kRows = 5;
    constexpr std::size_t kUsed = 24;
    constexpr std::size_t kBytes = 5 * 40;
    std::vector<std::uint8_t> source(kBytes);
    std::iota(source.begin(), source.end(), std::uint8_t{1});
    const auto event = device->CreateEvent();
    ASSERT_TRUE(event);
    const auto first = [](auto* data, std::int64_t stride) { return stride < 0 ? data - 4 * stride : data; };
    for (const std::int64_t from : {24, 40, -24, -33}) {
        for (const std::int64_t to : {24, 31, -24, -40}) {
            std::vector<std::uint8_t> expected(kBytes);
            for (int row = 0; row < kRows; ++row) {
                std::memcpy(first(expected.data(), to) + row * to, first(source.data(), from) + row * from, kUsed);
            }
            for (const auto& recorded : {boost::shared_ptr<DK::Event>(), event}) {
                SCOPED_TRACE(std::to_string(from) + " " + std::to_string(to));
                const DeviceMemory a(device, source);
                const DeviceMemory b(device, std::vector<std::uint8_t>(kBytes));
                std::vector<std::uint8_t> host(kBytes);
                EXPECT_EQ(DK::CopyRowsToHost(device, {first(host.data(), to), to}, {first(a.Data(), from), from}, kUsed,
                                             kRows, recorded),
                          0);
                EXPECT_EQ(event->Wait() | event->Query(), 0);
                EXPECT_EQ(host, expected);
                EXPECT_EQ(DK::CopyRowsOnDevice(device, {first(b.Data(), to), to}, {first(a.Data(), from), from}, kUsed,
                                               kRows, recorded),
                          0);
                EXPECT_EQ(b.Bytes(), expected);
                const DeviceMemory c(device, std::vector<std::uint8_t>(kBytes));
                EXPECT_EQ(DK::CopyRowsToDevice(device, {first(c.Data(), to), to}, {first(source.data(), from), from},
                                               kUsed, kRows, recorded),
                          0);
                EXPECT_EQ(device->Synchronize(), 0);
                EXPECT_EQ(c.Bytes(), expected);
            }
        }
    }
}

TEST_P(EveryDevice, CopiesStayInTheirMemory) {
    std::vector<std::uint8_t> host(64 * 10, 7);
    const DeviceMemory memory(device, std::vector<std::uint8_t>(64 * 9));
    const auto copy = [&](std::uint8_t* data, std::int64_t stride, std::uint64_t used, int height) {
        return DK::CopyRowsToDevice(device, {data, stride}, {host.data(), 64}, used, height);
    };
    EXPECT_EQ(copy(memory.Data(), 64, 64, 10), DK::kResult_InvalidValue);
    EXPECT_EQ(copy(memory.Data(), 32, 64, 2), DK::kResult_InvalidValue) << "rows that overlap";
    EXPECT_EQ(copy(memory.Data() + 64, -64, 64, 3), DK::kResult_InvalidValue);
    EXPECT_EQ(copy(memory.Data(), std::int64_t{1} << 62, 1, 9), DK::kResult_InvalidValue);
    EXPECT_EQ(copy(memory.Data(), 64, ~std::uint64_t{0}, 1), DK::kResult_InvalidValue);
    EXPECT_EQ(copy(nullptr, 64, 64, 1), DK::kResult_InvalidValue);
    EXPECT_EQ(copy(nullptr, 64, 0, 1) | copy(nullptr, 64, 64, 0), 0) << "nothing to do";
    EXPECT_EQ(DK::CopyRowsToDevice({}, {memory.Data(), 64}, {host.data(), 64}, 64, 1), DK::kResult_InvalidValue);
    const auto byHand = boost::make_shared<DK::UserEvent>();
    EXPECT_EQ(DK::CopyRowsToDevice(device, {memory.Data(), 64}, {host.data(), 64}, 64, 1, byHand),
              DK::kResult_InvalidValue);
    EXPECT_EQ(memory.Bytes(), std::vector<std::uint8_t>(64 * 9)) << "a refusal wrote";
    void* const freed = device->AllocateCUDAMemory(64);
    device->SetIdleLimits(1 << 20, 1 << 20);
    device->FreeCUDAMemory(freed, {});
    EXPECT_EQ(copy(static_cast<std::uint8_t*>(freed), 64, 64, 1), DK::kResult_InvalidValue);
}

struct Kind {
    void* (DK::Device::*allocate)(std::uint64_t) noexcept;
    void (DK::Device::*free)(void*, const boost::shared_ptr<DK::Event>&) noexcept;
    DK::PoolStatistics (DK::Device::*statistics)() const noexcept;
};
const Kind kKinds[] = {
    {&DK::Device::AllocateCUDAMemory, &DK::Device::FreeCUDAMemory, &DK::Device::GetCUDAMemoryStatistics},
    {&DK::Device::AllocatePinnedMemory, &DK::Device::FreePinnedMemory, &DK::Device::GetPinnedMemoryStatistics}};

TEST_P(EveryDevice, FreedMemoryWaitsForItsEvent) {
    device->SetIdleLimits(1 << 20, 1 << 20);
    for (const Kind& kind : kKinds) {
        const auto allocate = [&](std::uint64_t bytes) { return ((*device).*kind.allocate)(bytes); };
        const auto free = [&](void* data, const boost::shared_ptr<DK::Event>& event) {
            ((*device).*kind.free)(data, event);
        };
        const auto statistics = [&] { return ((*device).*kind.statistics)(); };
        EXPECT_EQ(allocate(0), nullptr);
        EXPECT_EQ(allocate(std::uint64_t{1} << 50), nullptr);
        EXPECT_EQ(allocate(~std::uint64_t{0}), nullptr);
        const auto event = boost::make_shared<DK::UserEvent>();
        EXPECT_EQ(event->Record(), 0);
        void* const first = allocate(5000);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 64, 0U);
        free(first, event);
        free(first, {}); // already free
        free(nullptr, {});
        free(&device, {}); // not its own
        EXPECT_GE(statistics().bytesWaiting, 5000U);
        void* const second = allocate(5000);
        EXPECT_NE(second, first) << "used while somebody reads it";
        event->Complete();
        EXPECT_EQ(allocate(5001), first) << "the size class is the same";
        EXPECT_EQ(statistics().bytesWaiting + statistics().bytesIdle, 0U);

        // What ended with an error is not used again, and a limit is one.
        event->Record();
        free(first, event);
        event->Complete(DK::kResult_UnknownFailure);
        EXPECT_EQ(event->Query(), DK::kResult_UnknownFailure);
        free(second, {});
        EXPECT_EQ(statistics().bytesIdle, 5120U);
        EXPECT_EQ(statistics().bytesWaiting + statistics().bytesInUse, 0U);
        device->ReleaseIdleMemory();
        EXPECT_EQ(statistics().bytesIdle, 0U);
        std::vector<void*> blocks;
        for (int n = 0; n < 3; ++n) {
            blocks.push_back(allocate(500'000));
        }
        std::for_each(blocks.begin(), blocks.end(), [&](void* block) { free(block, {}); });
        EXPECT_EQ(statistics().bytesIdle, 2U << 19) << "two of three";
        EXPECT_EQ(allocate(500'000), blocks[2]);
        free(blocks[2], {});
        device->SetIdleLimits(0, 0);
        EXPECT_EQ(statistics().bytesIdle, 0U);
        device->SetIdleLimits(1 << 20, 1 << 20);
    }
}

// Memory that a thread still reads when its device goes is freed by the thread that completes the event.
TEST_P(EveryDevice, AnEventOutlivesItsDevice) {
    const auto event = boost::make_shared<DK::UserEvent>();
    event->Record();
    auto* const data = static_cast<std::uint8_t*>(device->AllocatePinnedMemory(4096));
    ASSERT_NE(data, nullptr);
    std::memset(data, 3, 4096);
    device->FreePinnedMemory(data, event);
    const auto recorded = device->CreateEvent();
    device.reset();
    EXPECT_EQ(recorded->Record() | recorded->Wait(), 0);
    std::jthread reader([&] {
        EXPECT_EQ(std::accumulate(data, data + 4096, 0), 3 * 4096);
        event->Complete();
    });
    EXPECT_EQ(event->Wait(), 0);
}

// Nobody gets memory that somebody else has, and everything is given back.
TEST_P(EveryDevice, ThreadsShareThePools) {
    device->SetIdleLimits(64 << 10, 64 << 10);
    constexpr unsigned kThreads = 4;
    OnThreads(kThreads, [&](unsigned thread) {
        boost::shared_ptr<DK::UserEvent> event;
        for (int round = 0; round < 200; ++round) {
            const std::size_t bytes = 600 + 700 * static_cast<std::size_t>(round % 7);
            auto* const pinned = static_cast<std::uint8_t*>(device->AllocatePinnedMemory(bytes));
            void* const memory = device->AllocateCUDAMemory(bytes);
            ASSERT_TRUE(pinned && memory);
            std::memset(pinned, static_cast<int>(thread), bytes);
            ASSERT_EQ(DK::CopyRowsToDevice(device, {memory, 0}, {pinned, 0}, bytes, 1), 0);
            ASSERT_EQ(std::count(pinned, pinned + bytes, static_cast<std::uint8_t>(thread)),
                      static_cast<std::ptrdiff_t>(bytes));
            if (event) {
                event->Complete();
            }
            event = boost::make_shared<DK::UserEvent>();
            event->Record();
            device->FreePinnedMemory(pinned, event);
            device->FreeCUDAMemory(memory, round % 2 == 0 ? event : nullptr);
        }
        event->Complete();
    });
    device->SetIdleLimits(0, 0);
    device->ReleaseIdleMemory();
    for (const DK::PoolStatistics& pool : {device->GetCUDAMemoryStatistics(), device->GetPinnedMemoryStatistics()}) {
        EXPECT_EQ(pool.bytesInUse + pool.bytesWaiting + pool.bytesIdle, 0U);
    }
}

TEST_P(EveryDevice, IsOneOfTheList) {
    const auto devices = DK::EnumerateDevices();
    EXPECT_EQ(devices.back(), DK::GetHostDevice());
    EXPECT_EQ(devices.front(), DK::GetDefaultDevice());
    EXPECT_FALSE(DK::GetDevice(static_cast<std::uint32_t>(devices.size())));
    EXPECT_EQ(DK::GetDevice(device->GetIndex()), device) << "one object for everybody";
    EXPECT_EQ(devices.at(device->GetIndex()), device);
    EXPECT_FALSE(device->GetName().empty());
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    EXPECT_EQ(device->GetMemorySize(total, free), 0);
    EXPECT_TRUE(free > 0 && total >= free);
}

VF_INSTANTIATE_FOR_DEVICES(EveryDevice);

} // namespace
