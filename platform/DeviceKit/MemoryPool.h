#pragma once

/// Memory of one kind of a device: what is given out, what waits for an event, and what is kept for reuse.

#include "Backend.h"

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>

namespace DK::Details {

/// May be used from any thread. Calls neither the back end nor an event under its lock, and events die after it.
class MemoryPool {
public:
    MemoryPool(boost::shared_ptr<Backend> backend, MemoryKind kind);
    /// Waits for the events of freed memory and gives everything back. Memory that waits for a UserEvent is handed to
    /// that, because the thread that completes it may be this one.
    ~MemoryPool();
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;

    void* Allocate(std::uint64_t bytes) noexcept;
    void Free(void* data, const boost::shared_ptr<Event>& event) noexcept;

    /// False when the address lies in a block that has fewer bytes before or behind it, or that is free.
    bool HasRoom(const void* address, std::uint64_t bytesBefore, std::uint64_t bytesBehind) const noexcept;

    PoolStatistics GetStatistics() const noexcept;
    void SetIdleLimit(std::uint64_t bytes) noexcept;
    void ReleaseIdle() noexcept;

private:
    enum class State { InUse, Waiting, Idle };
    struct Block {
        std::uintptr_t address = 0;
        std::uint64_t bytes = 0; ///< of its size class
        std::uint64_t usedBytes = 0;
        State state = State::InUse;
        std::uint64_t freedAs = 0; ///< counts up, so that the smallest is the longest idle
        boost::shared_ptr<Event> event;
    };
    /// Blocks move between lists without an allocation, so freeing cannot fail.
    using Blocks = std::list<Block>;

    /// Eight sizes for every power of two.
    static constexpr std::size_t kSizeClasses = std::size_t{64} * 8;
    static std::uint64_t SizeOfClass(std::uint64_t bytes) noexcept;
    static std::size_t IndexOfClass(std::uint64_t classBytes) noexcept;

    void* TakeIdle(std::uint64_t classBytes, std::uint64_t bytes) noexcept;
    void* TakeFresh(std::uint64_t classBytes, std::uint64_t bytes) noexcept;
    void LookAtWaiting() noexcept;
    void GiveBack(Blocks& blocks) noexcept;
    void TakeIdleBeyond(std::uint64_t limit, Blocks& taken) noexcept; // under the lock

    const boost::shared_ptr<Backend> mBackend;
    const MemoryKind mKind;
    mutable std::mutex mMutex;
    std::uint64_t mIdleLimit;
    std::uint64_t mFreed = 0;
    PoolStatistics mStatistics;
    Blocks mInUse;
    Blocks mWaiting;
    std::array<Blocks, kSizeClasses> mIdle; ///< of each size, the longest idle first
    std::map<std::uintptr_t, Blocks::iterator> mByAddress;
};

} // namespace DK::Details
