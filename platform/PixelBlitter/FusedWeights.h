#pragma once

/// Parameters of the fused kernels for a pair of formats.

#include "Format.h"
#include "kernels/FusedKernels.h"

namespace PixelBlitter {

AlphaProduct AlphaProductBetween(const Format& from, const Format& to) noexcept;
AlphaQuotient AlphaQuotientBetween(const Format& from, const Format& to) noexcept;

/// 8-bit 4:4:4:4 on both sides.
ComponentMatrix ComponentMatrixBetween(const Format& from, const Format& to) noexcept;

/// From 8-bit 4:4:4:4 to 4:2:2 or 8-bit 4:2:0: from RGB, or from YUV of the same matrix.
PixelHalving PixelHalvingBetween(const Format& from, const Format& to) noexcept;

/// The way back, from 8 bits.
PixelWidening PixelWideningBetween(const Format& from, const Format& to) noexcept;

/// 8-bit 4:2:2 on both sides.
MatrixOfPairs MatrixOfPairsBetween(const Format& from, const Format& to) noexcept;

} // namespace PixelBlitter
