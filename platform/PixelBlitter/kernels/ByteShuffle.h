#pragma once

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// A move of bytes inside every 16: out[i] = (in[order[i]] & keep[i]) | set[i].
struct ByteShuffle {
    std::size_t pixelBytes; ///< a divisor of 16: moves stay inside units of so many bytes
    alignas(16) std::uint8_t order[16];
    alignas(16) std::uint8_t keep[16];
    alignas(16) std::uint8_t set[16];
};

} // namespace PixelBlitter
