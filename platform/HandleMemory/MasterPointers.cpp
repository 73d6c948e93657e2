#include "MasterPointers.h"

#include "HandleMemory.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>

namespace HandleMemory {
namespace {

// Large enough that the table of chunks stays short, small enough that a thread's first handle does not cost much.
constexpr std::size_t kChunkBytes = std::size_t{64} << 10;

// Places for chunks; three quarters of them are used at most, which is 200 million master pointers.
constexpr unsigned kChunkTableBits = 16;
constexpr std::size_t kChunkTableSize = std::size_t{1} << kChunkTableBits;
constexpr std::size_t kMostChunks = kChunkTableSize / 4 * 3;

// Threads are spread over the shards, so that two that make handles at once do not pass one cache line to and fro.
constexpr std::size_t kShardCount = 16;

class Shard;

struct alignas(sizeof(MasterPointer)) Chunk {
    static constexpr std::size_t kPointers = kChunkBytes / sizeof(MasterPointer) - 1;

    Shard* shard;
    std::size_t used; ///< of the shard alone, under its lock
    std::array<MasterPointer, kPointers> pointers;
};
static_assert(sizeof(Chunk) == kChunkBytes);

// All chunks by address: an open hash table that only grows and is read without a lock.
constinit std::array<std::atomic<Chunk*>, kChunkTableSize> sChunks{};
constinit std::atomic<std::size_t> sChunkCount{0};

std::size_t PlaceOf(std::uintptr_t chunkAddress) noexcept {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
    return static_cast<std::size_t>((chunkAddress / kChunkBytes * kGoldenRatio) >> (64 - kChunkTableBits));
}

Chunk* MakeChunk(Shard& shard) noexcept {
    if (sChunkCount.fetch_add(1, std::memory_order_relaxed) >= kMostChunks) {
        sChunkCount.fetch_sub(1, std::memory_order_relaxed);
        return nullptr;
    }
    void* const memory = ::operator new (kChunkBytes, std::align_val_t{kChunkBytes}, std::nothrow);
    if (!memory) {
        sChunkCount.fetch_sub(1, std::memory_order_relaxed);
        return nullptr;
    }
    auto* const chunk = ::new (memory) Chunk{&shard, 0, {}};
    std::size_t place = PlaceOf(reinterpret_cast<std::uintptr_t>(chunk));
    for (Chunk* none = nullptr; !sChunks[place].compare_exchange_strong(none, chunk, std::memory_order_release);
         none = nullptr) {
        place = (place + 1) % kChunkTableSize;
    }
    return chunk;
}

Chunk* FindChunk(std::uintptr_t address) noexcept {
    const std::uintptr_t start = address / kChunkBytes * kChunkBytes;
    for (std::size_t place = PlaceOf(start);; place = (place + 1) % kChunkTableSize) {
        Chunk* const chunk = sChunks[place].load(std::memory_order_acquire);
        if (!chunk || reinterpret_cast<std::uintptr_t>(chunk) == start) {
            return chunk;
        }
    }
}

/// One share of the master pointers. The free ones queue, oldest first, and leave the queue only while kKxReuseDistance
/// younger ones remain in it.
class alignas(64) Shard {
public:
    MasterPointer* Take(char* block) noexcept {
        const std::lock_guard lock(mLock);
        MasterPointer* const master = mFreeCount > kKxReuseDistance ? TakeOldest() : TakeFresh();
        if (master) {
            master->block.store(block, std::memory_order_relaxed);
            CountInUse(1);
        }
        return master;
    }

    void Give(MasterPointer& master) noexcept {
        const std::lock_guard lock(mLock);
        master.nextFree = nullptr;
        (mYoungest ? mYoungest->nextFree : mOldest) = &master;
        mYoungest = &master;
        ++mFreeCount;
        CountInUse(-1);
    }

    std::int64_t InUse() const noexcept { return mInUse.load(std::memory_order_relaxed); }

private:
    MasterPointer* TakeOldest() noexcept {
        MasterPointer* const master = mOldest;
        mOldest = master->nextFree;
        --mFreeCount;
        return master;
    }

    MasterPointer* TakeFresh() noexcept {
        if (!mChunk || mChunk->used == Chunk::kPointers) {
            Chunk* const chunk = MakeChunk(*this);
            if (!chunk) {
                return nullptr;
            }
            mChunk = chunk;
        }
        return &mChunk->pointers[mChunk->used++];
    }

    // Written under the lock only, so no interlocked addition is needed.
    void CountInUse(int more) noexcept { mInUse.store(InUse() + more, std::memory_order_relaxed); }

    std::mutex mLock;
    Chunk* mChunk = nullptr;
    MasterPointer* mOldest = nullptr;
    MasterPointer* mYoungest = nullptr;
    std::size_t mFreeCount = 0;
    std::atomic<std::int64_t> mInUse{0};
};
static_assert(std::is_trivially_destructible_v<Shard>);

constinit std::array<Shard, kShardCount> sShards{};
constinit std::atomic<unsigned> sThreads{0};

Shard& ShardOfThread() noexcept {
    constinit thread_local Shard* shard = nullptr;
    if (!shard) {
        shard = &sShards[sThreads.fetch_add(1, std::memory_order_relaxed) % kShardCount];
    }
    return *shard;
}

} // namespace

MasterPointer* TakeMasterPointer(char* block) noexcept {
    return ShardOfThread().Take(block);
}

MasterPointer* FindMasterPointer(const void* handle) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(handle);
    Chunk* const chunk = FindChunk(address);
    if (!chunk || address % sizeof(MasterPointer) != 0 ||
        address < reinterpret_cast<std::uintptr_t>(chunk->pointers.data())) {
        return nullptr;
    }
    // A master pointer that was not handed out yet is null and so answers like a free one.
    return &chunk->pointers[(address - reinterpret_cast<std::uintptr_t>(chunk->pointers.data())) /
                            sizeof(MasterPointer)];
}

char* GiveMasterPointer(MasterPointer& master) noexcept {
    char* const block = master.block.exchange(nullptr, std::memory_order_acq_rel);
    if (block) {
        FindChunk(reinterpret_cast<std::uintptr_t>(&master))->shard->Give(master);
    }
    return block;
}

std::uint64_t CountMasterPointersInUse() noexcept {
    std::int64_t count = 0;
    for (const Shard& shard : sShards) {
        count += shard.InUse();
    }
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
}

} // namespace HandleMemory
