#pragma once

/// The weights of one axis, laid out as the row kernels read them.

#include "scale/Resampler.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace PixelBlitter {

/// Destination samples in a block of weights, and the multiple that rows and tables are padded to: the lanes of the
/// widest vector in use.
inline constexpr int kBlock = 16;

/// The same for weights in words, and their bits behind the point.
inline constexpr int kWordBlock = 4;
inline constexpr int kWordBits = 14;

struct FilterTable {
    enum class Layout {
        /// weights[n * weightStride + t]: the taps of one destination sample lie together.
        TapsTogether,
        /// weights[(n / kBlock * taps + t) * kBlock + n % kBlock]: tap t of a block of destination samples lies
        /// together. Only where the samples that one tap of a block reads fit two vectors of every width in use.
        SamplesTogether,
        /// words[n * taps + t], taps even.
        WordsOfTaps,
        /// words[(n / kWordBlock * taps / 2 + t / 2) * 2 * kWordBlock + n % kWordBlock * 2 + t % 2], taps and left
        /// even.
        WordsOfPairs,
    };

    Layout layout = Layout::TapsTogether;
    int taps = 0;                    ///< taps of every destination sample; at most the source size, but for words
    std::size_t weightStride = 0;    ///< TapsTogether only
    std::int32_t spans[3] = {};      ///< Span of 4, 8 and 16; Rows only
    std::vector<std::int32_t> left;  ///< first source sample of each destination sample; never decreases;
                                     ///< left + taps <= source size, but for words; padded to whole blocks
    std::vector<float> weights;      ///< padded to whole blocks with zeros
    std::vector<std::int16_t> words; ///< the same with kWordBits behind the point, adding up to exactly 1

    /// How far the first source samples of so many neighbours (4, 8 or 16) from a multiple of that lie apart at most.
    std::int32_t Span(std::int32_t lanes) const noexcept { return spans[lanes / 8]; }

    std::uint64_t SizeInBytes() const noexcept {
        return sizeof *this + left.capacity() * sizeof left[0] + weights.capacity() * sizeof weights[0] +
               words.capacity() * sizeof words[0];
    }
};

/// Which kernels a table is for: those of floats or those of words.
enum class TableUse { Rows, Columns, WordRows, WordColumns };

/// Computes a table. Throws std::bad_alloc. Both sizes of the axis must be at least 1 and its step above 0.
FilterTable MakeFilterTable(const ResampleAxis& axis, Filter filter, TableUse use);

/// The table from the cache, or a new one that the cache keeps. Throws std::bad_alloc. Safe on every thread.
std::shared_ptr<const FilterTable> SharedFilterTable(const ResampleAxis& axis, Filter filter, TableUse use);

} // namespace PixelBlitter
