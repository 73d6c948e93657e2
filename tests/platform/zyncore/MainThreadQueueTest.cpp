#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

using namespace zyncore::threads;

TEST(MainThreadQueueTest, RunsCallsInOrderLeavesNewOnesForNextTimeAndThrowsAfterAll) {
    std::vector<int> ran;
    AsyncCallFromMainThread([&] {
        ran.push_back(1);
        AsyncCallFromMainThread([&] { ran.push_back(4); });
    });
    AsyncCallFromMainThread([] { throw std::runtime_error("first"); });
    AsyncCallFromMainThread([] { throw std::logic_error("second"); });
    auto held = std::make_shared<int>(2);
    const std::weak_ptr<int> watch = held;
    AsyncCallFromMainThread([&ran, held] { ran.push_back(*held); });
    held.reset();
    AsyncCallFromMainThread([&] { ran.push_back(watch.expired() ? 3 : 0); }); // what a call holds dies with it
    EXPECT_TRUE(ran.empty());
    EXPECT_THROW(RunMainThreadCalls(), std::runtime_error);
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(RunMainThreadCalls(), 1u);
    EXPECT_EQ(RunMainThreadCalls(), 0u);
    EXPECT_EQ(ran.back(), 4);
}

TEST(MainThreadQueueTest, TakesCallsFromEveryThread) {
    std::array<int, 4> next{};
    OnThreads(4, [&](unsigned thread) {
        for (int n = 0; n < 200; ++n) {
            AsyncCallFromMainThread([&next, thread, n] { EXPECT_EQ(next[thread]++, n); });
        }
    });
    EXPECT_EQ(RunMainThreadCalls(), 800u);
}

} // namespace
