#include "BRTFoundation.h"
#include "RecyclerShard.h"
#include "SystemMemory.h"
#include "zyncore/Immortal.h"
#include "zyncore/Sanitizers.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <span>

namespace BRT {
namespace {

using detail::kSizeClassCount;
using detail::RecyclerShard;
using detail::SizeClass;

/// More shards than threads that usually make frames at the same moment; each costs some 12 KiB.
constexpr unsigned kShardCount = 8;

/// A shard reserves this part of what is left of the idle limit at once, so that it rarely has to ask again.
constexpr std::uint64_t kReservedPart = 4;

/// "No idle buffer": no clock ever reaches it.
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

/// The coarse clock costs a quarter of the exact one and is late by a few milliseconds, nothing beside the idle time.
std::int64_t SystemNow() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

constexpr bool Expired(std::int64_t idleSince, std::int64_t now) noexcept {
    // Unsigned: the difference of two clock readings always fits.
    return now > idleSince && static_cast<std::uint64_t>(now) - static_cast<std::uint64_t>(idleSince) >=
                                  std::uint64_t{MemoryRecycler::kIdleTimeInNanoseconds};
}

/// Number of the calling thread's shard.
unsigned ShardOfThread() noexcept {
    constexpr unsigned kUnknown = kShardCount;
    static constinit std::atomic<unsigned> threads{0};
    static constinit thread_local unsigned shard __attribute__((tls_model("initial-exec"))) = kUnknown;
    if (shard == kUnknown) [[unlikely]] {
        shard = threads.fetch_add(1, std::memory_order_relaxed) % kShardCount;
    }
    return shard;
}

/// Idle buffers on their way to the system. They are collected under the locks and given back after them, because
/// unmapping takes long. A fixed number, so that giving memory back never asks for memory.
class Discarded {
public:
    ~Discarded() {
        for (const Buffer& buffer : std::span(mBuffers).first(mCount)) {
            detail::ReturnToSystem(buffer.data, buffer.sizeInBytes);
        }
    }
    Discarded() = default;
    Discarded(const Discarded&) = delete;
    Discarded& operator=(const Discarded&) = delete;

    bool Full() const noexcept { return mCount == mBuffers.size(); }
    void Add(void* data, std::uint64_t sizeInBytes) noexcept { mBuffers[mCount++] = {data, sizeInBytes}; }

private:
    struct Buffer {
        void* data;
        std::uint64_t sizeInBytes;
    };
    std::array<Buffer, 64> mBuffers;
    std::size_t mCount = 0;
};

} // namespace

struct MemoryRecycler::State {
    std::array<RecyclerShard, kShardCount> shards;

    // Read on every call, written rarely; kept off the shards' cache lines.
    alignas(64) std::atomic<Clock> clock{nullptr};
    std::atomic<std::int64_t> oldestIdleSince{kNever}; ///< no idle buffer is older; written under a shard's lock
    std::uint64_t idleLimit = kDefaultIdleLimit;       ///< guarded by all shard locks
    std::atomic<bool> keeping{true};

    /// All shard locks, always taken in the same order.
    class AllLocks {
    public:
        explicit AllLocks(State& state) noexcept : mState(state) {
            for (RecyclerShard& shard : mState.shards) {
                shard.Lock().lock();
            }
        }
        ~AllLocks() {
            for (RecyclerShard& shard : mState.shards) {
                shard.Lock().unlock();
            }
        }
        AllLocks(const AllLocks&) = delete;
        AllLocks& operator=(const AllLocks&) = delete;

    private:
        State& mState;
    };

    std::int64_t Now() const noexcept {
        const Clock replaced = clock.load(std::memory_order_relaxed);
        return replaced ? replaced() : SystemNow();
    }

    /// Takes an idle buffer from the thread's own shard, else from any other; null without one.
    void* TakeIdle(unsigned home, const SizeClass& sizeClass, std::uint64_t sizeInBytes) noexcept {
        for (unsigned n = 0; n < kShardCount; ++n) {
            RecyclerShard& shard = shards[(home + n) % kShardCount];
            if (shard.MayHaveIdle()) {
                const std::lock_guard lock(shard.Lock());
                if (void* data = shard.TakeIdle(sizeClass, sizeInBytes)) {
                    return data;
                }
            }
        }
        return nullptr;
    }

    void* TakeFresh(unsigned home, const SizeClass& sizeClass) {
        if (detail::ExceedsAllMemory(sizeClass.sizeInBytes)) {
            throw std::bad_alloc(); // before the idle buffers are given up for nothing
        }
        keeping.store(true, std::memory_order_relaxed);
        void* data = detail::TakeFromSystem(sizeClass.sizeInBytes);
        if (!data) {
            DiscardWhere([](std::int64_t) { return true; });
            data = detail::TakeFromSystem(sizeClass.sizeInBytes);
        }
        if (!data) {
            throw std::bad_alloc();
        }
        const std::lock_guard lock(shards[home].Lock());
        shards[home].CountMiss(sizeClass);
        return data;
    }

