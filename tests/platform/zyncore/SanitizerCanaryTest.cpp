/// Faults that a sanitizer build must catch. They fail when the sanitizer is off, so that a clean run of the other
/// tests means something.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <memory>
#include <thread>

#if !defined(VF_SANITIZE_address_undefined) && !defined(VF_SANITIZE_thread)
#error "This set of sanitizers has no canary yet: add a fault that it must catch."
#endif

namespace {

[[maybe_unused]] bool EndedWithAnError(int status) {
    return !WIFEXITED(status) || WEXITSTATUS(status) != 0;
}

#if defined(VF_SANITIZE_address_undefined)

TEST(SanitizerCanaryTest, HeapOverflowIsCaught) {
    EXPECT_EXIT(
        {
            volatile std::size_t index = 16;
            const auto block = std::make_unique<volatile char[]>(16);
            block[index] = 1;
            std::exit(0);
        },
        EndedWithAnError, "heap-buffer-overflow");
}

TEST(SanitizerCanaryTest, SignedOverflowIsCaught) {
    EXPECT_EXIT(
        {
            volatile int value = std::numeric_limits<int>::max();
            value = value + 1;
            std::exit(0);
        },
        EndedWithAnError, "signed integer overflow");
}

#endif

#if defined(VF_SANITIZE_thread)

TEST(SanitizerCanaryTest, DataRaceIsCaught) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            volatile int value = 0;
            std::atomic<int> started{0};
            const auto write = [&] {
                // Relaxed: both threads run at once, and nothing orders their writes.
                started.fetch_add(1, std::memory_order_relaxed);
                while (started.load(std::memory_order_relaxed) < 2) {
                    std::this_thread::yield();
                }
                for (int n = 0; n < 1000; ++n) {
                    value = n;
                }
            };
            {
                const std::jthread first(write);
                const std::jthread second(write);
            }
            std::exit(0);
        },
        EndedWithAnError, "data race");
}

#endif

} // namespace
