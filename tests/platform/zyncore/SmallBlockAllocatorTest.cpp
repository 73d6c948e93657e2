#include "zyncore.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace {

using zyncore::utility::SmallBlockAllocator;

struct Block {
    unsigned char* data;
    std::size_t size;
    unsigned char mark;
};

Block Make(std::size_t size, unsigned char mark) {
    auto* data = static_cast<unsigned char*>(SmallBlockAllocator::Allocate(size));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % alignof(std::max_align_t), 0u);
    std::memset(data, mark, size);
    return {data, size, mark};
}

void CheckAndDispose(const Block& block) {
    for (std::size_t n = 0; n < block.size; ++n) {
        ASSERT_EQ(block.data[n], block.mark) << "overwritten by another block, size " << block.size;
    }
    SmallBlockAllocator::Dispose(block.data, block.size);
}

TEST(SmallBlockAllocatorTest, BlocksOfAllSizesDoNotOverlapWithinOrAcrossThreads) {
    std::mutex mutex;
    std::vector<Block> shared; // blocks that one thread makes and another disposes of
    {
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&, thread] {
                std::minstd_rand random(thread + 1);
                std::vector<Block> own;
                for (int step = 0; step < 4000; ++step) {
                    own.push_back(Make(random() % 700, static_cast<unsigned char>(random())));
                    if (random() % 2 == 0) {
                        std::swap(own[random() % own.size()], own.back());
                        const std::lock_guard lock(mutex);
                        shared.push_back(own.back());
                        std::swap(shared[random() % shared.size()], shared.back());
                        own.back() = shared.back();
                        shared.pop_back();
                    }
                    if (own.size() > 100) {
                        CheckAndDispose(own.back());
                        own.pop_back();
                    }
                }
                const std::lock_guard lock(mutex);
                shared.insert(shared.end(), own.begin(), own.end());
            });
        }
    }
    for (const Block& block : shared) {
        CheckAndDispose(block);
    }
    SmallBlockAllocator::Dispose(nullptr, 8);
}

TEST(SmallBlockAllocatorTest, WorksWhileTheThreadsOwnObjectsDie) {
    struct Late {
        ~Late() { CheckAndDispose(Make(24, 7)); }
        Block early{};
    };
    std::jthread([] {
        thread_local Late late; // made before the allocator's own per-thread state, so it dies after it
        late.early = Make(24, 5);
        CheckAndDispose(late.early);
    });
}

TEST(SmallBlockAllocatorTest, ServesContainers) {
    using Value = std::pair<const int, int>;
    std::map<int, int, std::less<>, zyncore::utility::SmallBlockStdAllocator<Value>> map;
    for (int n = 0; n < 1000; ++n) {
        map[n * 7919 % 1000] = n;
    }
    EXPECT_EQ(map.size(), 1000u);
}

} // namespace
