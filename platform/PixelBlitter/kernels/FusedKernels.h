#pragma once

/// Conversions of 8-bit pixels in one pass over integers: codes in, codes out, one rounding.
///
/// Weights are rounded to 14 or 15 bits behind the point, jointly where a row of the matrix has to add up, which keeps
/// every result within 0.51 of a code of the exact one. Codes are products and sums of integers (in unpremultiply:
/// correctly rounded float operations), so every CPU target gives the same bytes.
///
/// A component that appears twice in a pixel's vector may carry a weight beyond what 16 bits hold, split in two.

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// How a kernel treats memory.
struct Transfer {
    /// Store past the caches wherever the destination's address allows it; Kernels::finishStreaming orders this. The
    /// source is then fetched ahead, too.
    bool stream = false;
    std::ptrdiff_t ahead = 0; ///< bytes from what is read to what is fetched
};

/// Bits behind the point of the weights.
enum class WeightScale { Broad, Coarse, Fine }; ///< 12: weights below 8; 14: below 2, sums of two below 4; 15: below 1
constexpr int BitsOf(WeightScale scale) noexcept {
    constexpr int kBits[] = {12, 14, 15};
    return kBits[static_cast<int>(scale)];
}

/// Components c0 c1 c2 are B G R or V U Y. A pixel's vector is (c0, c1), (c2, c1).
struct SplitWeights {
    std::int16_t first[2];
    std::int16_t second[2];
};

/// Straight to premultiplied: code = zero + alpha / 255 * (code - zero).
struct AlphaProduct {
    alignas(16) std::uint8_t order[16];     ///< moves the pixels' bytes to the destination's order first
    alignas(16) std::uint8_t evenAlpha[16]; ///< then: the factor of bytes 0 and 2 of a pixel, as words
    alignas(16) std::uint8_t oddAlpha[16];  ///< of bytes 1 and 3
    std::uint32_t evenOpaque;               ///< 255 where that byte is alpha itself
    std::uint32_t oddOpaque;
    std::uint32_t evenZero; ///< codes of 0, as words
    std::uint32_t oddZero;
};

/// Premultiplied to straight: code = zero + 255 / alpha * (code - zero), clipped; zero for alpha 0.
struct AlphaQuotient {
    alignas(16) std::uint8_t order[16]; ///< as above
    bool alphaFirst;                    ///< in the destination
    float zero[3];                      ///< of the colour components in the destination's order
};

/// Four components to four of another model.
struct ComponentMatrix {
    WeightScale scale;
    alignas(16) std::uint8_t first[16];  ///< words (c0, c1) of each pixel
    alignas(16) std::uint8_t second[16]; ///< words (c2, c1)
    alignas(16) std::uint8_t alpha[16];  ///< alpha as a dword
    std::uint32_t opaque;                ///< or-ed to it
    SplitWeights weights[3];
    std::int32_t offset[3];             ///< with the half that rounds
    alignas(16) std::uint8_t order[16]; ///< from four c0, four c1, four c2, four alphas to pixels
};

/// Four components to luma and half-width chroma. Chroma is filtered as sums of codes before it meets its weights.
struct PixelHalving {
    WeightScale scale;
    bool centred;
    alignas(16) std::uint8_t first[16];
    alignas(16) std::uint8_t second[16];
    alignas(16) std::uint8_t pairs[16]; ///< bytes (c0 c0' c1 c1' c2 c2' c1 c1') of two neighbours
    SplitWeights luma;
    SplitWeights u;
    SplitWeights v;
    std::int32_t lumaOffset;    ///< with the half that rounds
    std::int32_t chromaZero[2]; ///< U and V: the code of 0, with the scale's bits
    bool lumaAbove;             ///< pixelsToPairs: luma is the upper byte of each 16 bits (U Y V Y)
};
/// Words of the sums of one pair of pixels.
inline constexpr std::size_t kSumWords = 4;

