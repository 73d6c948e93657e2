#include "zyncore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

namespace {

using namespace zyncore::threads;

TEST(ProcessorPoolTest, RunsEveryNumberOnce) {
    for (const std::uint64_t count : {0, 1, 2, 3, 17, 10000}) {
        std::vector<int> runs(count); // not atomic: the call itself must order the tasks before its return
        ExecuteCPUBoundTaskOnAllProcessors([&](std::uint64_t n) { ++runs.at(n); }, count);
        EXPECT_EQ(runs, std::vector<int>(count, 1)) << count;
    }
}

TEST(ProcessorPoolTest, UsesSeveralThreadsAndTheCallersOwn) {
    if (ProcessorCount() < 2) {
        GTEST_SKIP() << "one processor";
    }
    // Each task waits for the other; only when they do not run at the same time does the deadline end the wait.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::atomic<int> arrived{0};
    std::mutex mutex;
    std::set<std::uint64_t> threads;
    ExecuteCPUBoundTaskOnAllProcessors(
        [&](std::uint64_t) {
            {
                const std::lock_guard lock(mutex);
                threads.insert(GetCurrentThreadID());
            }
            ++arrived;
            while (arrived < 2 && std::chrono::steady_clock::now() < deadline) {
                std::this_thread::yield();
            }
        },
        2);
    EXPECT_EQ(threads.size(), 2u);
    EXPECT_TRUE(threads.contains(GetCurrentThreadID()));
}

TEST(ProcessorPoolTest, RethrowsOneExceptionAfterAllHaveRun) {
    for (const std::uint64_t count : {1, 100}) {
        std::atomic<std::uint64_t> runs{0};
        EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors(
                         [&](std::uint64_t) {
                             ++runs;
                             throw std::runtime_error("task");
                         },
                         count),
                     std::runtime_error);
        EXPECT_EQ(runs, count);
    }
    EXPECT_THROW(ExecuteCPUBoundTaskOnAllProcessors(boost::function<void(std::uint64_t)>(), 3),
                 boost::bad_function_call);
}

TEST(ProcessorPoolTest, NestedCallsFinishAndDoNotPickUpOuterTasks) {
    std::atomic<int> runs{0};
    ExecuteCPUBoundTaskOnAllProcessors(
        [&](std::uint64_t) {
            static thread_local bool inOuter = false;
            EXPECT_FALSE(inOuter) << "an outer task was started in the middle of another on the same thread";
            inOuter = true;
            ExecuteCPUBoundTaskOnAllProcessors(
                [&](std::uint64_t) {
                    std::this_thread::yield();
                    ++runs;
                },
                20);
            inOuter = false;
        },
        50);
    EXPECT_EQ(runs, 1000);
}

TEST(ProcessorPoolTest, CallsFromSeveralThreadsDoNotDisturbEachOther) {
    std::vector<std::jthread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                std::vector<std::uint64_t> squares(64);
                ExecuteCPUBoundTaskOnAllProcessors([&](std::uint64_t n) { squares.at(n) = n * n; }, squares.size());
                for (std::uint64_t n = 0; n < squares.size(); ++n) {
                    ASSERT_EQ(squares[n], n * n);
                }
            }
        });
    }
}

} // namespace
