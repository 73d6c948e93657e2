#pragma once

/// Where the parts of a device-independent bitmap lie, as its header says.

#include "WindowsApi_Types.h"

#include <array>
#include <cstdint>

namespace VF::Pixmaps {

/// biClrUsed; where that is 0, as many as a depth of up to 8 bits has values, and none above.
std::uint32_t ColourCount(const BITMAPINFOHEADER& header) noexcept;

/// The pixels of a packed bitmap, behind the header and so many colours.
const std::uint8_t* BitsBehind(const BITMAPINFOHEADER& header, std::uint32_t colours) noexcept;

/// Bytes of width pixels, rounded up to 4. Products wrap at 32 bits, as they always have.
std::int32_t BitmapRowBytes(std::int32_t bitCount, std::int32_t width) noexcept;

/// The colour index of every colour of the table that a pixel can name; 0 beyond the table.
std::array<std::uint16_t, 256> ColourIndexesOf(const BITMAPINFOHEADER& header, std::uint32_t colours) noexcept;

} // namespace VF::Pixmaps
