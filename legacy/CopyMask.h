#pragma once

/// One-bit masks of pixmap copies.

#include "ScratchPtr.h"
#include "WindowsApi.h"

#include <cstddef>
#include <cstdint>

namespace VF::Pixmaps {

/// A region drawn into bits, most significant first, top line first, in rows of (width + 7) / 8 bytes rounded up to
/// even. Null when there is no memory for that, or no bitmap of that size.
ScratchPtr DrawRegion(HRGN region, std::int64_t width, std::int64_t height);

/// Bytes of a row of such a mask.
constexpr std::int64_t RegionRowBytes(std::int64_t width) noexcept {
    return ((width + 7) / 8 + 1) / 2 * 2;
}

} // namespace VF::Pixmaps
