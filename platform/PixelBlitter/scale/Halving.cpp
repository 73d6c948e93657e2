#include "scale/Halving.h"

#include <cstdlib>
#include <new>

namespace PixelBlitter {

bool Halving::Accepts(const ResampleRequest& request) noexcept {
    const auto halves = [](const ResampleAxis& axis) {
        return axis.sourceSize == 2 * std::int64_t{axis.destinationSize} && axis.step == 2 && axis.offset == 0;
    };
    return halves(request.horizontal) && halves(request.vertical) && request.filter == Filter::Box;
}

std::unique_ptr<PixelScaler> Halving::Make(const ResampleRequest& request, int) noexcept {
    return std::unique_ptr<PixelScaler>(new (std::nothrow) Halving(request));
}

Halving::Halving(const ResampleRequest& request) noexcept
    : mKernels(PixelKernelsOfThisMachine()), mWidth(request.horizontal.destinationSize) {}

PixelScaler::RowRange Halving::SourceRows(int top, int bottom) const noexcept {
    return {2 * top, 2 * bottom};
}

void Halving::RunRows(const PixelJob& job, int, int top, int bottom) noexcept {
    // In the order of memory, where the processor's own fetching ahead goes on from row to row.
    const bool backwards = job.source.stride < 0;
    for (int i = 0; i < bottom - top; ++i) {
        RunRow(job, backwards ? bottom - 1 - i : top + i);
    }
}

void Halving::RunRow(const PixelJob& job, int row) const noexcept {
    const Transfer transfer{job.stream, 2 * std::abs(job.source.stride)};
    const std::uint8_t* const rows[2] = {job.source.Row(2 * row), job.source.Row(2 * row + 1)};
    std::uint8_t* const destination = job.destination.Row(row);
    const auto width = static_cast<std::size_t>(mWidth);
    if (job.matrix) {
        mKernels.halvePairsByBox(rows, destination, width, *job.matrix, transfer);
        return;
    }
    const std::uint32_t bits = mKernels.halveByBox(rows, destination, width, job.order, transfer);
    // Of opaque pixels both kernels make the same.
    if (job.weighed && (bits & job.order.sourceAlpha) != job.order.sourceAlpha) {
        mKernels.halveStraightByBox(rows, destination, width, job.order, transfer);
    }
}

} // namespace PixelBlitter
