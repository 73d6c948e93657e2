#include "BRTFoundation.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <numeric>
#include <random>

#if defined(VF_SANITIZE_address_undefined)
#include <sanitizer/asan_interface.h>
#endif

namespace {

using namespace BRT;
using Buffer = MemoryRecycler::MemoryBuffer;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::int64_t kIdleTime = MemoryRecycler::kIdleTimeInNanoseconds;

std::atomic<std::int64_t> gNow{0};

class MemoryRecyclerTest : public testing::Test {
protected:
    MemoryRecyclerTest() {
        gNow = 1;
        mRecycler.SetClock([] { return gNow.load(); });
        mRecycler.ReleaseIdleBuffers();
        mStart = mRecycler.GetStatistics();
    }
    ~MemoryRecyclerTest() override {
        mRecycler.SetIdleLimit(MemoryRecycler::kDefaultIdleLimit);
        mRecycler.ReleaseIdleBuffers();
        mRecycler.SetClock(nullptr);
        EXPECT_EQ(mRecycler.GetStatistics().buffersInUse, mStart.buffersInUse);
        EXPECT_EQ(mRecycler.GetStatistics().bytesInUse, mStart.bytesInUse);
        EXPECT_EQ(Idle(), 0u);
    }
    std::uint64_t Idle() const { return mRecycler.GetStatistics().bytesIdle; }
    std::uint64_t Hits() const { return mRecycler.GetStatistics().hits - mStart.hits; }

    /// Holds buffers of these sizes together and returns them one after the other.
    void Return(const std::vector<std::uint64_t>& sizes) {
        std::vector<Buffer> buffers;
        for (const std::uint64_t size : sizes) {
            buffers.push_back(mRecycler.AllocateBuffer(size));
        }
        for (const Buffer& buffer : buffers) {
            mRecycler.RecycleBuffer(buffer);
            ++gNow;
        }
    }

    MemoryRecycler& mRecycler = MemoryRecycler::Instance();
    MemoryRecycler::Statistics mStart;
};

TEST_F(MemoryRecyclerTest, ClassesWasteAtMostAnEighth) {
    std::vector<std::uint64_t> sizes(5000);
    std::iota(sizes.begin(), sizes.end(), 1);
    for (std::uint64_t eighth = 1024; eighth <= 32 * kMiB; eighth *= 2) {
        for (std::uint64_t part = 8; part < 16; ++part) {
            sizes.insert(sizes.end(), {eighth * part - 1, eighth * part, eighth * part + 1});
        }
    }
    for (const std::uint64_t size : sizes) {
        const Buffer buffer = mRecycler.AllocateBuffer(size);
        EXPECT_EQ(buffer.sizeInBytes, size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data) % (size >= 2 * kMiB ? 2 * kMiB : 64), 0u) << size;
        const std::uint64_t held = mRecycler.GetStatistics().bytesInUse - mStart.bytesInUse;
        EXPECT_GE(held, size);
        EXPECT_LE(held - size, std::max<std::uint64_t>(size / 8, 63)) << size;
        static_cast<char*>(buffer.data)[size - 1] = 1;
        mRecycler.RecycleBuffer(buffer);
    }
}

TEST_F(MemoryRecyclerTest, ReturnedBuffersServeTheSameSizeAgain) {
    for (const std::uint64_t size : {std::uint64_t{1000}, 300 * kMiB / 1000, 8 * kMiB - 5}) {
        Buffer buffer = mRecycler.AllocateBuffer(size);
        const void* first = buffer.data;
        std::memset(buffer.data, 1, size);
        mRecycler.RecycleBuffer(buffer);
        const auto before = mRecycler.GetStatistics();
        for (int n = 0; n < 10; ++n) {
            buffer = mRecycler.AllocateBuffer(size);
            EXPECT_EQ(buffer.data, first);
            static_cast<volatile char*>(buffer.data)[size - 1] = 2;
            mRecycler.RecycleBuffer(buffer);
        }
        EXPECT_EQ(mRecycler.GetStatistics().hits, before.hits + 10);
        EXPECT_EQ(mRecycler.GetStatistics().misses, before.misses);
        EXPECT_EQ(mRecycler.GetStatistics().bytesRecycled, before.bytesRecycled + 10 * size);
    }
}

TEST_F(MemoryRecyclerTest, SizesThatCannotExistAreRefused) {
    for (const std::uint64_t size :
         {~0ULL, (1ULL << 63) + 1, 1ULL << 63, (1ULL << 63) - 4096, 1ULL << 62, 1ULL << 45}) {
        EXPECT_THROW(mRecycler.AllocateBuffer(size), std::bad_alloc) << size;
    }
    const Buffer empty = mRecycler.AllocateBuffer(0);
    EXPECT_EQ(empty.data, nullptr);
    mRecycler.RecycleBuffer(empty);
}

