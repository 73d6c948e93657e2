#include "HandleMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace {

// Handles that other code holds do not disturb these counts.
class HandleMemory : public testing::Test {
protected:
    std::uint64_t NewlyLive() const { return KxGetLiveHandleCount() - mLiveBefore; }

private:
    std::uint64_t mLiveBefore = KxGetLiveHandleCount();
};

TEST_F(HandleMemory, ADisposedHandleReadsNullAndStaysAStrangerToLaterOnes) {
    KxHandle const first = KxNewHandle(100);
    KxDisposeHandle(first);
    for (int n = 0; n < kKxReuseDistance; ++n) {
        KxHandle const other = KxNewHandle(1);
        ASSERT_NE(other, first) << n;
        ASSERT_EQ(*first, nullptr);
        KxDisposeHandle(first);
        ASSERT_NE(*other, nullptr);
        KxDisposeHandle(other);
    }
    EXPECT_EQ(NewlyLive(), 0u);
    // It does come back, so the pool does not grow for ever; what was freed before it goes first.
    bool isBack = false;
    for (int n = 0; n < 8 * kKxReuseDistance && !isBack; ++n) {
        KxHandle const other = KxNewHandle(1);
        isBack = other == first;
        KxDisposeHandle(other);
    }
    EXPECT_TRUE(isBack);
}

TEST_F(HandleMemory, WhatNeverWasAHandleIsLeftAlone) {
    char block[8] = "content";
    char* notMaster = block;
    KxHandle const live = KxNewHandle(8);
    for (KxHandle const handle : {KxHandle{nullptr}, &notMaster, reinterpret_cast<KxHandle>(std::uintptr_t{0x10}),
                                  reinterpret_cast<KxHandle>(std::numeric_limits<std::uintptr_t>::max() - 7),
                                  reinterpret_cast<KxHandle>(reinterpret_cast<char*>(live) + 8)}) {
        EXPECT_FALSE(KxIsHandle(handle));
        KxDisposeHandle(handle);
        KxHLock(handle);
        KxHUnlock(handle);
        EXPECT_EQ(KxGetHandleLockCount(handle), 0u);
        EXPECT_EQ(KxGetHandleSize(handle), 0u);
        EXPECT_EQ(KxSetHandleSize(handle, 4), kKxMemoryFull);
        EXPECT_EQ(InsertHandItem(-1, handle, 4, block), kKxMemoryFull);
    }
    EXPECT_EQ(notMaster, block);
    EXPECT_TRUE(KxIsHandle(live));
    KxDisposeHandle(live);
    EXPECT_TRUE(KxIsHandle(live));
    EXPECT_EQ(KxSetHandleSize(live, 4), kKxMemoryFull);
}

TEST_F(HandleMemory, ResizingKeepsTheBytesThatFit) {
    KxHandle const handle = KxNewHandleClear(5);
    EXPECT_EQ(std::string(*handle, 5), std::string(5, '\0'));
    std::memcpy(*handle, "abcde", 5);
    for (const std::size_t size : {std::size_t{100000}, std::size_t{3}, std::size_t{50}}) {
        ASSERT_EQ(KxSetHandleSize(handle, size), kKxNoError);
        EXPECT_EQ(KxGetHandleSize(handle), size);
        EXPECT_EQ(std::string(*handle, 3), "abc");
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(*handle) % 16, 0u);
        (*handle)[size - 1] = 'z'; // for the sanitizer
        std::memcpy(*handle, "abc", 3);
    }
    EXPECT_EQ(KxSetHandleSize(handle, 0), kKxNoError);
    EXPECT_NE(*handle, nullptr);
    for (const std::size_t less : {0, 40}) {
        const std::size_t size = std::numeric_limits<std::size_t>::max() - less;
        EXPECT_EQ(KxSetHandleSize(handle, size), kKxMemoryFull) << less;
        EXPECT_EQ(InsertHandItem(-1, handle, size, "x"), kKxMemoryFull) << less;
        EXPECT_TRUE(!KxNewHandle(size) && !KxNewHandleClear(size) && !KxNewPtr(size)) << less;
    }
    EXPECT_EQ(KxGetHandleSize(handle), 0u);
    KxDisposeHandle(handle);
    EXPECT_EQ(NewlyLive(), 0u);
}

TEST_F(HandleMemory, ALockedBlockStaysWhereItIs) {
    KxHandle const handle = KxNewHandle(10000);
    const char* const block = *handle;
    KxHLock(handle);
    KxHLock(handle);
    KxHUnlock(handle);
    EXPECT_EQ(KxGetHandleLockCount(handle), 1u);
    EXPECT_EQ(KxSetHandleSize(handle, 1000000), kKxMemoryFull);
    EXPECT_EQ(KxGetHandleSize(handle), 10000u);
    EXPECT_EQ(KxSetHandleSize(handle, 10), kKxNoError);
    EXPECT_EQ(*handle, block);
    KxHUnlock(handle);
    KxHUnlock(handle);
    EXPECT_EQ(KxGetHandleLockCount(handle), 0u);
    EXPECT_EQ(KxSetHandleSize(handle, 1000000), kKxNoError);
    KxDisposeHandle(handle);
}

TEST_F(HandleMemory, ItemsAreInsertedAtTheirIndex) {
    KxHandle const handle = KxNewHandle(0);
    EXPECT_EQ(InsertHandItem(-1, handle, 2, "cc"), kKxNoError);
    EXPECT_EQ(InsertHandItem(0, handle, 2, "aa"), kKxNoError);
    EXPECT_EQ(InsertHandItem(1, handle, 2, "bb"), kKxNoError);
    EXPECT_EQ(InsertHandItem(9, handle, 2, "dd"), kKxNoError);
    EXPECT_EQ(InsertHandItem(-1, handle, 2, nullptr), kKxNoError);
    EXPECT_EQ(InsertHandItem(-1, handle, 0, "ee"), kKxNoError);
    EXPECT_EQ(std::string(*handle, KxGetHandleSize(handle)), std::string("aabbccdd\0\0", 10));
    KxDisposeHandle(handle);
}

__attribute__((noinline, visibility("default"))) KxHandle MakeHandleForOriginTest() {
    KxHandle const handle = KxNewHandle(1);
    asm volatile("" ::: "memory"); // keeps this call from becoming a jump
    return handle;
}

TEST_F(HandleMemory, OriginsNameTheCallOnlyWhileRecorded) {
    char text[200];
    const void* calls[4] = {};
    KxHandle const silent = MakeHandleForOriginTest();
    EXPECT_EQ(KxDescribeHandleOrigin(silent, nullptr, text, sizeof text), 0u);
    KxRecordHandleOrigins(1);
    KxHandle const known = MakeHandleForOriginTest();
    KxRecordHandleOrigins(0);
    ASSERT_EQ(KxGetHandleOrigin(known, calls, 4), 4u);
    const auto* const function = reinterpret_cast<const char*>(&MakeHandleForOriginTest);
    EXPECT_TRUE(calls[0] > function && static_cast<const char*>(calls[0]) < function + 256);
    ASSERT_EQ(KxSetHandleSize(known, 100), kKxNoError);
    EXPECT_GT(KxDescribeHandleOrigin(known, nullptr, text, sizeof text), 0u);
    EXPECT_EQ(std::string(text).rfind("test_handle_memory+0x", 0), 0u) << text;
    EXPECT_EQ(KxDescribeHandleOrigin(known, nullptr, text, 5), 4u);
    EXPECT_STREQ(text, "test");
    KxDisposeHandle(silent);
    KxDisposeHandle(known);
}

} // namespace
