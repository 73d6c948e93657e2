#include "zyncore.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace zyncore::threads;

TEST(MainThreadQueueTest, RunsCallsInOrderAndLeavesNewOnesForNextTime) {
    std::vector<int> ran;
    AsyncCallFromMainThread([&] {
        ran.push_back(1);
        AsyncCallFromMainThread([&] { ran.push_back(3); });
    });
    AsyncCallFromMainThread([&] { ran.push_back(2); });
    EXPECT_TRUE(ran.empty());
    EXPECT_EQ(RunMainThreadCalls(), 2u);
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
    EXPECT_EQ(RunMainThreadCalls(), 1u);
    EXPECT_EQ(RunMainThreadCalls(), 0u);
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST(MainThreadQueueTest, TheFirstExceptionComesAfterAllCalls) {
    int ran = 0;
    AsyncCallFromMainThread([] { throw std::runtime_error("first"); });
    AsyncCallFromMainThread([] { throw std::logic_error("second"); });
    AsyncCallFromMainThread([&] { ++ran; });
    EXPECT_THROW(RunMainThreadCalls(), std::runtime_error);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(RunMainThreadCalls(), 0u);
}

TEST(MainThreadQueueTest, WhatACallHoldsDiesWithIt) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watch = held;
    AsyncCallFromMainThread([held] { ++*held; });
    held.reset();
    EXPECT_FALSE(watch.expired());
    AsyncCallFromMainThread([watch] { EXPECT_TRUE(watch.expired()); });
    EXPECT_EQ(RunMainThreadCalls(), 2u);
}

TEST(MainThreadQueueTest, TakesCallsFromEveryThread) {
    constexpr int kThreads = 3;
    constexpr int kEach = 200;
    std::vector<int> next(kThreads);
    std::size_t ran = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&next, thread] {
                for (int n = 0; n < kEach; ++n) {
                    AsyncCallFromMainThread([&next, thread, n] { EXPECT_EQ(next[thread]++, n); });
                }
            });
        }
        ran += RunMainThreadCalls();
    }
    ran += RunMainThreadCalls();
    EXPECT_EQ(ran, static_cast<std::size_t>(kThreads * kEach));
}

} // namespace
