#pragma once

/// The loops that scale 8-bit pixels of four components in integers, one table of them per CPU target. Every target
/// gives the same bytes.
///
/// Between two passes a sample is a signed word of kFractionBits behind the point, which keeps what filters overshoot.

#include "kernels/FusedKernels.h"
#include "scale/FilterTable.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// How pixels become those of a destination that holds the same colours.
struct PixelOrder {
    alignas(16) std::uint8_t order[16];         ///< moves the source's bytes to the destination's order
    alignas(16) std::uint8_t pairs[16];         ///< and the same components of two neighbours together
    alignas(16) std::uint8_t straightPairs[16]; ///< pairs with alpha last
    alignas(16) std::uint8_t alphaPairs[16];    ///< the alphas of two neighbours for each component but alpha
    alignas(16) std::uint8_t fromAlphaLast[16]; ///< from pixels with alpha last to the destination's order
    std::uint32_t opaque;                       ///< or-ed to each pixel of the destination
    std::uint32_t sourceAlpha;                  ///< bits of the source's alpha; 0 where it does not matter
    alignas(16) float zero[4];                  ///< codes of 0 of the components with alpha last
};

/// 8-bit 4:2:2 to pixels. Luma and chroma come with 7 bits behind the point, weights have kMatrixBits. Component i of B
/// G R or V U Y is luma[i] * Y + u[i] * U + v[i] * V + offset[i].
struct PairMatrix {
    bool lumaFirst; ///< Y U Y V
    std::int16_t luma[3];
    std::int16_t u[3];
    std::int16_t v[3];
    std::int32_t offset[3];             ///< for codes, which count from 0, and with the half that rounds
    alignas(16) std::uint8_t order[16]; ///< from four of each component, and four alphas, to pixels
};
inline constexpr int kMatrixBits = 13;
inline constexpr int kMatrixFraction = 7;

inline constexpr int kFractionBits = 6;
inline constexpr int kMostTaps = 18;
inline constexpr int kMostRowsAtOnce = 4;
inline constexpr std::size_t kRowSlackBytes = 256;

struct PixelKernels {
    // Half the width and half the height. pixels are those of the destination.
    /// Averages over two by two pixels, halves up. Returns the bits that are set in all pixels of both rows.
    std::uint32_t (*halveByBox)(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                                const PixelOrder& order, const Transfer& transfer) noexcept;
    /// The same weighted by alpha, between straight formats.
    void (*halveStraightByBox)(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                               const PixelOrder& order, const Transfer& transfer) noexcept;

    /// A row of pixels out of two rows of pairs, each of which makes one pixel. Chroma is filtered as if it had been
    /// interpolated to full width first.
    void (*halvePairsByBox)(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                            const PairMatrix& matrix, const Transfer& transfer) noexcept;

    // Any sizes. Rows of words have four for each pixel, kRowSlackBytes behind the last one, and are aligned to 64.
    /// Fetches what lies so many bytes ahead.
    void (*widen)(const std::uint8_t* row, std::int16_t* words, std::size_t pixels, std::ptrdiff_t ahead) noexcept;
    /// Sums of so many rows, an even number up to kMostTaps, with weights of kWordBits.
    void (*sumBytesToWords)(const std::uint8_t* const* rows, const std::int16_t* weights, int taps, std::int16_t* words,
                            std::size_t pixels, const Transfer& transfer) noexcept;
    void (*sumBytesToBytes)(const std::uint8_t* const* rows, const std::int16_t* weights, int taps,
                            std::uint8_t* destination, std::size_t pixels, const PixelOrder& order,
                            const Transfer& transfer) noexcept;
    void (*sumWordsToBytes)(const std::int16_t* const* rows, const std::int16_t* weights, int taps,
                            std::uint8_t* destination, std::size_t pixels, const PixelOrder& order,
                            const Transfer& transfer) noexcept;
    /// Rows that the next two take, always so many.
    int rowsAtOnce;
    /// Resamples along the rows with a table for TableUse::WordRows. pairs: aligned room for 16 * rowsAtOnce bytes for
    /// each two pixels of a row and kMostTaps more. The words of destination are written in groups of kWordBlock.
    void (*resampleToWords)(const FilterTable& table, const std::int16_t* const* rows, std::int16_t* pairs,
                            std::int16_t* const* destination, std::size_t pixels) noexcept;
    void (*resampleToBytes)(const FilterTable& table, const std::int16_t* const* rows, std::int16_t* pairs,
                            std::uint8_t* const* destination, std::size_t pixels, const PixelOrder& order) noexcept;

    void (*copy)(const std::uint8_t* row, std::uint8_t* destination, std::size_t pixels,
                 const Transfer& transfer) noexcept;

    /// Whether all these bits are set in all pixels.
    bool (*hasAllBits)(const std::uint8_t* row, std::size_t pixels, std::uint32_t bits) noexcept;
};

/// The table for this processor.
const PixelKernels& PixelKernelsOfThisMachine() noexcept;

/// The table for every processor.
const PixelKernels& PortablePixelKernels() noexcept;

} // namespace PixelBlitter
