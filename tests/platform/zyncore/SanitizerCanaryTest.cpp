/// Faults that a sanitizer build must catch. They fail when the sanitizer is off, so that a clean run of the other
/// tests means something.

#include "zyncore.h"

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

/// Writes value on two threads at once that nothing orders.
class RacingWriter {
public:
    void Write() {
        mStarted.fetch_add(1, std::memory_order_relaxed);
        while (mStarted.load(std::memory_order_relaxed) < 2) {
            std::this_thread::yield();
        }
        for (int n = 0; n < 1000; ++n) {
            mValue = n;
        }
    }

private:
    volatile int mValue = 0;
    std::atomic<int> mStarted{0};
};

TEST(SanitizerCanaryTest, DataRaceIsCaught) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            RacingWriter writer;
            std::jthread first(&RacingWriter::Write, &writer);
            std::jthread second(&RacingWriter::Write, &writer);
            first.join();
            second.join();
            std::exit(0);
        },
        EndedWithAnError, "data race");
}

TEST(SanitizerCanaryTest, DataRaceBetweenPoolTasksIsCaught) {
    if (zyncore::threads::ProcessorCount() < 2) {
        GTEST_SKIP() << "one processor";
    }
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            RacingWriter writer;
            zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors([&](std::uint64_t) { writer.Write(); }, 2);
            std::exit(0);
        },
        EndedWithAnError, "data race");
}

#endif

} // namespace
