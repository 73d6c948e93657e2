#pragma once

/// The loops over samples, one set per vector width; the widest that the processor has is chosen at run time.
///
/// A row is kBlock-aligned in length: kernels work on whole blocks, and may read (never write) up to kRowMargin samples
/// behind the last one, which must hold finite numbers.

#include "scale/FilterTable.h"

#include <cstddef>

namespace PixelBlitter {

/// Finite samples that must follow a padded row.
inline constexpr int kRowMargin = 2 * kBlock;

/// Rows that WeightedSum adds up at a time: as many pointers as there are registers to hold them.
inline constexpr int kRowsAtOnce = 8;

struct RowKernels {
    /// destination[i] = (accumulate ? destination[i] : 0) + weights[0] rows[0][i] + ... for count samples, a multiple
    /// of kBlock. 1 <= rowCount <= kRowsAtOnce. All rows aligned to 64 bytes.
    void (*weightedSum)(const float* const* rows, const float* weights, int rowCount, float* destination,
                        std::size_t count, bool accumulate) noexcept;

    /// Resamples four planes along the row with a table for TableUse::Rows. Whole blocks of destination are written.
    void (*resampleRow)(const FilterTable& table, const float* const source[4], float* const destination[4]) noexcept;
};

/// The set for this processor.
const RowKernels& RowKernelsForThisProcessor() noexcept;

} // namespace PixelBlitter
