/// Faults that a sanitizer build must catch. They fail when the sanitizer is off, so that a clean run of the other
/// tests means something.

#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <memory>

#if !defined(VF_SANITIZE_address_undefined) && !defined(VF_SANITIZE_thread)
#error "This set of sanitizers has no canary yet: add a fault that it must catch."
#endif

namespace {

template <class Fault>
void ExpectCaught(const Fault& fault, const char* report) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto ended = [&] {
        fault();
        std::exit(0);
    };
    EXPECT_EXIT(
        ended(), [](int status) { return !WIFEXITED(status) || WEXITSTATUS(status) != 0; }, report);
}

#if defined(VF_SANITIZE_address_undefined)
TEST(SanitizerCanaryTest, OverflowsOfMemoryAndNumbersAreCaught) {
    const auto writeBehindABlock = [] {
        volatile std::size_t index = 16;
        const auto block = std::make_unique<volatile char[]>(16);
        block[index] = 1;
    };
    const auto overflow = [] {
        volatile int value = std::numeric_limits<int>::max();
        value = value + 1;
    };
    ExpectCaught(writeBehindABlock, "heap-buffer-overflow");
    ExpectCaught(overflow, "signed integer overflow");
}
#endif

#if defined(VF_SANITIZE_thread)
TEST(SanitizerCanaryTest, RacesBetweenThreadsAndBetweenPoolTasksAreCaught) {
    volatile int value = 0;
    std::atomic<int> started{0};
    const auto write = [&](std::uint64_t) {
        started.fetch_add(1, std::memory_order_relaxed);
        while (started.load(std::memory_order_relaxed) < 2) {
            std::this_thread::yield();
        }
        for (int n = 0; n < 1000; ++n) {
            value = n;
        }
    };
    ExpectCaught([&] { OnThreads(2, write); }, "data race");
    if (zyncore::threads::ProcessorCount() >= 2) {
        ExpectCaught([&] { zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(write, 2); }, "data race");
    }
}
#endif

} // namespace
