#pragma once

/// Rows of a picture whose pixels lie somewhere in another, sampled bilinearly.
///
/// Places are found in double precision every kWarpBlock pixels and in float between them, in the same steps on every
/// CPU target; weights have 14 bits. So every target gives the same bytes.

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// 8-bit pixels of four components. Coordinates are at most kLargestWarpSide.
struct WarpSource {
    const std::uint8_t* base;
    std::ptrdiff_t stride;
    int lastColumn;
    int lastRow;
    int weighedAlpha; ///< the byte of a pixel by which the others are weighed; negative for none
};
inline constexpr int kLargestWarpSide = 1 << 24; ///< integers up to here are floats

/// Where the pixel in column c of a row, and r rows after it, comes from, counted in pixels from the centre of the
/// source's first one: column (x[0] + x[1] * c + x[2] * r) / (w[0] + w[1] * c + w[2] * r), row likewise with y.
struct WarpLine {
    double x[3];
    double y[3];
    double w[3];
};

inline constexpr std::size_t kWarpBlock = 16;

struct WarpKernels {
    /// Pixels of a row from column first on. Beyond the source's edge its outermost pixels continue.
    void (*sampleRow)(const WarpSource& source, const WarpLine& line, int first, std::uint8_t* destination,
                      std::size_t pixels) noexcept;
};

} // namespace PixelBlitter