    /// Keeps a buffer when its shard has room reserved for it.
    bool KeepInReserve(unsigned home, void* data, const SizeClass& sizeClass, std::int64_t now) noexcept {
        RecyclerShard& shard = shards[home];
        const std::lock_guard lock(shard.Lock());
        shard.CountReturn(sizeClass);
        return keeping.load(std::memory_order_relaxed) && shard.HasRoomFor(sizeClass.sizeInBytes) &&
               Keep(shard, data, sizeClass, now);
    }

    /// Keeps a buffer by reserving more of the idle limit for its shard, at the expense of the oldest idle buffers
    /// where needed. False when the buffer cannot be kept.
    bool KeepByMakingRoom(unsigned home, void* data, const SizeClass& sizeClass, std::int64_t now) noexcept {
        for (;;) {
            Discarded discarded; // gives back after the locks
            const AllLocks locks(*this);
            if (!keeping.load(std::memory_order_relaxed) || sizeClass.sizeInBytes > idleLimit) {
                return false;
            }
            if (Unreserved() < sizeClass.sizeInBytes) {
                DiscardOldestDownTo(idleLimit - sizeClass.sizeInBytes, discarded);
                if (Unreserved() < sizeClass.sizeInBytes) {
                    continue; // as many as can be given back in one go
                }
            }
            RecyclerShard& shard = shards[home];
            shard.Reserve(shard.ReservedBytes() + std::max(sizeClass.sizeInBytes, Unreserved() / kReservedPart));
            return Keep(shard, data, sizeClass, now);
        }
    }

    void SetIdleLimit(std::uint64_t bytes) noexcept {
        for (bool done = false; !done;) {
            Discarded discarded;
            const AllLocks locks(*this);
            idleLimit = bytes;
            DiscardOldestDownTo(bytes, discarded);
            done = IdleBytes() <= bytes;
        }
    }

    /// Gives back the idle buffers for whose time of return the answer is true; it must be true for every older buffer
    /// too.
    template <class Predicate>
    void DiscardWhere(const Predicate& discard) noexcept {
        for (bool more = true; more;) {
            Discarded discarded;
            const AllLocks locks(*this);
            std::int64_t oldest = kNever;
            for (RecyclerShard& shard : shards) {
                for (unsigned index = 0; index < kSizeClassCount && shard.MayHaveIdle(); ++index) {
                    const SizeClass sizeClass = detail::SizeClassAt(index);
                    const detail::IdleList& list = shard.Idle(index);
                    while (!list.empty() && discard(list.front().idleSince) && !discarded.Full()) {
                        discarded.Add(shard.TakeOldest(sizeClass), sizeClass.sizeInBytes);
                    }
                    if (!list.empty()) {
                        oldest = std::min(oldest, list.front().idleSince);
                    }
                }
            }
            oldestIdleSince.store(oldest, std::memory_order_relaxed);
            more = discarded.Full();
        }
    }

    void DiscardExpired(std::int64_t now) noexcept {
        if (Expired(oldestIdleSince.load(std::memory_order_relaxed), now)) [[unlikely]] {
            DiscardWhere([now](std::int64_t idleSince) { return Expired(idleSince, now); });
        }
    }

    void StopKeeping() noexcept {
        {
            const AllLocks locks(*this);
            keeping.store(false, std::memory_order_relaxed); // under the locks: whoever keeps a buffer later sees it
        }
        DiscardWhere([](std::int64_t) { return true; });
    }

    void SetClock(Clock replacement) noexcept {
        clock.store(replacement, std::memory_order_relaxed);
        const std::int64_t now = Now();
        const AllLocks locks(*this);
        for (RecyclerShard& shard : shards) {
            for (unsigned index = 0; index < kSizeClassCount; ++index) {
                for (detail::IdleBuffer& buffer : shard.Idle(index)) {
                    buffer.idleSince = now;
                }
            }
        }
        oldestIdleSince.store(IdleBytes() > 0 ? now : kNever, std::memory_order_relaxed);
    }

    std::uint64_t IdleBytes() const noexcept {
        std::uint64_t bytes = 0;
        for (const RecyclerShard& shard : shards) {
            bytes += shard.IdleBytes();
        }
        return bytes;
    }

private:
    /// Under the shard's lock.
    bool Keep(RecyclerShard& shard, void* data, const SizeClass& sizeClass, std::int64_t now) noexcept {
        if (!shard.Keep(data, sizeClass, now)) {
            return false;
        }
        std::int64_t oldest = oldestIdleSince.load(std::memory_order_relaxed);
        while (now < oldest && !oldestIdleSince.compare_exchange_weak(oldest, now, std::memory_order_relaxed)) {
        }
        return true;
    }

