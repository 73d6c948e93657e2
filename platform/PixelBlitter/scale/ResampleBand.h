#pragma once

/// Makes some destination rows of a prepared resampling.

#include "scale/PreparedResample.h"

namespace PixelBlitter {

class ResampleBand {
public:
    /// Rows [top, bottom) in the memory of a band, which must not be at work twice at the same time. All arguments must
    /// outlive the object.
    ResampleBand(const PreparedResample& prepared, const FloatRowSource& source, FloatRowSink& sink, int band, int top,
                 int bottom) noexcept;

    void Run() noexcept;

private:
    PlanarRow ColumnRow(int index) const noexcept;

    /// Reads a source row, resampled along the row when that comes first.
    void Fetch(int sourceRow, const PlanarRow& into) noexcept;

    /// Writes a destination row, resampled along the row when that comes last.
    void Finish(int destinationRow, const PlanarRow& from) noexcept;

    void RunRowByRow() noexcept;
    void RunWindow() noexcept;
    void RunSums() noexcept;

    /// Makes one tile of a destination row out of the window.
    void SumTile(int destinationRow, std::size_t tile, const PlanarRow& into) noexcept;

    /// Adds the group of source rows that begins at a row to one tile of a running sum.
    void AddTile(int destinationRow, int group, std::size_t tile) noexcept;

    /// Number of the row that a running sum ends up in.
    int ResultOfSums(int destinationRow) const noexcept;

    const PreparedResample& mPrepared;
    const FloatRowSource& mSource;
    FloatRowSink& mSink;
    const int mTop;
    const int mBottom;
    float* const mColumnRows;
    PlanarRow mRead;
    PlanarRow mWrite;
};

} // namespace PixelBlitter