/// Luma and half-width chroma to four components. Chroma comes as (code - zero) * 64 in pairs of U and V.
struct PixelWidening {
    bool centred;
    std::int16_t lumaZero;
    // Weights of (luma, v), of (u, luma) and of both; luma counts once, chroma half because it arrives doubled.
    std::int16_t fromV[2];    ///< 14 bits behind the point
    std::int16_t fromU[2];    ///< 14
    std::int16_t fromBoth[4]; ///< 15
    std::int16_t zero[3];     ///< codes of 0 of the three results: fromU, fromBoth, fromV
    bool reorder;             ///< the results fromU, fromBoth, fromV, opaque are not yet in order
    alignas(16) std::uint8_t order[16];
};

/// How luma lies in what becomes pixels.
enum class LumaLayout {
    Plane,
    PairsBelow, ///< of 16 bits each in 4:2:2 the lower byte
    PairsAbove, ///< the upper byte
    Codes,      ///< 10-bit codes in 16 bits
};
inline constexpr int kLumaLayouts = 3; ///< those that chromaToPixels reads

/// 8-bit 4:2:2 to another matrix. Luma keeps its weight of 1 and gets none in chroma.
struct MatrixOfPairs {
    bool lumaFirst;                     ///< in the source
    std::int16_t luma[2];               ///< weights of U and V, 15 bits behind the point
    std::int16_t u[2];                  ///< 14
    std::int16_t v[2];                  ///< 14
    alignas(16) std::uint8_t order[16]; ///< from four pairs of U and V, then of luma, to pairs of pixels
};

/// The rows that chroma is mixed from, and their weights in eighths.
struct ChromaMix {
    const std::uint8_t* u[2];
    const std::uint8_t* v[2];
    std::uint16_t weights[2];
};

struct FusedKernels {
    void (*premultiply)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                        const AlphaProduct& product, const Transfer& transfer) noexcept;
    void (*unpremultiply)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                          const AlphaQuotient& quotient, const Transfer& transfer) noexcept;
    void (*mixComponents)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                          const ComponentMatrix& matrix, const Transfer& transfer) noexcept;

    // A row of pixels to 8-bit 4:2:2.
    void (*pixelsToPairs)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                          const PixelHalving& halving, const Transfer& transfer) noexcept;
    // A row of pixels to luma and to what sumsToChroma wants: kSumWords for each pair, and slack of 128 bytes.
    void (*pixelsToLuma)(const std::uint8_t* source, std::uint8_t* luma, std::int16_t* sums, std::size_t pixels,
                         const PixelHalving& halving, const Transfer& transfer) noexcept;
    // Weights in sixteenths. u and v have slack of 64 bytes.
    void (*sumsToChroma)(const std::int16_t* const rows[4], const std::uint16_t weights[4], std::uint8_t* u,
                         std::uint8_t* v, std::size_t pairs, const PixelHalving& halving) noexcept;

    // Chroma as chromaToPixels wants it: two words for each pair, room for as many before the first and slack of 128
    // bytes. The ends repeat.
    void (*chromaOfPairs)(const std::uint8_t* source, bool lumaFirst, std::int16_t* chroma, std::size_t pairs) noexcept;
    void (*chromaOfPlanes)(const ChromaMix& mix, std::int16_t* chroma, std::size_t pairs) noexcept;
    void (*chromaToPixels[kLumaLayouts])(const std::uint8_t* luma, const std::int16_t* chroma,
                                         std::uint8_t* destination, std::size_t pixels, const PixelWidening& widening,
                                         const Transfer& transfer) noexcept;

    // A row of planes to 8-bit 4:2:2 of the same codes; chroma rows are mixed with one rounding, halves up.
    void (*planesToPairs)(const std::uint8_t* luma, const ChromaMix& mix, bool lumaFirst, std::uint8_t* destination,
                          std::size_t pixels, const Transfer& transfer) noexcept;
    // The same from chroma between two columns. chroma: a row as for chromaToPixels, made on the way.
    void (*centredPlanesToPairs)(const std::uint8_t* luma, const ChromaMix& mix, std::int16_t* chroma, bool lumaFirst,
                                 std::uint8_t* destination, std::size_t pixels, const Transfer& transfer) noexcept;

    // A row of 8-bit 4:2:2 and its chroma as chromaOfPairs leaves it.
    void (*mixPairs)(const std::uint8_t* source, const std::int16_t* chroma, std::uint8_t* destination,
                     std::size_t pixels, const MatrixOfPairs& matrix, const Transfer& transfer) noexcept;
};

} // namespace PixelBlitter