TEST_F(MemoryRecyclerTest, IdleBuffersGoBackAtTheNextCallAfterTheIdleTime) {
    Return({kMiB});
    gNow += kIdleTime / 2;
    Return({kMiB / 2}); // a younger buffer
    gNow += kIdleTime / 2;
    EXPECT_EQ(Idle(), kMiB + kMiB / 2) << "nothing happens before the next call";
    Return({100});
    EXPECT_EQ(Idle(), kMiB / 2 + 128) << "the older one goes, the younger one stays";
    gNow += kIdleTime;
    Return({kMiB / 2}); // may still use the expired buffer
    EXPECT_EQ(Hits(), 1u);
    EXPECT_EQ(Idle(), kMiB / 2);
    OnThreads(3, [this](unsigned) { Return(std::vector<std::uint64_t>(100, 8192)); });
    EXPECT_GE(Idle(), 100u * 8192);
    gNow += kIdleTime + 1000;
    Return({100});
    EXPECT_EQ(Idle(), 128u) << "many of several threads go together";
}

TEST_F(MemoryRecyclerTest, TheLimitHoldsAndTheOldestMakeRoom) {
    const auto expectIdle = [&](std::uint64_t limit, const std::vector<std::uint64_t>& returned, std::uint64_t idle) {
        mRecycler.SetIdleLimit(limit);
        Return(returned);
        EXPECT_EQ(Idle(), idle) << "limit " << limit;
    };
    expectIdle(4 * kMiB, {kMiB, 2 * kMiB, kMiB}, 4 * kMiB);
    expectIdle(4 * kMiB, {kMiB / 2}, 3 * kMiB + kMiB / 2); // the first buffer was the oldest
    expectIdle(4 * kMiB, {5 * kMiB}, 3 * kMiB + kMiB / 2); // above the limit: not kept, and drives nothing out
    expectIdle(2 * kMiB, {}, kMiB + kMiB / 2);
    expectIdle(0, {}, 0);
    expectIdle(0, {64}, 0);
    expectIdle(~std::uint64_t{0}, {64, kMiB}, kMiB + 64);
}

TEST_F(MemoryRecyclerTest, ThreadsReuseEachOthersBuffersWithinTheLimit) {
    for (std::uint64_t hits = 0; hits < 10; ++hits) {
        std::jthread([this] { Return({50'000}); }).join();
        EXPECT_EQ(Hits(), hits) << "a buffer serves whichever thread asks next";
    }
    mRecycler.SetIdleLimit(3 * kMiB);
    std::mutex mutex;
    std::array<Buffer, 4> handedOver{};
    OnThreads(4, [&](unsigned thread) {
        std::minstd_rand random(thread + 1);
        for (int step = 0; step < 2000; ++step) {
            Buffer buffer = mRecycler.AllocateBuffer((1 + random() % 4) * 50'000);
            auto* bytes = static_cast<volatile unsigned char*>(buffer.data);
            bytes[0] = static_cast<unsigned char>(thread);
            std::this_thread::yield();
            EXPECT_EQ(bytes[0], thread) << "two holders of one buffer";
            {
                const std::lock_guard lock(mutex);
                std::swap(buffer, handedOver[random() % handedOver.size()]);
            }
            mRecycler.RecycleBuffer(buffer);
            if (step % 100 == 0) {
                EXPECT_LE(Idle(), 3 * kMiB);
                gNow += kIdleTime / 3;
            }
        }
    });
    std::ranges::for_each(handedOver, [this](const Buffer& buffer) { mRecycler.RecycleBuffer(buffer); });
}

#if defined(VF_SANITIZE_address_undefined)
TEST_F(MemoryRecyclerTest, IdleBuffersAndSlackAreForbidden) {
    for (const std::uint64_t size : {1001, 100'001, 131'072}) {
        const Buffer buffer = mRecycler.AllocateBuffer(size);
        auto* bytes = static_cast<char*>(buffer.data);
        EXPECT_FALSE(__asan_region_is_poisoned(bytes, size));
        EXPECT_TRUE(__asan_address_is_poisoned(bytes + size)) << size;
        mRecycler.RecycleBuffer(buffer);
        EXPECT_TRUE(__asan_address_is_poisoned(bytes));
        EXPECT_TRUE(__asan_address_is_poisoned(bytes + size - 1));
    }
}
#endif

} // namespace
