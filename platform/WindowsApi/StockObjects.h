#pragma once

#include "WindowsApi_Types.h"

namespace WindowsApi {

/// What a context draws into at first: one monochrome pixel, which no drawing changes. Null when memory was exhausted.
HGDIOBJ GetStockBitmap() noexcept;

} // namespace WindowsApi
