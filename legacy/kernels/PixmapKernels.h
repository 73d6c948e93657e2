#pragma once

/// The routines of the flat pixel maps that touch many pixels at once, one table of them per CPU target.
///
/// The plain table is ordinary loops: it says what every target computes to the bit, and runs on every machine. Runs
/// are of pixels that lie side by side; source and destination of one call may begin at the same address where a
/// destination pixel has no more bytes than a source pixel, and otherwise do not overlap. Nothing beyond a run is read
/// or written, except where it is said.

#include "PixelBlitter/kernels/FusedKernels.h"

#include <cstddef>
#include <cstdint>

namespace VF::Pixmaps {

using PixelBlitter::Transfer;

using PixelRun = void (*)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                          const Transfer& transfer) noexcept;

/// Conversions of depth. 555 is the 16-bit format, and the colour index of histograms and lookup maps.
struct DepthKernels {
    PixelRun from32To555;
    PixelRun from24To555;
    PixelRun from32To24;
    PixelRun from24To32;  ///< alpha 255
    PixelRun from555To32; ///< alpha 255
    PixelRun alphaToColour;
    PixelRun alphaToInverseColour;
    std::uint8_t (*largestByte)(const std::uint8_t* bytes, std::size_t count) noexcept; ///< 0 for none
};

/// Alpha and 8-bit channels.
struct ChannelKernels {
    PixelRun readAlpha;  ///< pixels to bytes
    PixelRun writeAlpha; ///< bytes to the alpha of pixels
    void (*selectAlpha)(const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* selector,
                        std::uint8_t* pixels, std::size_t count) noexcept;
    void (*markValue)(std::uint8_t* bytes, std::size_t count, std::uint8_t value) noexcept; ///< 31 where equal, else 0
};

/// A palette as tables: its entries, and the same bytes by component. What lies beyond the last entry is 0.
struct alignas(64) PaletteTables {
    std::uint8_t entries[256][4];
    std::uint8_t components[4][256];

    void Set(std::size_t index, const std::uint8_t entry[4]) noexcept {
        for (std::size_t i = 0; i < 4; ++i) {
            entries[index][i] = components[i][index] = entry[i];
        }
    }
};

/// Look-ups of bytes. They have CPU targets of their own, and so a table of their own.
struct LookUpKernels {
    void (*from8To32)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                      const PaletteTables& palette, const Transfer& transfer) noexcept;
    void (*mapColours)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                       const std::uint8_t red[256], const std::uint8_t green[256], const std::uint8_t blue[256],
                       const Transfer& transfer) noexcept;
};

/// Copies through masks; what they do is said in MaskedCopy.h.
struct MaskKernels {
    void (*throughBytes)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                         const std::uint8_t* mask, const Transfer& transfer) noexcept;
    // Bits, most significant first; null for bits that are all set. Only bytes that hold bits of the run are read.
    void (*throughBits)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                        const std::uint8_t* mask, const Transfer& transfer) noexcept;
    void (*blendThroughBits)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                             const std::uint8_t* mask, std::uint8_t weight, const Transfer& transfer) noexcept;
    /// The same with (s * weight + 127) / 255 + (d * (255 - weight) + 127) / 255, where that adds no 127.
    void (*blendRounded)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                         const std::uint8_t* mask, std::uint8_t weight, const Transfer& transfer) noexcept;
};

/// Three rows, the middle one in the middle.
using ThreeRows = const std::uint8_t* const[3];

/// The edges of mattes; what they do is said in AlphaChannels.h. One element before and behind a middle row is read.
struct MatteKernels {
    void (*smoothFringe)(ThreeRows mask, ThreeRows pixels, std::uint8_t* outMask, std::uint8_t* outPixels,
                         std::size_t count) noexcept;
    void (*paintFringe)(ThreeRows mask, std::uint8_t* outMask, std::uint8_t* outPixels, std::size_t count,
                        std::uint32_t colour) noexcept;
};

/// How the sums of a convolution may be formed without changing a bit of the result.
enum class SumWidth {
    Words,  ///< sums fit 16 bits, weights are few, and a product of integers gives the scaled sum
    Floats, ///< in floats, in the kernel's order
};
inline constexpr int kSumWidths = 2;

struct Convolution {
    std::int16_t weights[9];
    std::int16_t bias;
    float scale;
    std::uint16_t wordScale; ///< for Words: (sum * wordScale) >> 16 is the scaled sum of every sum from 0 to ...
    std::int16_t wordLimit;  ///< ... this, which gives 255, and to which larger sums are clipped
    std::ptrdiff_t ahead;    ///< bytes from a row to one that is read soon, and fetched
};

/// Rows of a multiple of so many bytes are read up to a pixel behind them, others ...
inline constexpr std::size_t kConvolveStep = 64;
/// ... up to so many bytes.
inline constexpr std::size_t kConvolvePadding = 128;
/// Rows of results that share work.
inline constexpr std::size_t kConvolvedTogether = 4;

/// count rows of so many bytes, step apart, out of count + 2 rows.
using ConvolveRows = void (*)(const std::uint8_t* const* rows, std::size_t count, std::uint8_t* destination,
                              std::ptrdiff_t step, std::size_t bytes, const Convolution& convolution) noexcept;

/// The nearest of 256 palette entries to 32 colours that differ in blue. A key is a squared distance << 8 | the entry's
/// number; distances[i] has red's and green's part, blue[b][i] that of blue << 8.
using NearestEntries = void (*)(const std::int32_t distances[256], const std::int32_t blue[32][256],
                                std::uint8_t* entries) noexcept;

struct PixmapKernels {
    DepthKernels depth;
    ChannelKernels channels;
    MaskKernels masks;
    MatteKernels mattes;
    ConvolveRows convolve[kSumWidths]; ///< a pixel before each row is read, too
    NearestEntries nearestEntries;
    void (*finishStreaming)() noexcept;
};

/// The tables for this machine.
const PixmapKernels& KernelsOfThisMachine() noexcept;

const LookUpKernels& LookUpsOfThisMachine() noexcept;

/// The tables of ordinary loops.
const PixmapKernels& PlainKernels() noexcept;
const LookUpKernels& PlainLookUps() noexcept;

} // namespace VF::Pixmaps
