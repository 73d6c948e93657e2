#include "TestHelpers.h"
#include "zyncore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <random>

namespace {

using namespace zyncore::utility;

/// Bytes of one value in the allocator's memory.
struct Block {
    explicit Block(std::size_t size = 0, unsigned char value = 0) : bytes(size, value), mark(value) {}
    bool Intact() const {
        return reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(std::max_align_t) == 0 &&
               std::ranges::count(bytes, mark) == std::ssize(bytes);
    }
    std::vector<unsigned char, SmallBlockStdAllocator<unsigned char>> bytes;
    unsigned char mark;
};

struct Late {
    ~Late() { EXPECT_TRUE(Block(24, 7).Intact()); }
    Block early;
};

TEST(SmallBlockAllocatorTest, BlocksOfAllSizesDoNotOverlapWithinOrAcrossThreads) {
    std::mutex mutex;
    std::array<Block, 100> shared; // through which blocks pass from the thread that makes them to another
    OnThreads(4, [&](unsigned thread) {
        thread_local Late late; // made before the allocator's own per-thread state, so it dies after it
        late.early = Block(24, 5);
        std::minstd_rand random(thread + 1);
        std::array<Block, 100> own;
        for (int step = 0; step < 4000; ++step) {
            Block& block = own[random() % own.size()];
            EXPECT_TRUE(block.Intact()) << "overwritten by another block, size " << block.bytes.size();
            block = Block(random() % 700, static_cast<unsigned char>(random()));
            const std::lock_guard lock(mutex);
            std::swap(own[random() % own.size()], shared[random() % shared.size()]);
        }
        EXPECT_TRUE(std::ranges::all_of(own, &Block::Intact));
    });
    EXPECT_TRUE(std::ranges::all_of(shared, &Block::Intact));
    SmallBlockAllocator::Dispose(SmallBlockAllocator::Allocate(0), 0);
    SmallBlockAllocator::Dispose(nullptr, 8);
}

} // namespace
