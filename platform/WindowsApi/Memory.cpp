#include "WindowsApi_Memory.h"

#include "HandleTable.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

namespace WindowsApi {
namespace {

constexpr unsigned kMostLocks = GMEM_LOCKCOUNT;

struct ReturnToHeap {
    void operator()(void* inBlock) const noexcept { std::free(inBlock); }
};

/// Bytes of a heap object. A block of size 0 has an address, too.
struct Block {
    std::unique_ptr<void, ReturnToHeap> address;
    std::size_t size = 0;     ///< what was asked for
    std::size_t capacity = 0; ///< what the object can be resized to where it is

    static Block Allocate(std::size_t inSize, bool inClear) noexcept {
        if (inSize > PTRDIFF_MAX) {
            return {}; // more than any heap has, which some treat as a fault of the program
        }
        const std::size_t capacity = std::max<std::size_t>(inSize, 1);
        return {std::unique_ptr<void, ReturnToHeap>(inClear ? std::calloc(capacity, 1) : std::malloc(capacity)), inSize,
                capacity};
    }
};

struct MovableObject {
    Block block{}; ///< without an address while it is discarded
    unsigned lockCount = 0;
    bool isDiscardable = false;
};

/// All objects of the process.
class MemoryObjects {
public:
    HGLOBAL Allocate(UINT inFlags, std::size_t inSize) {
        const bool isMovable = (inFlags & GMEM_MOVEABLE) != 0;
        MovableObject object{.isDiscardable = (inFlags & LMEM_DISCARDABLE) != 0};
        if (!isMovable || inSize != 0) {
            object.block = Block::Allocate(inSize, (inFlags & GMEM_ZEROINIT) != 0);
            if (!object.block.address) {
                return nullptr;
            }
        }
        const std::lock_guard lock(mMutex);
        return isMovable ? AddMovable(std::move(object)) : AddFixed(std::move(object.block));
    }

    HGLOBAL Resize(HGLOBAL inMemory, std::size_t inSize, UINT inFlags) {
        const std::lock_guard lock(mMutex);
        if (MovableObject* const object = mMovable.Find(inMemory)) {
            return ResizeMovable(inMemory, *object, inSize, inFlags) ? inMemory : nullptr;
        }
        const auto fixed = mFixed.find(inMemory);
        if (fixed == mFixed.end()) {
            return nullptr;
        }
        if ((inFlags & GMEM_MODIFY) != 0) {
            return (inFlags & GMEM_MOVEABLE) != 0 ? MakeMovable(fixed, inFlags) : inMemory;
        }
        const bool mayMove = (inFlags & GMEM_MOVEABLE) != 0;
        Block moved;
        switch (ResizeBlock(fixed->second, moved, inSize, mayMove, (inFlags & GMEM_ZEROINIT) != 0)) {
        case Resized::InPlace:
            return inMemory;
        case Resized::Refused:
            return nullptr;
        case Resized::Moved:
            break;
        }
        const HGLOBAL handle = AddFixed(std::move(moved));
        mFixed.erase(inMemory);
        return handle;
    }

    HGLOBAL Free(HGLOBAL inMemory) {
        Block block; // goes after the lock
        const std::lock_guard lock(mMutex);
        if (auto object = mMovable.Take(inMemory)) {
            mHandles.erase(object->block.address.get());
            block = std::move(object->block);
            return nullptr;
        }
        auto fixed = mFixed.extract(inMemory);
        if (!fixed.empty()) {
            block = std::move(fixed.mapped());
            return nullptr;
        }
        return inMemory;
    }

    void* Lock(HGLOBAL inMemory) {
        const std::lock_guard lock(mMutex);
        if (MovableObject* const object = mMovable.Find(inMemory)) {
            if (object->block.address) {
                object->lockCount = std::min(object->lockCount + 1, kMostLocks);
            }
            return object->block.address.get();
        }
        return mFixed.contains(inMemory) ? inMemory : nullptr;
    }