    // The rest: under all locks.

    std::uint64_t Unreserved() const noexcept {
        std::uint64_t reserved = 0;
        for (const RecyclerShard& shard : shards) {
            reserved += shard.ReservedBytes();
        }
        return idleLimit > reserved ? idleLimit - reserved : 0;
    }

    void WithdrawReserves() noexcept {
        for (RecyclerShard& shard : shards) {
            shard.Reserve(shard.IdleBytes());
        }
    }

    void DiscardOldestDownTo(std::uint64_t idleBytes, Discarded& discarded) noexcept {
        while (IdleBytes() > idleBytes && !discarded.Full()) {
            RecyclerShard* oldestShard = nullptr;
            unsigned oldestIndex = 0;
            std::int64_t oldest = kNever;
            for (RecyclerShard& shard : shards) {
                for (unsigned index = 0; index < kSizeClassCount && shard.MayHaveIdle(); ++index) {
                    const detail::IdleList& list = shard.Idle(index);
                    if (!list.empty() && (!oldestShard || list.front().idleSince < oldest)) {
                        oldestShard = &shard;
                        oldestIndex = index;
                        oldest = list.front().idleSince;
                    }
                }
            }
            const SizeClass sizeClass = detail::SizeClassAt(oldestIndex);
            discarded.Add(oldestShard->TakeOldest(sizeClass), sizeClass.sizeInBytes);
        }
        WithdrawReserves();
    }
};

MemoryRecycler::MemoryRecycler() {
    static zyncore::detail::Immortal<State> state;
    mState = &state.Get();
}

MemoryRecycler& MemoryRecycler::Instance() noexcept {
    alignas(MemoryRecycler) static std::byte storage[sizeof(MemoryRecycler)];
    static MemoryRecycler* const instance = ::new (storage) MemoryRecycler; // in place: never destroyed
    return *instance;
}

MemoryRecycler::MemoryBuffer MemoryRecycler::AllocateBuffer(std::uint64_t sizeInBytes) {
    if (sizeInBytes == 0) {
        return {};
    }
    if (sizeInBytes > detail::kLargestClassInBytes) {
        throw std::bad_alloc();
    }
    const SizeClass sizeClass = detail::SizeClassFor(sizeInBytes);
    const unsigned home = ShardOfThread();
    void* data = mState->TakeIdle(home, sizeClass, sizeInBytes);
    mState->DiscardExpired(mState->Now());
    if (!data) {
        data = mState->TakeFresh(home, sizeClass);
        zyncore::detail::ForbidAccess(data, sizeClass.sizeInBytes);
    }
    zyncore::detail::PermitAccess(data, sizeInBytes);
    return {data, sizeInBytes};
}

void MemoryRecycler::RecycleBuffer(const MemoryBuffer& buffer) noexcept {
    if (!buffer.data || buffer.sizeInBytes == 0 || buffer.sizeInBytes > detail::kLargestClassInBytes) {
        return; // empty, or nothing that AllocateBuffer ever returned
    }
    const SizeClass sizeClass = detail::SizeClassFor(buffer.sizeInBytes);
    const unsigned home = ShardOfThread();
    const std::int64_t now = mState->Now();
    zyncore::detail::ForbidAccess(buffer.data, sizeClass.sizeInBytes);
    if (!mState->KeepInReserve(home, buffer.data, sizeClass, now) &&
        !mState->KeepByMakingRoom(home, buffer.data, sizeClass, now)) {
        detail::ReturnToSystem(buffer.data, sizeClass.sizeInBytes);
    }
    mState->DiscardExpired(now);
}

void MemoryRecycler::ReleaseIdleBuffers() noexcept {
    mState->DiscardWhere([](std::int64_t) { return true; });
}

void MemoryRecycler::SetIdleLimit(std::uint64_t bytes) noexcept {
    mState->SetIdleLimit(bytes);
}

MemoryRecycler::Statistics MemoryRecycler::GetStatistics() const noexcept {
    Statistics sum;
    const State::AllLocks locks(*mState);
    for (const RecyclerShard& shard : mState->shards) {
        shard.AddTo(sum);
    }
    return sum;
}

void MemoryRecycler::SetClock(Clock clock) noexcept {
    mState->SetClock(clock);
}

void MemoryRecycler::StopKeeping() noexcept {
    mState->StopKeeping();
}

} // namespace BRT
