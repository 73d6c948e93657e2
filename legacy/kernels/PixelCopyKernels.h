#pragma once

/// The loops of a pixmap copy that no other part of the library has, one table of them per CPU target. Integers
/// throughout: every target gives the bytes of the plain loop.

#include <cstddef>
#include <cstdint>

namespace VF::Pixmaps {

/// Rows of 32-bit pixels. The pixels whose bits are set, the most significant of the mask's first byte first; null
/// for all of them. Only bytes of the mask that hold bits of the row are read.
struct PixelCopyKernels {
    void (*copy)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                 const std::uint8_t* mask) noexcept;
    /// Bytes s and d give (s * weight + 127) / 255 + (d * (255 - weight) + 127) / 255, both terms rounded down.
    void (*blend)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
                  std::uint8_t weight) noexcept;
};

/// The table for this machine.
const PixelCopyKernels& PixelCopyKernelsOfThisMachine() noexcept;

} // namespace VF::Pixmaps
