#include "Immortal.h"
#include "Sanitizers.h"
#include "zyncore.h"

#include <array>
#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

namespace zyncore::utility {
namespace {

using detail::Immortal;

/// Blocks are multiples of the strictest scalar alignment.
constexpr std::size_t kGranuleInBytes = alignof(std::max_align_t);

/// Larger blocks go to the general heap: map nodes and frame objects are smaller, and a pool of large blocks that is
/// never given back would only hold memory.
constexpr std::size_t kLargestPooledInBytes = 512;
constexpr std::size_t kClassCount = kLargestPooledInBytes / kGranuleInBytes;

/// Blocks that move between a thread and the depot under one lock: enough to make the lock rare, at most 16 KiB.
constexpr unsigned kBlocksPerBatch = 32;

/// The sanitizers watch each heap block on its own, which a pool would hide from them.
constexpr bool kUsePools = !detail::kAddressSanitizer && !detail::kThreadSanitizer;

/// A free block. The first block of a batch in the depot also links the batches.
struct FreeBlock {
    FreeBlock* next;
    FreeBlock* nextBatch;
};
static_assert(sizeof(FreeBlock) <= kGranuleInBytes);

constexpr std::size_t ClassOf(std::size_t sizeInBytes) {
    return sizeInBytes == 0 ? 0 : (sizeInBytes - 1) / kGranuleInBytes;
}

/// Free batches of one class that no thread holds.
class Depot {
public:
    /// Returns a batch of at least one block.
    FreeBlock* TakeBatch(std::size_t blockSizeInBytes) {
        {
            const std::lock_guard lock(mMutex);
            if (FreeBlock* batch = mBatches) {
                mBatches = batch->nextBatch;
                return batch;
            }
        }
        auto* slab = static_cast<std::byte*>(::operator new(blockSizeInBytes* kBlocksPerBatch));
        FreeBlock* head = nullptr;
        for (unsigned n = kBlocksPerBatch; n-- > 0;) {
            head = ::new (slab + n * blockSizeInBytes) FreeBlock{head, nullptr};
        }
        return head;
    }

    void GiveBatch(FreeBlock* batch) noexcept {
        const std::lock_guard lock(mMutex);
        batch->nextBatch = mBatches;
        mBatches = batch;
    }

private:
    std::mutex mMutex;
    FreeBlock* mBatches = nullptr;
};

Depot& DepotOf(std::size_t sizeClass) {
    static Immortal<std::array<Depot, kClassCount>> depots;
    return depots.Get()[sizeClass];
}

constexpr std::size_t BlockSizeOf(std::size_t sizeClass) {
    return (sizeClass + 1) * kGranuleInBytes;
}

/// One thread's free blocks of one class: a list in use and one full spare batch, so that a thread that goes back and
/// forth across a batch border does not visit the depot each time.
struct ThreadList {
    FreeBlock* head = nullptr;
    FreeBlock* spare = nullptr;
    unsigned count = 0; ///< never less than the blocks behind head (a batch of an ended thread may be short)
};

struct ThreadCache {
    std::array<ThreadList, kClassCount> lists{};
};

enum class ThreadState : unsigned char { Fresh, Attached, Ended };

// Trivial thread-locals stay readable while other thread-local objects are being destroyed.
constinit thread_local ThreadCache* tCache __attribute__((tls_model("initial-exec"))) = nullptr;
constinit thread_local ThreadState tState = ThreadState::Fresh;

/// Hands a thread's blocks to the depots when the thread ends.
class ThreadCacheOwner {
public:
    ThreadCacheOwner() {
        tCache = &mCache;
        tState = ThreadState::Attached;
    }
    ~ThreadCacheOwner() {
        tCache = nullptr;
        tState = ThreadState::Ended;
        for (std::size_t sizeClass = 0; sizeClass < kClassCount; ++sizeClass) {
            ThreadList& list = mCache.lists[sizeClass];
            for (FreeBlock* batch : {list.head, list.spare}) {
                if (batch) {
                    DepotOf(sizeClass).GiveBatch(batch);
                }
            }
        }
    }
    ThreadCacheOwner(const ThreadCacheOwner&) = delete;
    ThreadCacheOwner& operator=(const ThreadCacheOwner&) = delete;
    void Touch() noexcept {}

private:
    ThreadCache mCache;
};

/// The calling thread's cache, null while the thread's own objects are being destroyed.
ThreadCache* AttachThread() {
    if (tState == ThreadState::Fresh) {
        thread_local ThreadCacheOwner owner;
        owner.Touch();
    }
    return tCache;
}

[[gnu::noinline]] void* AllocateSlowly(std::size_t sizeClass) {
    ThreadCache* cache = tCache ? tCache : AttachThread();
    if (!cache) {
        FreeBlock* batch = DepotOf(sizeClass).TakeBatch(BlockSizeOf(sizeClass));
        if (batch->next) {
            DepotOf(sizeClass).GiveBatch(batch->next);
        }
        return batch;
    }
    ThreadList& list = cache->lists[sizeClass];
    if (!list.head) {
        list.head =
            list.spare ? std::exchange(list.spare, nullptr) : DepotOf(sizeClass).TakeBatch(BlockSizeOf(sizeClass));
        list.count = kBlocksPerBatch;
    }
    --list.count;
    return std::exchange(list.head, list.head->next);
}

[[gnu::noinline]] void DisposeSlowly(FreeBlock* block, std::size_t sizeClass) noexcept {
    ThreadCache* cache = tCache ? tCache : AttachThread();
    if (!cache) {
        block->next = nullptr;
        DepotOf(sizeClass).GiveBatch(block);
        return;
    }
    ThreadList& list = cache->lists[sizeClass];
    if (list.count >= kBlocksPerBatch) {
        if (list.spare) {
            DepotOf(sizeClass).GiveBatch(list.spare);
        }
        list.spare = std::exchange(list.head, nullptr);
        list.count = 0;
    }
    block->next = list.head;
    list.head = block;
    ++list.count;
}

} // namespace

void* SmallBlockAllocator::Allocate(std::size_t sizeInBytes) {
    if (!kUsePools || sizeInBytes > kLargestPooledInBytes) {
        return ::operator new(sizeInBytes);
    }
    const std::size_t sizeClass = ClassOf(sizeInBytes);
    if (ThreadCache* cache = tCache) [[likely]] {
        ThreadList& list = cache->lists[sizeClass];
        if (FreeBlock* block = list.head) [[likely]] {
            list.head = block->next;
            --list.count;
            return block;
        }
    }
    return AllocateSlowly(sizeClass);
}

void SmallBlockAllocator::Dispose(void* block, std::size_t sizeInBytes) noexcept {
    if (!block) {
        return;
    }
    if (!kUsePools || sizeInBytes > kLargestPooledInBytes) {
        ::operator delete(block);
        return;
    }
    const std::size_t sizeClass = ClassOf(sizeInBytes);
    auto* freed = ::new (block) FreeBlock;
    if (ThreadCache* cache = tCache) [[likely]] {
        ThreadList& list = cache->lists[sizeClass];
        if (list.count < kBlocksPerBatch) [[likely]] {
            freed->next = list.head;
            list.head = freed;
            ++list.count;
            return;
        }
    }
    DisposeSlowly(freed, sizeClass);
}

} // namespace zyncore::utility