    /// Whether it is locked still, or is fixed and ofFixed is asked.
    bool Unlock(HGLOBAL inMemory, bool ofFixed) {
        const std::lock_guard lock(mMutex);
        if (MovableObject* const object = mMovable.Find(inMemory)) {
            object->lockCount -= object->lockCount != 0 ? 1 : 0;
            return object->lockCount != 0;
        }
        return ofFixed && mFixed.contains(inMemory);
    }

    std::size_t Size(HGLOBAL inMemory) {
        const std::lock_guard lock(mMutex);
        if (const MovableObject* const object = mMovable.Find(inMemory)) {
            return object->block.size;
        }
        const auto fixed = mFixed.find(inMemory);
        return fixed != mFixed.end() ? fixed->second.size : 0;
    }

    UINT Flags(HGLOBAL inMemory, UINT inDiscardable) {
        const std::lock_guard lock(mMutex);
        if (const MovableObject* const object = mMovable.Find(inMemory)) {
            return object->lockCount | (object->isDiscardable ? inDiscardable : 0) |
                   (object->block.address ? 0 : GMEM_DISCARDED);
        }
        return mFixed.contains(inMemory) ? 0 : GMEM_INVALID_HANDLE;
    }

    HGLOBAL HandleOf(const void* inAddress) {
        const std::lock_guard lock(mMutex);
        const auto movable = mHandles.find(inAddress);
        if (movable != mHandles.end()) {
            return movable->second;
        }
        const auto fixed = mFixed.find(inAddress);
        return fixed != mFixed.end() ? fixed->second.address.get() : nullptr;
    }

private:
    using FixedObjects = std::unordered_map<const void*, Block>;
    enum class Resized { InPlace, Moved, Refused };

    HGLOBAL AddFixed(Block&& inBlock) {
        void* const address = inBlock.address.get();
        mFixed.emplace(address, std::move(inBlock));
        return address;
    }

    HGLOBAL AddMovable(MovableObject&& inObject) {
        const void* const address = inObject.block.address.get();
        const HGLOBAL handle = mMovable.Add(std::move(inObject));
        if (address != nullptr) {
            try {
                mHandles.emplace(address, handle);
            } catch (...) {
                inObject = std::move(*mMovable.Take(handle));
                throw;
            }
        }
        return handle;
    }

    HGLOBAL MakeMovable(FixedObjects::iterator inFixed, UINT inFlags) {
        MovableObject object{.block = std::move(inFixed->second), .isDiscardable = (inFlags & LMEM_DISCARDABLE) != 0};
        try {
            const HGLOBAL handle = AddMovable(std::move(object));
            mFixed.erase(inFixed);
            return handle;
        } catch (...) {
            inFixed->second = std::move(object.block);
            throw;
        }
    }

    bool ResizeMovable(HGLOBAL inHandle, MovableObject& inObject, std::size_t inSize, UINT inFlags) {
        if ((inFlags & GMEM_MODIFY) != 0) {
            inObject.isDiscardable |= (inFlags & LMEM_DISCARDABLE) != 0;
            return true;
        }
        if (inSize == 0) {
            if (inObject.lockCount != 0 || (inFlags & GMEM_MOVEABLE) == 0) {
                return false;
            }
            mHandles.erase(inObject.block.address.get());
            inObject.block = Block();
            return true;
        }
        const bool mayMove = inObject.lockCount == 0 || (inFlags & GMEM_MOVEABLE) != 0;
        Block moved;
        const Resized resized = ResizeBlock(inObject.block, moved, inSize, mayMove, (inFlags & GMEM_ZEROINIT) != 0);
        if (resized == Resized::Moved) {
            mHandles.emplace(moved.address.get(), inHandle);
            mHandles.erase(inObject.block.address.get());
            inObject.block = std::move(moved);
        }
        return resized != Resized::Refused;
    }

