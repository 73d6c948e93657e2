#pragma once

/// The master pointers of all handles. They lie in chunks that are never given back, so one that was freed stays
/// readable; it is null while it is free.
///
/// Nothing here is ever destroyed: handles may be disposed of while the process's static objects go.

#include <atomic>
#include <cstdint>

namespace HandleMemory {

struct MasterPointer {
    std::atomic<char*> block; ///< first, because a handle is this object's address
    MasterPointer* nextFree;
};
static_assert(sizeof(std::atomic<char*>) == sizeof(char*) && std::atomic<char*>::is_always_lock_free);

/// A master pointer that points at the block; null when memory is exhausted.
MasterPointer* TakeMasterPointer(char* block) noexcept;

/// The master pointer behind a handle, live or disposed of; null for every other address, which is not followed.
MasterPointer* FindMasterPointer(const void* handle) noexcept;

/// Makes a master pointer null and returns the block that it pointed at: null when another call came first.
char* GiveMasterPointer(MasterPointer& master) noexcept;

/// Master pointers that were taken and not given.
std::uint64_t CountMasterPointersInUse() noexcept;

} // namespace HandleMemory
