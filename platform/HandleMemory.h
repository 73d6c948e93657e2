#pragma once

/// The host's relocatable memory: handles, and plain pointers. C and C++.
///
/// A handle points at a master pointer, and that at the block, which moves when the handle is resized; so a block is
/// reached as *handle, and its address is good until the next resize. The master pointer of a disposed handle is null
/// and stays readable for ever: using a handle after its disposal finds null instead of somebody else's block, and
/// disposing it again does nothing. Sizes are in bytes. A null handle is accepted everywhere and answers like an empty
/// one.
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
};

/// A new handle to a block of undefined content, 16-byte aligned; null when memory is exhausted. Size 0 gives a handle
/// whose block is empty and whose master pointer is not null.
HANDLEMEMORY_API KxHandle KxNewHandle(size_t inSize);

/// The same with every byte 0.
HANDLEMEMORY_API KxHandle KxNewHandleClear(size_t inSize);

/// Frees the block, and makes the master pointer null. A disposed handle is left alone.
HANDLEMEMORY_API void KxDisposeHandle(KxHandle inHandle);

/// The size that was last set; 0 for a disposed handle.
HANDLEMEMORY_API size_t KxGetHandleSize(KxHandle inHandle);

/// Resizes the block, keeping the bytes that fit; new ones are undefined. kKxNoError or kKxMemoryFull.
HANDLEMEMORY_API int16_t KxSetHandleSize(KxHandle inHandle, size_t inSize);

/// Count locks, which nest: a locked block does not move; resizing it answers kKxMemoryFull unless it can stay.
HANDLEMEMORY_API void KxHLock(KxHandle inHandle);
HANDLEMEMORY_API void KxHUnlock(KxHandle inHandle);
HANDLEMEMORY_API uint32_t KxGetHandleLockCount(KxHandle inHandle);

/// Inserts an item of inItemSize bytes before item inIndex of a handle that holds items of that size; -1, or an index
/// beyond the end, appends. The item may be null: the new bytes are 0 then. kKxNoError or kKxMemoryFull.
HANDLEMEMORY_API int16_t InsertHandItem(int32_t inIndex, KxHandle inHandle, size_t inItemSize, const void* inItem);

/// Handles that were made and not disposed of, in the whole process.
HANDLEMEMORY_API uint64_t KxGetLiveHandleCount(void);

/// A block of undefined content, 16-byte aligned; null when memory is exhausted. Null may be disposed of.
HANDLEMEMORY_API KxPtr KxNewPtr(size_t inSize);
HANDLEMEMORY_API void KxDisposePtr(KxPtr inPtr);

/// Moves bytes; the two blocks may overlap.
HANDLEMEMORY_API void KxBlockMove(const void* inSource, void* outDestination, size_t inSize);

#if defined(__cplusplus)
}
#endif
