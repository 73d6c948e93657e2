#include "HandleMemory.h"

#include "MasterPointers.h"
#include "Origins.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

using namespace HandleMemory;

namespace {

/// Lies in front of each block.
struct alignas(16) BlockHeader {
    std::size_t size;
    std::size_t capacity;
    Origin* origin; ///< null unless recorded; owned
    std::uint32_t locks;
};

// No object may be larger, so sums of two valid sizes do not wrap.
constexpr std::size_t kLargestBlock =
    static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) - sizeof(BlockHeader);

// A block that shrinks to less than half of what it holds moves to a smaller one, but not for the sake of a page.
constexpr std::size_t kSmallBlock = 4096;

char* AllocateBlock(std::size_t capacity) noexcept {
    if (capacity > kLargestBlock) {
        return nullptr;
    }
    void* const memory = ::operator new(sizeof(BlockHeader) + capacity, std::nothrow);
    return memory ? reinterpret_cast<char*>(::new (memory) BlockHeader{capacity, capacity, nullptr, 0} + 1) : nullptr;
}

BlockHeader& HeaderOf(char* block) noexcept {
    return *(reinterpret_cast<BlockHeader*>(block) - 1);
}

void FreeBlock(char* block) noexcept {
    ::operator delete(&HeaderOf(block));
}

/// The handle's master pointer and block; neither for a handle that was disposed of or never existed.
struct Live {
    explicit Live(const void* handle) noexcept
        : master(FindMasterPointer(handle)), block(master ? master->block.load(std::memory_order_relaxed) : nullptr) {}
    explicit operator bool() const noexcept { return block != nullptr; }
    BlockHeader& Header() const noexcept { return HeaderOf(block); }

    MasterPointer* master;
    char* block;
};

bool MoveToCapacity(Live& live, std::size_t capacity) noexcept {
    char* const moved = AllocateBlock(capacity);
    if (!moved) {
        return false;
    }
    const BlockHeader& header = live.Header();
    std::memcpy(moved, live.block, std::min(header.size, capacity));
    HeaderOf(moved) = {std::min(header.size, capacity), capacity, header.origin, header.locks};
    live.master->block.store(moved, std::memory_order_relaxed);
    FreeBlock(live.block);
    live.block = moved;
    return true;
}

bool Resize(Live& live, std::size_t size) noexcept {
    const std::size_t capacity = live.Header().capacity;
    const bool locked = live.Header().locks != 0;
    if (size > capacity) {
        // Half as much again, so that items that are appended one by one do not move the block each time.
        const std::size_t roomy = std::min(std::max(size, capacity + capacity / 2), kLargestBlock);
        if (locked || size > kLargestBlock || !(MoveToCapacity(live, roomy) || MoveToCapacity(live, size))) {
            return false;
        }
    } else if (!locked && capacity > kSmallBlock && size < capacity / 2) {
        // Without memory for a smaller block the larger one serves as well.
        static_cast<void>(MoveToCapacity(live, size));
    }
    live.Header().size = size;
    return true;
}

} // namespace

KxHandle KxNewHandle(size_t inSize) {
    char* const block = AllocateBlock(inSize);
    if (!block) {
        return nullptr;
    }
    MasterPointer* const master = TakeMasterPointer(block);
    if (!master) {
        FreeBlock(block);
        return nullptr;
    }
    HeaderOf(block).origin = RecordOrigin().release();
    return reinterpret_cast<KxHandle>(master);
}

KxHandle KxNewHandleClear(size_t inSize) {
    KxHandle const handle = KxNewHandle(inSize);
    if (handle) {
        std::memset(*handle, 0, inSize);
    }
    return handle;
}

int KxIsHandle(const void* inHandle) {
    return FindMasterPointer(inHandle) ? 1 : 0;
}

void KxDisposeHandle(KxHandle inHandle) {
    MasterPointer* const master = FindMasterPointer(inHandle);
    if (char* const block = master ? GiveMasterPointer(*master) : nullptr) {
        delete HeaderOf(block).origin;
        FreeBlock(block);
    }
}

size_t KxGetHandleSize(KxHandle inHandle) {
    const Live live(inHandle);
    return live ? live.Header().size : 0;
}

int16_t KxSetHandleSize(KxHandle inHandle, size_t inSize) {
    Live live(inHandle);
    return live && Resize(live, inSize) ? kKxNoError : kKxMemoryFull;
}

void KxHLock(KxHandle inHandle) {
    if (const Live live(inHandle); live) {
        ++live.Header().locks;
    }
}

void KxHUnlock(KxHandle inHandle) {
    if (const Live live(inHandle); live && live.Header().locks != 0) {
        --live.Header().locks;
    }
}

uint32_t KxGetHandleLockCount(KxHandle inHandle) {
    const Live live(inHandle);
    return live ? live.Header().locks : 0;
}

int16_t InsertHandItem(int32_t inIndex, KxHandle inHandle, size_t inItemSize, const void* inItem) {
    Live live(inHandle);
    if (!live || inItemSize > kLargestBlock) {
        return kKxMemoryFull;
    }
    if (inItemSize == 0) {
        return kKxNoError;
    }
    const std::size_t size = live.Header().size;
    if (!Resize(live, size + inItemSize)) {
        return kKxMemoryFull;
    }
    const bool appends = inIndex < 0 || static_cast<std::size_t>(inIndex) >= size / inItemSize;
    char* const place = live.block + (appends ? size : static_cast<std::size_t>(inIndex) * inItemSize);
    std::memmove(place + inItemSize, place, static_cast<std::size_t>(live.block + size - place));
    if (inItem) {
        std::memcpy(place, inItem, inItemSize);
    } else {
        std::memset(place, 0, inItemSize);
    }
    return kKxNoError;
}

uint64_t KxGetLiveHandleCount(void) {
    return CountMasterPointersInUse();
}

void KxRecordHandleOrigins(int inRecord) {
    RecordOrigins(inRecord != 0);
}

size_t KxGetHandleOrigin(KxHandle inHandle, const void** outAddresses, size_t inCapacity) {
    const Live live(inHandle);
    const Origin* const origin = live ? live.Header().origin : nullptr;
    if (!origin || !outAddresses) {
        return 0;
    }
    const std::size_t count = std::min(origin->count, inCapacity);
    std::copy_n(origin->returnAddresses.begin(), count, outAddresses);
    return count;
}

size_t KxDescribeHandleOrigin(KxHandle inHandle, const void* inInsideModule, char* outText, size_t inTextSize) {
    if (!outText || inTextSize == 0) {
        return 0;
    }
    *outText = '\0';
    const Live live(inHandle);
    const Origin* const origin = live ? live.Header().origin : nullptr;
    return origin ? DescribeOrigin(*origin, inInsideModule, outText, inTextSize) : 0;
}

KxPtr KxNewPtr(size_t inSize) {
    return inSize > kLargestBlock ? nullptr : static_cast<KxPtr>(::operator new(inSize, std::nothrow));
}

void KxDisposePtr(KxPtr inPtr) {
    ::operator delete(inPtr);
}

void KxBlockMove(const void* inSource, void* outDestination, size_t inSize) {
    if (inSource && outDestination) {
        std::memmove(outDestination, inSource, inSize);
    }
}
