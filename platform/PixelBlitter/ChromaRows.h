#pragma once

/// Rows of half-width chroma between planes and pixels that share it along a row.

#include "ChromaSiting.h"
#include "Paths.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Scratch of rows in which kernels write whole vectors.
inline constexpr std::size_t kRowSlackBytes = 128;

inline std::size_t PairsOf(int width) noexcept {
    return static_cast<std::size_t>(width) / 2 + static_cast<std::size_t>(width) % 2;
}

/// A row of chroma for FusedKernels::chromaToPixels, which looks at the pair before the first one.
inline constexpr std::size_t kChromaLeadBytes = 64;

inline std::uint64_t ChromaRowScratch(const DestinationPicture& destination) noexcept {
    return kChromaLeadBytes + PairsOf(destination.width) * 2 * sizeof(std::int16_t) + kRowSlackBytes;
}

inline std::int16_t* ChromaRowIn(void* scratch) noexcept {
    return reinterpret_cast<std::int16_t*>(static_cast<std::uint8_t*>(scratch) + kChromaLeadBytes);
}

inline ChromaMix MixOfRow(const SourcePicture& source, const VerticalSiting& vertical, int row) noexcept {
    const VerticalSiting::Mix mix = vertical.ChromaOfRow(row);
    return {{source.ChromaRow(0, mix.a), source.ChromaRow(0, mix.b)},
            {source.ChromaRow(1, mix.a), source.ChromaRow(1, mix.b)},
            {static_cast<std::uint16_t>(mix.weightA * 8), static_cast<std::uint16_t>(mix.weightB * 8)}};
}

} // namespace PixelBlitter
