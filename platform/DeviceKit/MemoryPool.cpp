#include "MemoryPool.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

namespace DK::Details {
namespace {

/// What drivers round to at least; smaller classes would save nothing.
constexpr std::uint64_t kSmallestClass = 512;

/// Sizes beyond it have no class; no device has them.
constexpr std::uint64_t kLargestSize = std::uint64_t{1} << 62;

void* AddressOf(std::uintptr_t address) noexcept {
    return reinterpret_cast<void*>(address); // NOLINT(performance-no-int-to-ptr): what the driver gave
}

} // namespace

// At most an eighth of a block is not asked for.
std::uint64_t MemoryPool::SizeOfClass(std::uint64_t bytes) noexcept {
    if (bytes <= kSmallestClass) {
        return kSmallestClass;
    }
    const std::uint64_t step = std::bit_floor(bytes) / 8;
    return (bytes + step - 1) / step * step;
}

std::size_t MemoryPool::IndexOfClass(std::uint64_t classBytes) noexcept {
    const auto exponent = static_cast<std::size_t>(std::bit_width(classBytes)) - 1;
    return exponent * 8 + static_cast<std::size_t>((classBytes >> (exponent - 3)) & 7);
}

MemoryPool::MemoryPool(boost::shared_ptr<Backend> backend, MemoryKind kind)
    : mBackend(std::move(backend)), mKind(kind), mIdleLimit(mBackend->DefaultIdleLimit(kind)) {}

MemoryPool::~MemoryPool() {
    for (const Block& block : mWaiting) {
        auto* const userEvent = dynamic_cast<UserEvent*>(block.event.get());
        if (userEvent == nullptr) {
            static_cast<void>(block.event ? block.event->Wait() : kResult_Success);
            continue;
        }
        try {
            const auto free = [backend = mBackend, kind = mKind, bytes = block.bytes](void* data) {
                backend->Free(kind, data, bytes);
            };
            userEvent->KeepUntilComplete(boost::shared_ptr<void>(AddressOf(block.address), free));
        } catch (const std::bad_alloc&) {
            // Then it was freed a moment too early, or goes with the process; there is no better way left.
        }
    }
    const auto free = [this](const Blocks& blocks) {
        for (const Block& block : blocks) {
            if (dynamic_cast<UserEvent*>(block.event.get()) == nullptr) {
                mBackend->Free(mKind, AddressOf(block.address), block.bytes);
            }
        }
    };
    free(mInUse);
    free(mWaiting);
    std::for_each(mIdle.begin(), mIdle.end(), free);
}

void* MemoryPool::Allocate(std::uint64_t bytes) noexcept {
    if (bytes == 0 || bytes > kLargestSize) {
        return nullptr;
    }
    LookAtWaiting();
    const std::uint64_t classBytes = SizeOfClass(bytes);
    if (void* const data = TakeIdle(classBytes, bytes)) {
        return data;
    }
    if (void* const data = TakeFresh(classBytes, bytes)) {
        return data;
    }
    ReleaseIdle();
    return TakeFresh(classBytes, bytes);
}

void* MemoryPool::TakeIdle(std::uint64_t classBytes, std::uint64_t bytes) noexcept {
    const std::lock_guard lock(mMutex);
    Blocks& idle = mIdle[IndexOfClass(classBytes)];
    if (idle.empty()) {
        return nullptr;
    }
    const auto block = std::prev(idle.end());
    mInUse.splice(mInUse.end(), idle, block);
    block->state = State::InUse;
    block->usedBytes = bytes;
    mStatistics.bytesIdle -= classBytes;
    mStatistics.bytesInUse += classBytes;
    return AddressOf(block->address);
}

void* MemoryPool::TakeFresh(std::uint64_t classBytes, std::uint64_t bytes) noexcept {
    void* const data = mBackend->Allocate(mKind, classBytes);
    if (data == nullptr) {
        return nullptr;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(data);
    try {
        Blocks fresh;
        fresh.push_back({address, classBytes, bytes, State::InUse, 0, {}});
        const std::lock_guard lock(mMutex);
        mByAddress.insert_or_assign(address, fresh.begin());
        mInUse.splice(mInUse.end(), fresh);
        mStatistics.bytesInUse += classBytes;
        return data;
    } catch (const std::bad_alloc&) {
        mBackend->Free(mKind, data, classBytes);
        return nullptr;
    }
}

void MemoryPool::Free(void* data, const boost::shared_ptr<Event>& event) noexcept {
    {
        const std::lock_guard lock(mMutex);
        const auto found = mByAddress.find(reinterpret_cast<std::uintptr_t>(data));
        if (found == mByAddress.end() || found->second->state != State::InUse) {
            return;
        }
        const Blocks::iterator block = found->second;
        block->state = State::Waiting;
        block->freedAs = ++mFreed;
        block->event = event;
        mStatistics.bytesInUse -= block->bytes;
        mStatistics.bytesWaiting += block->bytes;
        mWaiting.splice(mWaiting.end(), mInUse, block);
    }
    LookAtWaiting();
}

// Makes idle what waits no longer, as far as the limit allows.
void MemoryPool::LookAtWaiting() noexcept {
    Blocks waiting;
    Blocks failed;
    Blocks complete;
    Blocks beyond;
    {
        const std::lock_guard lock(mMutex);
        waiting.swap(mWaiting);
    }
    if (waiting.empty()) {
        return;
    }
    for (auto block = waiting.begin(); block != waiting.end();) {
        const auto next = std::next(block);
        const int result = block->event ? block->event->Query() : kResult_Success;
        if (result != kResult_NotReady) {
            block->event.reset();
            Blocks& target = result == kResult_Success ? complete : failed;
            target.splice(target.end(), waiting, block);
        }
        block = next;
    }
    {
        const std::lock_guard lock(mMutex);
        mWaiting.splice(mWaiting.begin(), waiting);
        while (!complete.empty()) {
            Block& block = complete.front();
            block.state = State::Idle;
            mStatistics.bytesWaiting -= block.bytes;
            mStatistics.bytesIdle += block.bytes;
            Blocks& idle = mIdle[IndexOfClass(block.bytes)];
            idle.splice(idle.end(), complete, complete.begin());
        }
        for (const Block& block : failed) {
            mByAddress.erase(block.address);
            mStatistics.bytesWaiting -= block.bytes;
        }
        TakeIdleBeyond(mIdleLimit, beyond);
    }
    GiveBack(failed);
    GiveBack(beyond);
}

void MemoryPool::TakeIdleBeyond(std::uint64_t limit, Blocks& taken) noexcept {
    while (mStatistics.bytesIdle > limit) {
        Blocks* oldest = nullptr;
        for (Blocks& idle : mIdle) {
            if (!idle.empty() && (oldest == nullptr || idle.front().freedAs < oldest->front().freedAs)) {
                oldest = &idle;
            }
        }
        const Block& block = oldest->front();
        mByAddress.erase(block.address);
        mStatistics.bytesIdle -= block.bytes;
        taken.splice(taken.end(), *oldest, oldest->begin());
    }
}

void MemoryPool::GiveBack(Blocks& blocks) noexcept {
    for (const Block& block : blocks) {
        mBackend->Free(mKind, AddressOf(block.address), block.bytes);
    }
    blocks.clear();
}

bool MemoryPool::HasRoom(const void* address, std::uint64_t bytesBefore, std::uint64_t bytesBehind) const noexcept {
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    const std::lock_guard lock(mMutex);
    auto found = mByAddress.upper_bound(place);
    if (found == mByAddress.begin()) {
        return true;
    }
    const Block& block = *(--found)->second;
    const std::uint64_t offset = place - block.address;
    if (offset >= block.bytes) {
        return true; // not of this pool
    }
    return block.state == State::InUse && offset <= block.usedBytes && bytesBefore <= offset &&
           bytesBehind <= block.usedBytes - offset;
}

PoolStatistics MemoryPool::GetStatistics() const noexcept {
    const std::lock_guard lock(mMutex);
    return mStatistics;
}

void MemoryPool::SetIdleLimit(std::uint64_t bytes) noexcept {
    Blocks beyond;
    {
        const std::lock_guard lock(mMutex);
        mIdleLimit = bytes;
        TakeIdleBeyond(bytes, beyond);
    }
    GiveBack(beyond);
}

void MemoryPool::ReleaseIdle() noexcept {
    LookAtWaiting();
    Blocks idle;
    {
        const std::lock_guard lock(mMutex);
        TakeIdleBeyond(0, idle);
    }
    GiveBack(idle);
}

} // namespace DK::Details
