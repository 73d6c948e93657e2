#pragma once

/// Mixes of two rows of one format, the complement of alpha, and products with it. Rows are runs of bytes, a whole
/// number of elements; the destination may be either source. Integer formats are mixed in integers but for words, whose
/// mix is one correctly rounded product and sum of floats, so every CPU target gives the same bytes.

#include "FusedKernels.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// What a row consists of.
enum class MixElement {
    Byte,  ///< codes of 8 bits
    Word,  ///< codes of 16 bits
    Group, ///< three codes of 10 bits in 32
    Float,
};
inline constexpr int kMixElements = 4;

/// The share of b in a mix, at most a half, as each element wants it; averages want its value alone.
struct MixShare {
    std::int16_t ofBytes;  ///< in 2^-15
    std::int16_t ofGroups; ///< in -2^-16: negative, because a half would be too large otherwise
    float value;
};

/// The alpha components in every 16 bytes.
struct AlphaBytes {
    alignas(16) std::uint8_t mask[16];   ///< 255 where a byte belongs to alpha, else 0
    alignas(16) std::uint8_t value[16];  ///< what setAlpha stores there, else 0
    alignas(16) std::uint8_t spread[16]; ///< for each byte, that of its pixel's alpha
};

using MixRow = void (*)(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::size_t bytes,
                        const MixShare& share, const Transfer& transfer) noexcept;
using AlphaRow = void (*)(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes,
                          const AlphaBytes& alpha, const Transfer& transfer) noexcept;

struct MixKernels {
    MixRow average[kMixElements]; ///< the share is a half: (a + b + 1) / 2
    MixRow mix[kMixElements];
    AlphaRow invertAlpha[kMixElements]; ///< pixels of four elements; none for groups
    AlphaRow setAlpha[kMixElements];
    /// Colours times alpha, and setAlpha. Of words the nearest integer, halves up, at most 32768. None for bytes.
    AlphaRow multiplyByAlpha[kMixElements];
};

} // namespace PixelBlitter
