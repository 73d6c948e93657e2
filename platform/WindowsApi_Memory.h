#pragma once

/// Windows' global and local memory. The two are one heap with two sets of names.
///
/// A fixed object's handle is its address. A movable object's handle is none: its bytes are reached through a lock,
/// and may be elsewhere after the next resize while it is not locked. A discarded object is a movable one without
/// bytes. Blocks are 16-byte aligned, sizes are in bytes.
///
/// What is said of Global functions holds for their Local namesakes, but that LocalUnlock is FALSE for fixed objects.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

#define GMEM_FIXED 0x0000
#define GMEM_MOVEABLE 0x0002
#define GMEM_ZEROINIT 0x0040
#define GMEM_MODIFY 0x0080
#define GMEM_DISCARDABLE 0x0100
#define GMEM_DISCARDED 0x4000
#define GMEM_INVALID_HANDLE 0x8000
#define GMEM_LOCKCOUNT 0x00FF
#define GHND (GMEM_MOVEABLE | GMEM_ZEROINIT)
#define GPTR (GMEM_FIXED | GMEM_ZEROINIT)

#define LMEM_FIXED 0x0000
#define LMEM_MOVEABLE 0x0002
#define LMEM_ZEROINIT 0x0040
#define LMEM_MODIFY 0x0080
#define LMEM_DISCARDABLE 0x0F00
#define LMEM_DISCARDED 0x4000
#define LMEM_INVALID_HANDLE 0x8000
#define LMEM_LOCKCOUNT 0x00FF
#define LHND (LMEM_MOVEABLE | LMEM_ZEROINIT)
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

#if defined(__cplusplus)
extern "C" {
#endif

/// A new object: movable with GMEM_MOVEABLE, of zero bytes with GMEM_ZEROINIT and of undefined ones without. A movable
/// object of size 0 is a discarded one. Null when memory is exhausted. GlobalFree takes it back.
WINDOWSAPI_API HGLOBAL GlobalAlloc(UINT inFlags, SIZE_T inSize);

/// Resizes an object, keeping the bytes that fit; with GMEM_ZEROINIT new bytes are 0. A fixed object, or a locked one,
/// moves only with GMEM_MOVEABLE. Size 0 discards a movable object, which wants GMEM_MOVEABLE and no lock. With
/// GMEM_MODIFY the size is ignored: GMEM_MOVEABLE makes a fixed object movable, GMEM_DISCARDABLE marks a movable one.
/// Returns the handle, which is a new one where a fixed object moved or became movable; null, and what there was
/// unchanged, when memory is exhausted or a flag is missing.
WINDOWSAPI_API HGLOBAL GlobalReAlloc(HGLOBAL inMemory, SIZE_T inSize, UINT inFlags);

/// Frees an object, locked or not. Null; the handle itself when it is none.
WINDOWSAPI_API HGLOBAL GlobalFree(HGLOBAL inMemory);

/// The address of the first byte. A movable object's lock count goes up by one, to at most 255. Null for a discarded
/// object.
WINDOWSAPI_API LPVOID GlobalLock(HGLOBAL inMemory);

/// Takes one from a movable object's lock count. Whether the object is still locked; TRUE for a fixed object.
WINDOWSAPI_API BOOL GlobalUnlock(HGLOBAL inMemory);

/// The size that was asked for; 0 for a discarded object.
WINDOWSAPI_API SIZE_T GlobalSize(HGLOBAL inMemory);

/// The lock count in the low byte, GMEM_DISCARDABLE and GMEM_DISCARDED; GMEM_INVALID_HANDLE for what is no handle.
WINDOWSAPI_API UINT GlobalFlags(HGLOBAL inMemory);

/// The handle of the object that begins at an address, which for a fixed object is the address.
WINDOWSAPI_API HGLOBAL GlobalHandle(LPCVOID inAddress);

WINDOWSAPI_API HLOCAL LocalAlloc(UINT inFlags, SIZE_T inSize);
WINDOWSAPI_API HLOCAL LocalReAlloc(HLOCAL inMemory, SIZE_T inSize, UINT inFlags);
WINDOWSAPI_API HLOCAL LocalFree(HLOCAL inMemory);
WINDOWSAPI_API LPVOID LocalLock(HLOCAL inMemory);
WINDOWSAPI_API BOOL LocalUnlock(HLOCAL inMemory);
WINDOWSAPI_API SIZE_T LocalSize(HLOCAL inMemory);
WINDOWSAPI_API UINT LocalFlags(HLOCAL inMemory);
WINDOWSAPI_API HLOCAL LocalHandle(LPCVOID inAddress);

#if defined(__cplusplus)
}
#endif

#define GlobalDiscard(inMemory) GlobalReAlloc((inMemory), 0, GMEM_MOVEABLE)
#define LocalDiscard(inMemory) LocalReAlloc((inMemory), 0, LMEM_MOVEABLE)

#endif
