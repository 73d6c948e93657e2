#pragma once

/// Windows' resources: opening a module as a data file, and finding what it holds by type and name.
///
/// A module file is read whole when it is opened, at most 1 GiB of it, so nothing that happens to the file afterwards
/// matters; every offset and size in it is checked. Of a resource in several languages the neutral one is taken, else
/// US English, else the first. A program can also register resources of its own, for a module that has none: there is
/// no resource section here in programs and shared libraries.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

#if defined(__cplusplus)
typedef char16_t WCHAR;
#else
typedef uint16_t WCHAR;
#endif
typedef const WCHAR* LPCWSTR;
typedef struct HRSRC__* HRSRC;
typedef intptr_t LONG_PTR;

/// A name or type may be a number of 16 bits in place of a text's address. "#42" names the number 42; the case of ASCII
/// letters does not matter.
#define MAKEINTRESOURCEW(i) ((LPCWSTR)(uintptr_t)(WORD)(i))
#define IS_INTRESOURCE(p) (((uintptr_t)(p) >> 16) == 0)
#define RT_BITMAP MAKEINTRESOURCEW(2)

#define LOAD_LIBRARY_AS_DATAFILE 0x00000002
#define LOAD_LIBRARY_AS_IMAGE_RESOURCE 0x00000020

#if defined(__cplusplus)
extern "C" {
#endif

/// Opens a module for its resources; flags without LOAD_LIBRARY_AS_DATAFILE or LOAD_LIBRARY_AS_IMAGE_RESOURCE, which
/// ask for its code, are refused. The path is as the file system has it. Null when there is no such file or it is no
/// 32- or 64-bit module. Every call gives a handle of its own, which FreeLibrary takes back.
WINDOWSAPI_API HMODULE LoadLibraryExW(LPCWSTR inPath, HANDLE inReserved, DWORD inFlags);

/// Closes a module; its resources' addresses and handles are void. FALSE for what is no module that was opened here.
WINDOWSAPI_API BOOL FreeLibrary(HMODULE inModule);

/// A resource of a module that was opened, or else one that was registered for it. Null when there is none. It need not
/// be freed.
WINDOWSAPI_API HRSRC FindResourceW(HMODULE inModule, LPCWSTR inName, LPCWSTR inType);

/// The bytes of a resource; 0 for a handle that is none.
WINDOWSAPI_API DWORD SizeofResource(HMODULE inModule, HRSRC inResource);

/// A handle for LockResource, good until the module is freed. Null for what is no resource of the module.
WINDOWSAPI_API HGLOBAL LoadResource(HMODULE inModule, HRSRC inResource);

/// The first byte; read-only, aligned to nothing. Null for a handle that is void.
WINDOWSAPI_API LPVOID LockResource(HGLOBAL inLoaded);

/// Does nothing and returns FALSE, as in Windows, which frees resources with their module.
WINDOWSAPI_API BOOL FreeResource(HGLOBAL inLoaded);

/// Called with each name, a text or a number; FALSE ends the enumeration.
typedef BOOL (*ENUMRESNAMEPROCW)(HMODULE inModule, LPCWSTR inType, LPCWSTR inName, LONG_PTR inParameter);

/// Calls a function with the name of every resource of a type, those of the module first. TRUE when there was one and
/// the function ended nothing.
WINDOWSAPI_API BOOL EnumResourceNamesW(HMODULE inModule, LPCWSTR inType, ENUMRESNAMEPROCW inFunction,
                                       LONG_PTR inParameter);

/// Not one of Windows' functions: makes a copy of bytes a resource of a module, which may be null for the program, or
/// anything else that serves the program as a module's handle. FALSE when the name is taken or memory exhausted.
WINDOWSAPI_API BOOL RegisterModuleResource(HMODULE inModule, LPCWSTR inName, LPCWSTR inType, LPCVOID inData,
                                           DWORD inSize);

/// Takes back everything that was registered for a module.
WINDOWSAPI_API void UnregisterModuleResources(HMODULE inModule);

#if defined(__cplusplus)
}
#endif

#endif
