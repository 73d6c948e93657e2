#pragma once

/// Half the width and half the height, by the box or the triangle filter.

#include "Scratch.h"
#include "scale/PixelScaler.h"

namespace PixelBlitter {

class Halving final : public PixelScaler {
public:
    static bool Accepts(const ResampleRequest& request) noexcept;
    static std::unique_ptr<PixelScaler> Make(const ResampleRequest& request, int workers) noexcept;

    Halving(const ResampleRequest& request, int workers, ScratchBlock sums) noexcept;

    void RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept override;
    RowRange SourceRows(int top, int bottom) const noexcept override;
    bool Weighs() const noexcept override { return mFilter == Filter::Box; }
    std::uint64_t TemporaryBytes() const noexcept override;

private:
    void RunBoxRow(const PixelJob& job, int row, const Transfer& transfer) const noexcept;
    void RunTriangleRow(const PixelJob& job, int worker, int row, const Transfer& transfer) const noexcept;

    const PixelKernels& mKernels;
    Filter mFilter;
    int mWidth;
    int mHeight;
    int mWorkers;
    ScratchBlock mSums; ///< of the triangle, for each worker
};

} // namespace PixelBlitter
