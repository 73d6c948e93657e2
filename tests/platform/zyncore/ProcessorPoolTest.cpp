#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>

namespace {

using namespace zyncore::threads;

TEST(ProcessorPoolTest, RunsEveryNumberOnceForEachOfSeveralCallers) {
    OnThreads(4, [](unsigned) {
        for (int round = 0; round < 200; ++round) {
            constexpr std::uint64_t kCounts[] = {0, 1, 2, 3, 64, 1000};
            std::vector<int> runs(kCounts[round % 6]); // not atomic: the call orders the tasks before its return
            ExecuteCPUBoundTaskOnAllProcessors([&](std::uint64_t n) { ++runs.at(n); }, runs.size());
            ASSERT_EQ(runs, std::vector<int>(runs.size(), 1));
        }
    });
}

TEST(ProcessorPoolTest, UsesSeveralThreadsAndTheCallersOwn) {
    if (ProcessorCount() < 2) {
        GTEST_SKIP() << "one processor";
    }
    // Each task waits for the other; only when they do not run at the same time does the deadline end the wait.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::atomic<int> arrived{0};
    std::array<std::uint64_t, 2> threads{};
    const auto task = [&](std::uint64_t n) {
        threads.at(n) = GetCurrentThreadID();
        for (++arrived; arrived < 2 && std::chrono::steady_clock::now() < deadline;) {
            std::this_thread::yield();
        }
    };
    ExecuteCPUBoundTaskOnAllProcessors(task, 2);
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_EQ(std::ranges::count(threads, GetCurrentThreadID()), 1);
}

TEST(ProcessorPoolTest, NestedCallsRethrowAfterAllHaveRunAndDoNotPickUpOuterTasks) {
    std::atomic<int> runs{0};
    const auto inner = [&](std::uint64_t) {
        std::this_thread::yield();
        ++runs;
        throw std::runtime_error("inner");
    };
    const auto outer = [&](std::uint64_t) {
        static thread_local bool inOuter = false;
        EXPECT_FALSE(inOuter) << "an outer task was started in the middle of another on the same thread";
        inOuter = true;
        EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors(inner, 20), std::runtime_error);
        inOuter = false;
        throw std::logic_error("outer");
    };
    EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors(outer, 50), std::logic_error);
    EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors(inner, 1), std::runtime_error);
    EXPECT_EQ(runs, 1001);
    EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors({}, 3), boost::bad_function_call);
}

} // namespace
