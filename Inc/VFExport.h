#pragma once

#include "SymbolVisibility.h"

/// Marks the functions that leave libvf. Everything else in the library is hidden.
#if defined(vf_EXPORTS)
#define VF_API VF_SYMBOL_EXPORT
#else
#define VF_API VF_SYMBOL_IMPORT
#endif