    /// Resizes a block where it is, or else fills outMoved with what it becomes and leaves the block alone.
    static Resized ResizeBlock(Block& inBlock, Block& outMoved, std::size_t inSize, bool inMayMove, bool inClear) {
        if (inBlock.address && inSize <= inBlock.capacity) {
            if (inClear && inSize > inBlock.size) {
                std::memset(static_cast<char*>(inBlock.address.get()) + inBlock.size, 0, inSize - inBlock.size);
            }
            inBlock.size = inSize;
            return Resized::InPlace;
        }
        if (!inMayMove) {
            return Resized::Refused;
        }
        outMoved = Block::Allocate(inSize, inClear);
        if (!outMoved.address) {
            return Resized::Refused;
        }
        if (inBlock.size != 0) {
            std::memcpy(outMoved.address.get(), inBlock.address.get(), std::min(inBlock.size, inSize));
        }
        return Resized::Moved;
    }

    std::mutex mMutex;
    FixedObjects mFixed;
    HandleTable<MovableObject, HandleKind::Memory> mMovable;
    std::unordered_map<const void*, HGLOBAL> mHandles; ///< of movable objects, by the address of their block
};

MemoryObjects& Objects() {
    static zyncore::detail::Immortal<MemoryObjects> objects;
    return objects.Get();
}

HGLOBAL Allocate(UINT inFlags, SIZE_T inSize) noexcept {
    try {
        return Objects().Allocate(inFlags, inSize);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

HGLOBAL Resize(HGLOBAL inMemory, SIZE_T inSize, UINT inFlags) noexcept {
    try {
        return Objects().Resize(inMemory, inSize, inFlags);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace
} // namespace WindowsApi

HGLOBAL GlobalAlloc(UINT inFlags, SIZE_T inSize) {
    return WindowsApi::Allocate(inFlags, inSize);
}

HGLOBAL GlobalReAlloc(HGLOBAL inMemory, SIZE_T inSize, UINT inFlags) {
    return WindowsApi::Resize(inMemory, inSize, inFlags);
}

HGLOBAL GlobalFree(HGLOBAL inMemory) {
    return WindowsApi::Objects().Free(inMemory);
}

LPVOID GlobalLock(HGLOBAL inMemory) {
    return WindowsApi::Objects().Lock(inMemory);
}

BOOL GlobalUnlock(HGLOBAL inMemory) {
    return WindowsApi::Objects().Unlock(inMemory, true) ? TRUE : FALSE;
}

SIZE_T GlobalSize(HGLOBAL inMemory) {
    return WindowsApi::Objects().Size(inMemory);
}

UINT GlobalFlags(HGLOBAL inMemory) {
    return WindowsApi::Objects().Flags(inMemory, GMEM_DISCARDABLE);
}

HGLOBAL GlobalHandle(LPCVOID inAddress) {
    return WindowsApi::Objects().HandleOf(inAddress);
}

HLOCAL LocalAlloc(UINT inFlags, SIZE_T inSize) {
    return WindowsApi::Allocate(inFlags, inSize);
}

HLOCAL LocalReAlloc(HLOCAL inMemory, SIZE_T inSize, UINT inFlags) {
    return WindowsApi::Resize(inMemory, inSize, inFlags);
}

HLOCAL LocalFree(HLOCAL inMemory) {
    return WindowsApi::Objects().Free(inMemory);
}

LPVOID LocalLock(HLOCAL inMemory) {
    return WindowsApi::Objects().Lock(inMemory);
}

BOOL LocalUnlock(HLOCAL inMemory) {
    return WindowsApi::Objects().Unlock(inMemory, false) ? TRUE : FALSE;
}

SIZE_T LocalSize(HLOCAL inMemory) {
    return WindowsApi::Objects().Size(inMemory);
}

UINT LocalFlags(HLOCAL inMemory) {
    return WindowsApi::Objects().Flags(inMemory, LMEM_DISCARDABLE);
}

HLOCAL LocalHandle(LPCVOID inAddress) {
    return WindowsApi::Objects().HandleOf(inAddress);
}
