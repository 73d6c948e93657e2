#pragma once

/// Filters of up to kMostTaps samples in both directions, one after the other, with words between them.

#include "Scratch.h"
#include "scale/PixelScaler.h"

namespace PixelBlitter {

class SeparablePixels final : public PixelScaler {
public:
    static bool Accepts(const ResampleRequest& request) noexcept;
    static std::unique_ptr<PixelScaler> Make(const ResampleRequest& request, int workers) noexcept;

    /// Throws std::bad_alloc.
    SeparablePixels(const ResampleRequest& request, int workers);

    void RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept override;
    RowRange SourceRows(int top, int bottom) const noexcept override;
    std::uint64_t TemporaryBytes() const noexcept override;

private:
    /// The rows that a worker holds.
    struct Rows {
        std::uint8_t* wide;   ///< words of the source's width, rowsAtOnce
        std::uint8_t* pairs;  ///< what resampling along the rows reads
        std::uint8_t* narrow; ///< words of the destination's width, mSlots, or its pixels, rowsAtOnce
    };
    Rows RowsOf(int worker) const noexcept;
    std::size_t WideBytes() const noexcept;
    std::size_t PairBytes() const noexcept;
    std::size_t NarrowBytes() const noexcept;
    std::size_t BytesOfWorker() const noexcept;
    std::uint64_t MemoryBytes() const noexcept;

    void RunColumns(const PixelJob& job, int top, int bottom) const noexcept;
    void RunColumnsFirst(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept;
    void RunRowsFirst(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept;
    void RunOnlyRows(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept;

    void ResampleToPixels(const PixelJob& job, const Rows& rows, int top, int count) const noexcept;
    int SourceRow(int row) const noexcept;
    const std::int16_t* ColumnWeights(int row) const noexcept;
    Transfer TransferOf(const PixelJob& job) const noexcept;

    const PixelKernels& mKernels;
    ResampleAxis mAcross;
    ResampleAxis mDown;
    std::shared_ptr<const FilterTable> mRowTable;    ///< empty where the widths agree
    std::shared_ptr<const FilterTable> mColumnTable; ///< empty where the heights agree
    bool mRowsFirst = false;
    int mSlots = 0; ///< rows between the passes when mRowsFirst
    int mWorkers;
    ScratchBlock mMemory;
};

} // namespace PixelBlitter
