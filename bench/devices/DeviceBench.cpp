// What copies to and from each device cost through pinned and through pageable memory, beside a memcpy of the same
// bytes in the same run; what fills cost; and what the pools save.

#include "DeviceKit.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 60;

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

struct Job {
    const char* name;
    std::uint64_t bytes;      ///< that arrive
    std::uint64_t bytesMoved; ///< read and written, together
    std::function<int()> run;
};

// Jobs take turns, and a memcpy with them.
void Run(const std::vector<Job>& jobs, std::size_t memcpyBytes) {
    std::vector<std::uint8_t> source(memcpyBytes, 1);
    std::vector<std::uint8_t> destination(memcpyBytes);
    std::vector<std::vector<double>> times(jobs.size());
    std::vector<double> plain;
    const auto milliseconds = [](Clock::time_point start) {
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    };
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t n = 0; n < jobs.size(); ++n) {
            const auto start = Clock::now();
            if (const int result = jobs[n].run(); result != 0) {
                std::printf("  %s: CUDA error %d\n", jobs[n].name, result);
                return;
            }
            times[n].push_back(milliseconds(start));
        }
        const auto start = Clock::now();
        std::memcpy(destination.data(), source.data(), memcpyBytes);
        plain.push_back(milliseconds(start));
    }
    const double copied = Median(plain);
    for (std::size_t n = 0; n < jobs.size(); ++n) {
        const double time = Median(times[n]);
        const double same = copied * static_cast<double>(jobs[n].bytesMoved) / static_cast<double>(2 * memcpyBytes);
        std::printf("  %-44s %8.3f ms  %6.1f GB/s  memcpy of the same bytes %.3f ms, ratio %.2f\n", jobs[n].name, time,
                    static_cast<double>(jobs[n].bytes) / 1e6 / time, same, same / time);
    }
}

void Bench(const boost::shared_ptr<DK::Device>& device) {
    constexpr int kWidth = 1920;
    constexpr int kHeight = 1080;
    constexpr std::int64_t kRowBytes = kWidth * 4;
    constexpr std::size_t kBytes = static_cast<std::size_t>(kRowBytes) * kHeight;
    void* const memory = device->AllocateCUDAMemory(kBytes * 4);
    void* const pinned = device->AllocatePinnedMemory(kBytes);
    if (memory == nullptr || pinned == nullptr) {
        std::puts("  no memory");
        return;
    }
    std::vector<std::uint8_t> pageable(kBytes, 2);
    std::memset(pinned, 3, kBytes);
    const auto up = [&](const void* from, std::int64_t stride) {
        return [&, from, stride] {
            return DK::CopyRowsToDevice(device, {memory, stride}, {from, kRowBytes}, kRowBytes, kHeight);
        };
    };
    const auto down = [&](void* to) {
        return [&, to] { return DK::CopyRowsToHost(device, {to, kRowBytes}, {memory, kRowBytes}, kRowBytes, kHeight); };
    };
    Run({{"1080p BGRA up, pinned", kBytes, 2 * kBytes, up(pinned, kRowBytes)},
         {"1080p BGRA up, pageable", kBytes, 2 * kBytes, up(pageable.data(), kRowBytes)},
         {"1080p BGRA up, pinned, rows with gaps", kBytes, 2 * kBytes, up(pinned, kRowBytes + 256)},
         {"1080p BGRA down, pinned", kBytes, 2 * kBytes, down(pinned)},
         {"1080p BGRA down, pageable", kBytes, 2 * kBytes, down(pageable.data())},
         {"1080p BGRA fill", kBytes, kBytes,
          [&] {
              return DK::FillWithOpaqueBlack(device, memory, kRowBytes, zynmediatypes::kPixelFormat_BGRA_4444_8u,
                                             kWidth, kHeight);
          }},
         {"1080p BGRA float fill", 4 * kBytes, 4 * kBytes,
          [&] {
              return DK::FillWithOpaqueBlack(device, memory, 4 * kRowBytes, zynmediatypes::kPixelFormat_BGRA_4444_32f,
                                             kWidth, kHeight);
          }}},
        kBytes);

    const auto allocationTime = [&](bool pools) {
        std::vector<double> times;
        for (int round = 0; round < kRounds; ++round) {
            const auto start = Clock::now();
            device->FreePinnedMemory(device->AllocatePinnedMemory(kBytes), {});
            device->FreeCUDAMemory(device->AllocateCUDAMemory(kBytes), {});
            if (!pools) {
                device->ReleaseIdleMemory();
            }
            times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
        return Median(times);
    };
    const double pooled = allocationTime(true);
    std::printf("  pinned and device memory of a 1080p BGRA frame: %.1f us from the pools, %.1f us without\n", pooled,
                allocationTime(false));
    device->FreePinnedMemory(pinned, {});
    device->FreeCUDAMemory(memory, {});
}

} // namespace

int main() {
    std::puts(DK::DescribeDriver().c_str());
    for (const auto& device : DK::EnumerateDevices()) {
        std::printf("%s\n", device->GetName().c_str());
        Bench(device);
    }
    return 0;
}
