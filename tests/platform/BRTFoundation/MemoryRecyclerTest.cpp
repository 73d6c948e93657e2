#include "BRTFoundation.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

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
    void SetUp() override {
        gNow = 1;
        mRecycler.SetClock([] { return gNow.load(); });
        mRecycler.ReleaseIdleBuffers();
        mStart = mRecycler.GetStatistics();
    }
    void TearDown() override {
        mRecycler.SetIdleLimit(MemoryRecycler::kDefaultIdleLimit);
        mRecycler.ReleaseIdleBuffers();
        mRecycler.SetClock(nullptr);
        const auto end = mRecycler.GetStatistics();
        EXPECT_EQ(end.buffersInUse, mStart.buffersInUse);
        EXPECT_EQ(end.bytesInUse, mStart.bytesInUse);
        EXPECT_EQ(end.bytesIdle, 0u);
    }
    std::uint64_t Idle() const { return mRecycler.GetStatistics().bytesIdle; }
    std::uint64_t Hits() const { return mRecycler.GetStatistics().hits - mStart.hits; }
    void Return(std::initializer_list<std::uint64_t> sizes) {
        std::vector<Buffer> buffers;
        for (const std::uint64_t size : sizes) {
            buffers.push_back(mRecycler.AllocateBuffer(size));
        }
        for (const Buffer& buffer : buffers) {
            mRecycler.RecycleBuffer(buffer);
            ++gNow; // returned one after the other
        }
    }

    MemoryRecycler& mRecycler = MemoryRecycler::Instance();
    MemoryRecycler::Statistics mStart;
};

TEST_F(MemoryRecyclerTest, ClassesWasteAtMostAnEighth) {
    std::vector<std::uint64_t> sizes;
    for (std::uint64_t size = 1; size <= 5000; ++size) {
        sizes.push_back(size);
    }
    for (std::uint64_t power = 8192; power <= 256 * kMiB; power *= 2) {
        for (std::uint64_t part = 8; part < 16; ++part) {
            for (const int offset : {-1, 0, 1}) {
                sizes.push_back(power / 8 * part + static_cast<std::uint64_t>(offset));
            }
        }
    }
    for (const std::uint64_t size : sizes) {
        const Buffer buffer = mRecycler.AllocateBuffer(size);
        EXPECT_EQ(buffer.sizeInBytes, size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data) % (size >= 2 * kMiB ? 2 * kMiB : 64), 0u) << size;
        const std::uint64_t held = mRecycler.GetStatistics().bytesInUse - mStart.bytesInUse;
        EXPECT_GE(held, size);
        EXPECT_LE(held - size, std::max<std::uint64_t>(size / 8, 63)) << size;
        auto* bytes = static_cast<volatile char*>(buffer.data);
        bytes[0] = 1;
        bytes[size - 1] = 1;
        mRecycler.RecycleBuffer(buffer);
    }
}

TEST_F(MemoryRecyclerTest, ReturnedBuffersServeTheSameSizeAgainWithoutPageFaults) {
    for (const std::uint64_t size : {std::uint64_t{1000}, 300 * kMiB / 1000, 8 * kMiB - 5}) {
        Buffer buffer = mRecycler.AllocateBuffer(size);
        const void* first = buffer.data;
        std::memset(buffer.data, 1, size);
        mRecycler.RecycleBuffer(buffer);
        const auto before = mRecycler.GetStatistics();
        rusage usageBefore{};
        getrusage(RUSAGE_THREAD, &usageBefore);
        for (int n = 0; n < 10; ++n) {
            buffer = mRecycler.AllocateBuffer(size);
            EXPECT_EQ(buffer.data, first);
            static_cast<volatile char*>(buffer.data)[size - 1] = 2;
            mRecycler.RecycleBuffer(buffer);
        }
        rusage usageAfter{};
        getrusage(RUSAGE_THREAD, &usageAfter);
#if !defined(VF_SANITIZE_address_undefined) && !defined(VF_SANITIZE_thread)
        EXPECT_EQ(usageAfter.ru_minflt, usageBefore.ru_minflt);
#endif
        const auto after = mRecycler.GetStatistics();
        EXPECT_EQ(after.hits, before.hits + 10);
        EXPECT_EQ(after.misses, before.misses);
        EXPECT_EQ(after.bytesRecycled, before.bytesRecycled + 10 * size);
    }
}

