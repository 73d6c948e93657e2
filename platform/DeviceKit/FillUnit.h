#pragma once

/// What repeats in the rows of a filled picture, as the converter's own fill makes it.

#include "Backend.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace DK::Details {

/// The shortest run of bytes that a fill repeats: 1, 2, 4, 8 or 16 of them.
struct FillUnit {
    std::array<std::uint8_t, 16> bytes{};
    std::size_t size = 0;
};

/// Bytes of a row that a picture's pixels take: the row less the end that pads it.
std::uint64_t UsedRowBytes(zynmediatypes::PixelFormat format, int width) noexcept;

/// The unit of a row format, or the converter's refusal as CUDA's code.
int MakeFillUnit(const FillJob& job, FillUnit& outUnit) noexcept;

/// The codes of a planar format's three planes.
int MakePlaneCodes(const FillJob& job, std::array<std::uint8_t, 3>& outCodes) noexcept;

} // namespace DK::Details
