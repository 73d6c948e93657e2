#pragma once

/// The routines that touch many pixels at once, one table of them per CPU target.
///
/// Every target computes bit-identical results: products and sums are rounded separately and nothing is reassociated,
/// so a picture does not depend on the machine that made it.
///
/// Planes are compact floats. Kernels work in whole vectors: they may read and write up to kPlanePadding floats beyond
/// the count given, never bytes of a picture beyond it.

#include "ByteShuffle.h"
#include "DepthKernels.h"
#include "FusedKernels.h"
#include "GroupKernels.h"
#include "MaskKernels.h"
#include "MixKernels.h"
#include "WarpKernels.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Pixels handled at once. A multiple of 48, so that tiles start at a group of 16 bytes in every packed layout, and
/// small enough that a tile's planes stay in the first-level cache.
inline constexpr std::size_t kTilePixels = 480;

/// Floats of slack behind the samples of every plane: the widest vector.
inline constexpr std::size_t kPlanePadding = 16;

/// value = (code - bias) * scale.
struct Dequantiser {
    float bias;
    float scale;
};

/// code = the integer nearest to clamp(value * scale + offset, 0, largest), largest below 2^16. The offset carries a
/// little more than the code of 0, so that halves go up.
struct Quantiser {
    float scale;
    float offset;
    float largest;
};

struct Kernels {
    // Picture bytes to planes. Component i of a pixel goes to planes[i].
    void (*unpackBytes)(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                        const Dequantiser components[4]) noexcept;
    void (*unpackWords)(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                        const Dequantiser components[4]) noexcept;
    void (*unpackFloats)(const std::uint8_t* source, float* const planes[4], std::size_t pixels) noexcept;
    // 8-bit 4:2:2: pairs of pixels to 2 * pairs luma samples and pairs samples of each chroma.
    void (*unpackPairs)(const std::uint8_t* source, bool lumaFirst, float* luma, float* u, float* v, std::size_t pairs,
                        const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept;
    // 10-bit 4:2:2 in groups of 6 pixels and 16 bytes.
    void (*unpackGroups)(const std::uint8_t* source, float* luma, float* u, float* v, std::size_t groups,
                         const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept;
    void (*unpackPlane)(const std::uint8_t* source, float* samples, std::size_t count,
                        const Dequantiser& range) noexcept;
    // As unpackPlane, of weightA * a + weightB * b.
    void (*unpackMixedPlanes)(const std::uint8_t* a, const std::uint8_t* b, float weightA, float weightB,
                              float* samples, std::size_t count, const Dequantiser& range) noexcept;

    // Planes to picture bytes. NaN becomes code 0.
    void (*packBytes)(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
                      const Quantiser components[4]) noexcept;
    void (*packWords)(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
                      const Quantiser components[4]) noexcept;
    void (*packFloats)(const float* const planes[4], std::uint8_t* destination, std::size_t pixels) noexcept;
    void (*packPairs)(const float* luma, const float* u, const float* v, bool lumaFirst, std::uint8_t* destination,
                      std::size_t pairs, const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept;
    void (*packGroups)(const float* luma, const float* u, const float* v, std::uint8_t* destination, std::size_t groups,
                       const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept;
    void (*packPlane)(const float* samples, std::uint8_t* destination, std::size_t count,
                      const Quantiser& range) noexcept;
    // As packPlane, of the sum of weights[i] * rows[i].
    void (*packMixedRows)(const float* const rows[4], const float weights[4], std::uint8_t* destination,
                          std::size_t count, const Quantiser& range) noexcept;

    // Steps in place on planes.
    void (*applyMatrix)(float* c0, float* c1, float* c2, std::size_t count, const float matrix[9]) noexcept;
    void (*toLinear)(float* samples, std::size_t count) noexcept;   ///< sRGB curve, IEC 61966-2-1, odd beyond 0..1
    void (*fromLinear)(float* samples, std::size_t count) noexcept; ///< its inverse
    void (*premultiply)(float* const planes[4], std::size_t count) noexcept;
    void (*unpremultiply)(float* const planes[4], std::size_t count) noexcept; ///< alpha 0 gives colour 0

    void (*setToOne)(float* samples, std::size_t count) noexcept;
    void (*clampToUnit)(float* samples, std::size_t count) noexcept; ///< to 0..1, NaN to 0

    // Chroma between full and half width. Samples [-1] and [count] of the input must exist.
    // out[2k] = w[0] * in[k - 1] + w[1] * in[k]; out[2k + 1] = w[2] * in[k] + w[3] * in[k + 1].
    void (*widenChroma)(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept;
    // out[k] = w[0] * in[2k - 1] + w[1] * in[2k] + w[2] * in[2k + 1] + w[3] * in[2k + 2].
    void (*narrowChroma)(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept;

    // Bytes to bytes.
    // The luma of a row of 8-bit 4:2:2.
    void (*splitLuma)(const std::uint8_t* source, bool lumaFirst, std::uint8_t* luma, std::size_t pixels,
                      const Transfer& transfer) noexcept;
    // Chroma of rows of 8-bit 4:2:2: (sum of weights[i] * rows[i]) / 16, halves up; the weights add up to 16. centre
    // moves the samples from the left of two columns between them before the one rounding.
    void (*mixPairChroma)(const std::uint8_t* const rows[4], bool lumaFirst, const std::uint16_t weights[4],
                          bool centre, std::uint8_t* u, std::uint8_t* v, std::size_t pairs) noexcept;
    void (*shuffle)(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes, const ByteShuffle& move,
                    const Transfer& transfer) noexcept; ///< whole pixels
    // A copy past the caches. finishStreaming orders these stores before whatever the thread does next.
    void (*streamCopy)(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept;
    // The same; what lies so many bytes ahead in the source is fetched.
    void (*copyAhead)(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes,
                      std::ptrdiff_t ahead) noexcept;
    void (*finishStreaming)() noexcept;

    const FusedKernels& fused;  ///< whole conversions of 8-bit pixels
    const DepthKernels& depth;  ///< whole conversions between element types
    const GroupKernels& groups; ///< whole conversions of 10-bit 4:2:2
    const MixKernels& mix;      ///< mixes of two pictures, alpha alone
    const MaskKernels& masks;   ///< one picture out of two
    const WarpKernels& warp;    ///< one picture projected onto another
};

/// The table for this machine, chosen anew at every call from the targets that the CPU has.
const Kernels& KernelsOfThisMachine() noexcept;

/// The table that runs on every machine.
const Kernels& PortableKernels() noexcept;

} // namespace PixelBlitter
