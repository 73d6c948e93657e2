#pragma once

#include "BRTFoundation.h"
#include "SizeClasses.h"
#include "SpinLock.h"

#include <array>
#include <cstddef>
#include <new>
#include <vector>

namespace BRT::detail {

/// A buffer that waits for reuse. The record lies apart from the buffer, whose last user may have overrun it.
struct IdleBuffer {
    void* data;
    std::int64_t idleSince; ///< nanoseconds of the recycler's clock
};

/// Gives every list cache lines of its own: the short lists of two shards in one line would slow both threads down.
template <class T>
struct CacheLineAllocator {
    using value_type = T;
    static constexpr std::align_val_t kAlignment{64};
    CacheLineAllocator() noexcept = default;
    template <class U>
    CacheLineAllocator(const CacheLineAllocator<U>&) noexcept {}
    T* allocate(std::size_t count) { return static_cast<T*>(::operator new(RoundedSize(count), kAlignment)); }
    void deallocate(T* list, std::size_t) noexcept { ::operator delete(list, kAlignment); }
    template <class U>
    bool operator==(const CacheLineAllocator<U>&) const noexcept {
        return true;
    }

private:
    static constexpr std::size_t RoundedSize(std::size_t count) { return (count * sizeof(T) + 63) / 64 * 64; }
};

using IdleList = std::vector<IdleBuffer, CacheLineAllocator<IdleBuffer>>;

/// One share of the recycler's idle buffers and counters. Threads are spread over the shards, so that two threads that
/// make frames at once do not pass one cache line to and fro.
///
/// Everything but MayHaveIdle is to be used under Lock. The counters of one shard may run ahead of each other, because
/// a buffer may return to another shard than the one it came from; their sums over all shards are exact.
class alignas(64) RecyclerShard {
public:
    SpinLock& Lock() noexcept { return mLock; }

    /// False when the shard held no idle buffer a moment ago. May be asked without the lock.
    bool MayHaveIdle() const noexcept { return mIdleCount.load(std::memory_order_relaxed) != 0; }

    /// Takes the idle buffer of a class that was used last, whose bytes are the likeliest to be cached, and counts a
    /// hit of sizeInBytes; null without one.
    void* TakeIdle(const SizeClass& sizeClass, std::uint64_t sizeInBytes) noexcept {
        IdleList& list = mIdle[sizeClass.index];
        if (list.empty()) {
            return nullptr;
        }
        void* data = list.back().data;
        list.pop_back();
        NoteIdle(-1, sizeClass.sizeInBytes);
        ++mHits;
        mBytesRecycled += sizeInBytes;
        mBytesTaken += sizeClass.sizeInBytes;
        return data;
    }

    void CountMiss(const SizeClass& sizeClass) noexcept {
        ++mMisses;
        mBytesTaken += sizeClass.sizeInBytes;
    }

    void CountReturn(const SizeClass& sizeClass) noexcept {
        ++mReturns;
        mBytesReturned += sizeClass.sizeInBytes;
    }

    /// Keeps a buffer for reuse. False when there is no memory for its record.
    bool Keep(void* data, const SizeClass& sizeClass, std::int64_t now) noexcept {
        try {
            mIdle[sizeClass.index].push_back({data, now});
        } catch (const std::bad_alloc&) {
            return false;
        }
        NoteIdle(1, sizeClass.sizeInBytes);
        return true;
    }

    /// The buffers of one class, oldest first.
    IdleList& Idle(unsigned classIndex) noexcept { return mIdle[classIndex]; }

    /// Takes the oldest idle buffer of a class, which must have one.
    void* TakeOldest(const SizeClass& sizeClass) noexcept {
        IdleList& list = mIdle[sizeClass.index];
        void* data = list.front().data;
        list.erase(list.begin());
        NoteIdle(-1, sizeClass.sizeInBytes);
        return data;
    }

    std::uint64_t IdleBytes() const noexcept { return mIdleBytes; }

    /// Share of the idle limit that this shard may fill without asking the others; never below IdleBytes.
    std::uint64_t ReservedBytes() const noexcept { return mReservedBytes; }
    void Reserve(std::uint64_t bytes) noexcept { mReservedBytes = bytes; }
    bool HasRoomFor(std::uint64_t bytes) const noexcept { return bytes <= mReservedBytes - mIdleBytes; }

    void AddTo(MemoryRecycler::Statistics& sum) const noexcept {
        sum.hits += mHits;
        sum.misses += mMisses;
        sum.bytesRecycled += mBytesRecycled;
        sum.bytesInUse += mBytesTaken - mBytesReturned;
        sum.bytesIdle += mIdleBytes;
        sum.buffersInUse += mHits + mMisses - mReturns;
    }

private:
    void NoteIdle(int buffers, std::uint64_t bytesEach) noexcept {
        // Written under the lock only, so no interlocked addition is needed.
        mIdleCount.store(mIdleCount.load(std::memory_order_relaxed) + static_cast<std::uint32_t>(buffers),
                         std::memory_order_relaxed);
        mIdleBytes += buffers > 0 ? bytesEach : 0 - bytesEach;
    }

    SpinLock mLock;
    std::atomic<std::uint32_t> mIdleCount{0};
    std::uint64_t mIdleBytes = 0;
    std::uint64_t mReservedBytes = 0;
    std::uint64_t mHits = 0;
    std::uint64_t mMisses = 0;
    std::uint64_t mReturns = 0;
    std::uint64_t mBytesRecycled = 0;
    std::uint64_t mBytesTaken = 0;
    std::uint64_t mBytesReturned = 0;
    std::array<IdleList, kSizeClassCount> mIdle;
};

} // namespace BRT::detail
