#pragma once

/// The resampling filters, and which one a quality asks for.

namespace PixelBlitter {

/// When a picture shrinks, every filter widens with the ratio, so that it averages over all the source samples that a
/// destination sample covers.
enum class Filter {
    Box,      ///< area average: each source sample counts by the part of it that is covered; bilinear when enlarging
    Bilinear, ///< triangle of radius 1
    Bicubic,  ///< Keys' cubic convolution of 1981 with a = -1/2, radius 2
    Lanczos3, ///< sinc windowed by the central lobe of a sinc three times as wide, radius 3
};

/// The filter for a quality of the converter: 0, 1 and below Box, 2 Bilinear, 3 Bicubic, 4 and above Lanczos3.
/// This is the only place that decides it.
Filter FilterForQuality(int quality) noexcept;

/// "box", "bilinear", "bicubic" or "lanczos3".
const char* FilterName(Filter filter) noexcept;

/// How far from its centre the filter reaches, in source samples, when one destination sample covers step of them.
double FilterRadius(Filter filter, double step) noexcept;

/// The weight at a distance in source samples from the centre. Not normalised.
double FilterWeight(Filter filter, double step, double distance) noexcept;

} // namespace PixelBlitter