TEST_F(MemoryRecyclerTest, BuffersInUseAreApart) {
    std::vector<Buffer> buffers;
    for (int n = 0; n < 40; ++n) {
        buffers.push_back(mRecycler.AllocateBuffer(70'000));
        std::memset(buffers.back().data, n, buffers.back().sizeInBytes);
    }
    EXPECT_EQ(mRecycler.GetStatistics().buffersInUse, mStart.buffersInUse + 40);
    for (int n = 0; n < 40; ++n) {
        const auto* bytes = static_cast<const unsigned char*>(buffers[n].data);
        EXPECT_EQ(bytes[0], n);
        EXPECT_EQ(bytes[69'999], n);
        mRecycler.RecycleBuffer(buffers[n]);
    }
}

TEST_F(MemoryRecyclerTest, SizesThatCannotExistAreRefused) {
    for (const std::uint64_t size :
         {~std::uint64_t{0}, (std::uint64_t{1} << 63) + 1, std::uint64_t{1} << 63, (std::uint64_t{1} << 63) - 4096,
          std::uint64_t{1} << 62, (std::uint64_t{1} << 47) + 1, std::uint64_t{1} << 45}) {
        EXPECT_THROW(mRecycler.AllocateBuffer(size), std::bad_alloc) << size;
    }
    const Buffer empty = mRecycler.AllocateBuffer(0);
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(empty.sizeInBytes, 0u);
    mRecycler.RecycleBuffer(empty);
    mRecycler.RecycleBuffer({});
}

TEST_F(MemoryRecyclerTest, IdleBuffersGoBackAtTheNextCallAfterTheIdleTime) {
    Return({kMiB});
    gNow += kIdleTime / 2;
    Return({kMiB / 2}); // a younger buffer
    EXPECT_EQ(Idle(), kMiB + kMiB / 2);
    gNow += kIdleTime / 2;
    EXPECT_EQ(Idle(), kMiB + kMiB / 2) << "nothing happens before the next call";
    Return({100});
    EXPECT_EQ(Idle(), kMiB / 2 + 128) << "the older one goes, the younger one stays";
    gNow += kIdleTime;
    mRecycler.RecycleBuffer(mRecycler.AllocateBuffer(kMiB / 2)); // may still use the expired buffer
    EXPECT_EQ(Hits(), 1u);
    EXPECT_EQ(Idle(), kMiB / 2);
}

TEST_F(MemoryRecyclerTest, ManyExpiredBuffersOfAllThreadsGoTogether) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this] { Return(std::initializer_list<std::uint64_t>{4096, 4096, 40'000, 50'000}); });
    }
    threads.clear();
    std::vector<Buffer> buffers;
    for (int n = 0; n < 200; ++n) {
        buffers.push_back(mRecycler.AllocateBuffer(8192));
    }
    for (const Buffer& buffer : buffers) {
        mRecycler.RecycleBuffer(buffer);
    }
    EXPECT_GT(Idle(), 200u * 8192);
    gNow += kIdleTime + 100;
    mRecycler.RecycleBuffer(mRecycler.AllocateBuffer(100));
    EXPECT_EQ(Idle(), 128u);
}

TEST_F(MemoryRecyclerTest, TheLimitHoldsAndTheOldestMakeRoom) {
    mRecycler.SetIdleLimit(4 * kMiB);
    Return({kMiB, 2 * kMiB, kMiB});
    EXPECT_EQ(Idle(), 4 * kMiB);
    Return({kMiB / 2});
    EXPECT_EQ(Idle(), 3 * kMiB + kMiB / 2) << "the first buffer was the oldest";
    Return({5 * kMiB});
    EXPECT_EQ(Idle(), 3 * kMiB + kMiB / 2) << "a buffer above the limit is not kept and drives nothing out";
    mRecycler.SetIdleLimit(2 * kMiB);
    EXPECT_EQ(Idle(), kMiB + kMiB / 2);
    mRecycler.SetIdleLimit(0);
    EXPECT_EQ(Idle(), 0u);
    Return({64});
    EXPECT_EQ(Idle(), 0u);
    mRecycler.SetIdleLimit(~std::uint64_t{0});
    Return({64, kMiB});
    EXPECT_EQ(Idle(), kMiB + 64);
}

TEST_F(MemoryRecyclerTest, ThreadsReuseEachOthersBuffersWithinTheLimit) {
    constexpr std::uint64_t kLimit = 3 * kMiB;
    mRecycler.SetIdleLimit(kLimit);
    std::mutex mutex;
    std::vector<Buffer> handedOver;
    {
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&, thread] {
                std::minstd_rand random(thread + 1);
                for (int step = 0; step < 2000; ++step) {
                    const std::uint64_t size = (1 + random() % 4) * 50'000;
                    Buffer buffer = mRecycler.AllocateBuffer(size);
                    auto* bytes = static_cast<unsigned char*>(buffer.data);
                    bytes[0] = bytes[size - 1] = static_cast<unsigned char>(thread);
                    std::this_thread::yield();
                    EXPECT_EQ(bytes[0], thread) << "two holders of one buffer";
                    EXPECT_EQ(bytes[size - 1], thread);
                    {
                        const std::lock_guard lock(mutex);
                        handedOver.push_back(buffer);
                        buffer = handedOver[random() % handedOver.size()];
                        std::erase_if(handedOver, [&](const Buffer& other) { return other.data == buffer.data; });
                    }
                    mRecycler.RecycleBuffer(buffer);
                    if (step % 100 == 0) {
                        EXPECT_LE(Idle(), kLimit);
                        gNow += kIdleTime / 3;
                    }
                }
            });
        }
    }
    EXPECT_TRUE(handedOver.empty());
    EXPECT_GT(Hits(), 0u);
}

TEST_F(MemoryRecyclerTest, ABufferServesWhicheverThreadAsksNext) {
    Return({50'000});
    for (std::uint64_t thread = 1; thread <= 10; ++thread) {
        std::jthread([this] { Return({50'000}); }).join();
        EXPECT_EQ(Hits(), thread);
    }
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
