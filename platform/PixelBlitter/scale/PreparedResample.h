#pragma once

/// Everything about a resampling that is settled before the first row is read.

#include "scale/FilterTable.h"
#include "scale/Resampler.h"
#include "scale/RowKernels.h"

#include <cstddef>
#include <memory>
#include <new>

namespace PixelBlitter {

/// Four planes one after another in one run of floats.
struct PlanarRow {
    float* planes[4];

    PlanarRow(float* start, std::size_t stride) noexcept
        : planes{start, start + stride, start + 2 * stride, start + 3 * stride} {}
};

/// Length of a plane's part of a row: whole blocks and the margin that the kernels may read.
std::size_t PlaneStride(int width) noexcept;

/// Floats of a row that the vertical pass works on before it turns to the next destination row: with the rows of a
/// window this fits the first-level cache, so that a sample is fetched into it once for several destination rows.
inline constexpr std::size_t kTileFloats = 32 * kBlock;

/// A multiple of kRowsAtOnce.
inline constexpr int kFoldRows = 16 * kRowsAtOnce;

struct PreparedResample {
    ResampleRequest request;
    ResampleOutline outline;
    const RowKernels* kernels = nullptr;
    std::shared_ptr<const FilterTable> rowTable;    ///< along the rows; empty where the widths agree
    std::shared_ptr<const FilterTable> columnTable; ///< across the rows; empty where the heights agree

    /// The vertical pass keeps the source rows of rowsTogether destination rows (slots of them), or, for filters that
    /// reach over too many rows, a group of kRowsAtOnce source rows and running sums of the destination rows under way
    /// (slots).
    bool keepsSums = false;
    /// Sums over kFoldRows source rows go into a second row of sums, so that the rounding errors of very long filters
    /// do not pile up.
    bool foldsSums = false;
    int slots = 1;
    int rowsTogether = 1; ///< destination rows made out of one window; changes the speed, never the result

    std::size_t readStride = 0;   ///< of a source row that is resampled before the vertical pass; 0 without
    std::size_t columnStride = 0; ///< of the rows in the slots
    std::size_t writeStride = 0;  ///< of a destination row that is resampled after the vertical pass; 0 without
    std::size_t columnWidth = 0;  ///< floats of a row in a slot, whole blocks, from its first plane to its last

    /// Throws std::bad_alloc. Allocates tables, not the temporary rows.
    explicit PreparedResample(const ResampleRequest& request);

    bool IsEmpty() const noexcept;

    /// Rows of columnStride that a band holds: slots, then rowsTogether results of a window, or the group of source
    /// rows and the second row of sums for each slot.
    int ColumnRows() const noexcept;
    std::size_t FloatsPerBand() const noexcept;

    /// First destination row of a band; of the band behind the last, the height.
    int BandTop(int band) const noexcept;

    /// Allocates the temporary rows, all zero, so that the margins are finite. Throws std::bad_alloc.
    void AllocateRows();
    float* RowsOfBand(int band) const noexcept {
        return mRows.get() + FloatsPerBand() * static_cast<std::size_t>(band);
    }

private:
    struct FreeAligned {
        void operator()(float* block) const noexcept;
    };

    void ChoosePasses() noexcept;
    void ChooseSlots() noexcept;
    void ChooseBands() noexcept;

    std::unique_ptr<float, FreeAligned> mRows;
};

} // namespace PixelBlitter
