#pragma once

/// Half the width and half the height, by the box filter.

#include "scale/PixelScaler.h"

namespace PixelBlitter {

class Halving final : public PixelScaler {
public:
    static bool Accepts(const ResampleRequest& request) noexcept;
    static std::unique_ptr<PixelScaler> Make(const ResampleRequest& request, int workers) noexcept;

    explicit Halving(const ResampleRequest& request) noexcept;

    void RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept override;
    RowRange SourceRows(int top, int bottom) const noexcept override;
    bool Weighs() const noexcept override { return true; }
    std::uint64_t TemporaryBytes() const noexcept override { return 0; }

private:
    void RunRow(const PixelJob& job, int row) const noexcept;

    const PixelKernels& mKernels;
    int mWidth;
};

} // namespace PixelBlitter
