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

/// The filter for a quality of the converter: 0, 1 and below Box, 2 Bilinear, 3 Bicubic, 4 and above Lanczos3. The
/// steps are source samples per destination sample in the two directions.
///
/// Instead of Bilinear it is Box where a picture is halved: where one step is exactly 2 and the other is, too, or is at
/// most 1. Halfway between two samples bilinear interpolation is their average, which is the box; and where a direction
/// does not shrink the two filters are the same. Both directions have one filter, so a picture that is halved in one
/// and shrinks by any other ratio in the other is Bilinear in both. By 3, 4 and more the triangle stays: it keeps out
/// what the box of so many samples lets alias.
///
/// This is the only place that decides it.
Filter FilterForQuality(int quality, double horizontalStep, double verticalStep) noexcept;

/// "box", "bilinear", "bicubic" or "lanczos3".
const char* FilterName(Filter filter) noexcept;

/// How far from its centre the filter reaches, in source samples, when one destination sample covers step of them.
double FilterRadius(Filter filter, double step) noexcept;

/// The weight at a distance in source samples from the centre. Not normalised.
double FilterWeight(Filter filter, double step, double distance) noexcept;

} // namespace PixelBlitter
