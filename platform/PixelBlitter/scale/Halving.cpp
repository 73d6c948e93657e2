#include "scale/Halving.h"

#include <algorithm>
#include <new>

namespace PixelBlitter {
namespace {

// Room for a pixel before the first.
constexpr std::size_t kLeadBytes = 64;

std::uint64_t SumBytes(Filter filter, int destinationWidth) noexcept {
    const auto pixels = 2 * static_cast<std::uint64_t>(destinationWidth);
    return filter == Filter::Box ? 0 : (pixels * 4 * sizeof(std::int16_t) + kLeadBytes + kRowSlackBytes + 63) / 64 * 64;
}

} // namespace

bool Halving::Accepts(const ResampleRequest& request) noexcept {
    const auto halves = [](const ResampleAxis& axis) {
        return axis.sourceSize == 2 * std::int64_t{axis.destinationSize} && axis.step == 2 && axis.offset == 0;
    };
    return halves(request.horizontal) && halves(request.vertical) &&
           (request.filter == Filter::Box || request.filter == Filter::Bilinear);
}

std::unique_ptr<PixelScaler> Halving::Make(const ResampleRequest& request, int workers) noexcept {
    std::optional<ScratchBlock> sums =
        TakeScratch(SumBytes(request.filter, request.horizontal.destinationSize) * static_cast<std::uint64_t>(workers));
    return sums ? std::unique_ptr<PixelScaler>(new (std::nothrow) Halving(request, workers, *std::move(sums)))
                : nullptr;
}

Halving::Halving(const ResampleRequest& request, int workers, ScratchBlock sums) noexcept
    : mKernels(PixelKernelsOfThisMachine()), mFilter(request.filter), mWidth(request.horizontal.destinationSize),
      mHeight(request.vertical.destinationSize), mWorkers(workers), mSums(std::move(sums)) {}

PixelScaler::RowRange Halving::SourceRows(int top, int bottom) const noexcept {
    const int reach = mFilter == Filter::Box ? 0 : 1;
    return {std::max(0, 2 * top - reach), std::min(2 * mHeight, 2 * bottom + reach)};
}

std::uint64_t Halving::TemporaryBytes() const noexcept {
    return SumBytes(mFilter, mWidth) * static_cast<std::uint64_t>(mWorkers);
}

void Halving::RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept {
    const Transfer transfer{job.stream, 2 * job.source.stride};
    for (int row = top; row < bottom; ++row) {
        if (mFilter == Filter::Box) {
            RunBoxRow(job, row, transfer);
        } else {
            RunTriangleRow(job, worker, row, transfer);
        }
    }
}

void Halving::RunBoxRow(const PixelJob& job, int row, const Transfer& transfer) const noexcept {
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

void Halving::RunTriangleRow(const PixelJob& job, int worker, int row, const Transfer& transfer) const noexcept {
    const std::uint8_t* const rows[4] = {
        job.source.Row(std::max(0, 2 * row - 1)),
        job.source.Row(2 * row),
        job.source.Row(2 * row + 1),
        job.source.Row(std::min(2 * mHeight - 1, 2 * row + 2)),
    };
    if (job.matrix) {
        mKernels.halvePairsByTriangle(rows, job.destination.Row(row), static_cast<std::size_t>(mWidth), *job.matrix,
                                      transfer);
        return;
    }
    auto* const sums =
        static_cast<std::uint8_t*>(mSums.get()) + SumBytes(mFilter, mWidth) * static_cast<std::size_t>(worker);
    mKernels.halveByTriangle(rows, reinterpret_cast<std::int16_t*>(sums + kLeadBytes), job.destination.Row(row),
                             static_cast<std::size_t>(mWidth), job.order, transfer);
}

} // namespace PixelBlitter
