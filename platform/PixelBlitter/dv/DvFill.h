#pragma once

/// Fills of DV frames: one colour, encoded once and copied from then on.

#include "Picture.h"

#include <array>

namespace PixelBlitter::dv {

/// The 8-bit codes Y, U, V of a colour in a format's own model and range.
using ColourCodes = std::array<std::uint8_t, 3>;

/// Fills a DV picture. Errors as dv::Convert has them; nothing has been written then.
PB_Result Fill(const DestinationPicture& picture, const ColourCodes& codes) noexcept;

/// Frees the encoded images; they are made anew when they are needed.
void ReleaseFillImages() noexcept;

} // namespace PixelBlitter::dv
