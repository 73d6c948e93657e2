#pragma once

/// Marks for symbols that leave a shared library. Each library derives its own mark from these two, choosing EXPORT
/// while it is being built itself and IMPORT for everybody else.
#if defined(_WIN32)
#define VF_SYMBOL_EXPORT __declspec(dllexport)
#define VF_SYMBOL_IMPORT __declspec(dllimport)
#else
#define VF_SYMBOL_EXPORT __attribute__((visibility("default")))
#define VF_SYMBOL_IMPORT __attribute__((visibility("default")))
#endif
