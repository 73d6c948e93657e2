#pragma once

/// The host's relocatable memory: handles, and plain pointers. C and C++.
///
/// A handle points at a master pointer, and that at the block, which moves when the handle is resized; so a block is
/// reached as *handle, and its address is good until the next resize. The master pointer of a disposed handle is null
/// and stays readable for ever, also after the process's static objects are gone. It is not handed out again before
/// kKxReuseDistance others have been disposed of after it: for that long, using the handle after its disposal finds
/// null instead of somebody else's block, and disposing of it again does nothing.
///
/// Sizes are in bytes. Null, and a pointer that never was a handle, are accepted everywhere and answer like a disposed
/// handle: size 0, lock count 0, kKxMemoryFull where something would have to grow.
///
/// Functions may be called from any thread; one handle belongs to one caller at a time. None throws.

#include "SymbolVisibility.h"

#include <stddef.h>
#include <stdint.h>

#if defined(HandleMemory_EXPORTS)
#define HANDLEMEMORY_API VF_SYMBOL_EXPORT
#else
#define HANDLEMEMORY_API VF_SYMBOL_IMPORT
#endif

#if defined(__cplusplus)
extern "C" {
#endif

typedef char* KxPtr;
typedef KxPtr* KxHandle;

enum {
    kKxNoError = 0,
    kKxMemoryFull = -108, ///< memory is exhausted; what there was is unchanged

    kKxReuseDistance = 16384, ///< disposals that lie between one of a handle and its master pointer's next use
};

/// A new handle to a block of undefined content, 16-byte aligned; null when memory is exhausted. Size 0 gives a handle
/// whose block is empty and whose master pointer is not null.
HANDLEMEMORY_API KxHandle KxNewHandle(size_t inSize);

/// The same with every byte 0.
HANDLEMEMORY_API KxHandle KxNewHandleClear(size_t inSize);

/// Whether the pointer is a handle of this library, live or disposed of. The pointer itself is not followed.
HANDLEMEMORY_API int KxIsHandle(const void* inHandle);

/// Frees the block, and makes the master pointer null. A disposed handle is left alone.
HANDLEMEMORY_API void KxDisposeHandle(KxHandle inHandle);

/// The size that was last set; 0 for a disposed handle.
HANDLEMEMORY_API size_t KxGetHandleSize(KxHandle inHandle);

/// Resizes the block, keeping the bytes that fit; new ones are undefined. It may stay where it is. kKxNoError or
/// kKxMemoryFull.
HANDLEMEMORY_API int16_t KxSetHandleSize(KxHandle inHandle, size_t inSize);

/// Count locks, which nest: a locked block does not move; resizing it answers kKxMemoryFull unless it can stay. An
/// unlock without a lock does nothing.
HANDLEMEMORY_API void KxHLock(KxHandle inHandle);
HANDLEMEMORY_API void KxHUnlock(KxHandle inHandle);
HANDLEMEMORY_API uint32_t KxGetHandleLockCount(KxHandle inHandle);

/// Inserts an item of inItemSize bytes before item inIndex of a handle that holds items of that size; a negative index,
/// or one beyond the end, appends. The item must not lie in the handle's own block; without one (null) the new bytes
/// are 0. kKxNoError or kKxMemoryFull.
HANDLEMEMORY_API int16_t InsertHandItem(int32_t inIndex, KxHandle inHandle, size_t inItemSize, const void* inItem);

/// Handles that were made and not disposed of, in the whole process.
HANDLEMEMORY_API uint64_t KxGetLiveHandleCount(void);

/// For finding leaks: whether each new handle remembers the calls that led to it, which costs microseconds each. Off
/// at first, unless the environment variable KX_RECORD_HANDLE_ORIGINS is set to something other than 0.
HANDLEMEMORY_API void KxRecordHandleOrigins(int inRecord);

/// Up to inCapacity return addresses of the calls that led to the handle, innermost first; their number. 0 for a handle
/// that was made without recording.
HANDLEMEMORY_API size_t KxGetHandleOrigin(KxHandle inHandle, const void** outAddresses, size_t inCapacity);

/// Writes one line "module+0xoffset (function)" about the innermost of these calls that lies outside this library and
/// outside the module around inInsideModule (may be null): who asked that module for the handle. The offset suits
/// addr2line; the function is missing where the module does not export it. The text ends with a 0 byte and is cut to
/// inTextSize; the result is its length, 0 when nothing is known.
HANDLEMEMORY_API size_t KxDescribeHandleOrigin(KxHandle inHandle, const void* inInsideModule, char* outText,
                                               size_t inTextSize);

/// A block of undefined content, 16-byte aligned; null when memory is exhausted. Null may be disposed of.
HANDLEMEMORY_API KxPtr KxNewPtr(size_t inSize);
HANDLEMEMORY_API void KxDisposePtr(KxPtr inPtr);

/// Moves bytes; the two blocks may overlap. With a null pointer nothing happens.
HANDLEMEMORY_API void KxBlockMove(const void* inSource, void* outDestination, size_t inSize);

#if defined(__cplusplus)
}
#endif
