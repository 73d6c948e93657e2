#include "scale/SeparablePixels.h"

#include <algorithm>
#include <new>

namespace PixelBlitter {
namespace {

// Processor cycles with vectors of 64 bytes; only their proportions matter.
constexpr double kColumnPairOfBytes = 0.6; // two taps down the columns of a pixel
constexpr double kColumnPairOfWords = 0.4; // where they are words
constexpr double kColumnRounding = 0.4;    // of a pixel
constexpr double kRowPair = 0.25;          // two taps along the rows
constexpr double kRowRounding = 0.5;
constexpr double kNeighbours = 0.3; // of a source pixel

bool IsShort(const ResampleAxis& axis, Filter filter) noexcept {
    return axis.IsIdentity() || 2 * FilterRadius(filter, axis.step) + 1 <= kMostTaps - 2;
}

std::size_t RowOfWords(int pixels) noexcept {
    const std::size_t bytes = static_cast<std::size_t>(pixels) * 4 * sizeof(std::int16_t) + kRowSlackBytes;
    return (bytes + 63) / 64 * 64;
}

template <class Sample>
Sample* At(std::uint8_t* rows, std::size_t rowBytes, int row) noexcept {
    return reinterpret_cast<Sample*>(rows + rowBytes * static_cast<std::size_t>(row));
}

} // namespace

bool SeparablePixels::Accepts(const ResampleRequest& request) noexcept {
    return IsShort(request.horizontal, request.filter) && IsShort(request.vertical, request.filter) &&
           !(request.horizontal.IsIdentity() && request.vertical.IsIdentity());
}

std::unique_ptr<PixelScaler> SeparablePixels::Make(const ResampleRequest& request, int workers) noexcept {
    try {
        return std::make_unique<SeparablePixels>(request, workers);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

SeparablePixels::SeparablePixels(const ResampleRequest& request, int workers)
    : mKernels(PixelKernelsOfThisMachine()), mAcross(request.horizontal), mDown(request.vertical), mWorkers(workers) {
    if (!mAcross.IsIdentity()) {
        mRowTable = SharedFilterTable(mAcross, request.filter, TableUse::WordRows);
    }
    if (!mDown.IsIdentity()) {
        mColumnTable = SharedFilterTable(mDown, request.filter, TableUse::WordColumns);
    }
    if (mRowTable && mColumnTable) {
        const double rowPairs = mRowTable->taps / 2;
        const double columnPairs = mColumnTable->taps / 2;
        const double alongRow =
            mAcross.destinationSize * (kRowPair * rowPairs + kRowRounding) + mAcross.sourceSize * kNeighbours;
        const double columnsFirst =
            mDown.destinationSize *
            (mAcross.sourceSize * (kColumnPairOfBytes * columnPairs + kColumnRounding) + alongRow);
        const double rowsFirst = mDown.sourceSize * alongRow + double(mDown.destinationSize) * mAcross.destinationSize *
                                                                   (kColumnPairOfWords * columnPairs + kColumnRounding);
        mRowsFirst = rowsFirst < columnsFirst;
        mSlots = mRowsFirst ? mColumnTable->taps + mKernels.rowsAtOnce : 0;
    }
    std::optional<ScratchBlock> memory = TakeScratch(MemoryBytes());
    if (!memory) {
        throw std::bad_alloc();
    }
    mMemory = *std::move(memory);
}

std::size_t SeparablePixels::WideBytes() const noexcept {
    return RowOfWords(mAcross.sourceSize) * static_cast<std::size_t>(mKernels.rowsAtOnce);
}

std::size_t SeparablePixels::PairBytes() const noexcept {
    const std::size_t pairs = static_cast<std::size_t>(mAcross.sourceSize) / 2 + kMostTaps;
    return pairs * 16 * static_cast<std::size_t>(mKernels.rowsAtOnce);
}

std::size_t SeparablePixels::NarrowBytes() const noexcept {
    return RowOfWords(mAcross.destinationSize) * static_cast<std::size_t>(std::max(mSlots, mKernels.rowsAtOnce));
}

std::size_t SeparablePixels::BytesOfWorker() const noexcept {
    return mRowTable ? WideBytes() + PairBytes() + NarrowBytes() : 0;
}

std::uint64_t SeparablePixels::MemoryBytes() const noexcept {
    return BytesOfWorker() * static_cast<std::size_t>(mWorkers);
}

std::uint64_t SeparablePixels::TemporaryBytes() const noexcept {
    return MemoryBytes() + (mRowTable ? mRowTable->SizeInBytes() : 0) +
           (mColumnTable ? mColumnTable->SizeInBytes() : 0);
}

SeparablePixels::Rows SeparablePixels::RowsOf(int worker) const noexcept {
    auto* const memory = static_cast<std::uint8_t*>(mMemory.get()) + BytesOfWorker() * static_cast<std::size_t>(worker);
    return {memory, memory + WideBytes(), memory + WideBytes() + PairBytes()};
}

int SeparablePixels::SourceRow(int row) const noexcept {
    return mColumnTable ? mColumnTable->left[static_cast<std::size_t>(row)] : row;
}

const std::int16_t* SeparablePixels::ColumnWeights(int row) const noexcept {
    return mColumnTable->words.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(mColumnTable->taps);
}

PixelScaler::RowRange SeparablePixels::SourceRows(int top, int bottom) const noexcept {
    const int taps = mColumnTable ? mColumnTable->taps : 1;
    return {SourceRow(top), std::min(mDown.sourceSize, SourceRow(bottom - 1) + taps)};
}

Transfer SeparablePixels::TransferOf(const PixelJob& job) const noexcept {
    return {job.stream, job.source.stride};
}

void SeparablePixels::RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept {
    if (!mRowTable) {
        RunColumns(job, top, bottom);
    } else if (!mColumnTable) {
        RunOnlyRows(job, RowsOf(worker), top, bottom);
    } else if (mRowsFirst) {
        RunRowsFirst(job, RowsOf(worker), top, bottom);
    } else {
        RunColumnsFirst(job, RowsOf(worker), top, bottom);
    }
}

namespace {

// The source rows of a destination row. What an even number of taps has beyond the last row has a weight of 0.
struct SourceRowsOf {
    const std::uint8_t* rows[kMostTaps];

    SourceRowsOf(const PixelJob& job, int first, int taps, int height) noexcept {
        for (int t = 0; t < taps; ++t) {
            rows[t] = job.source.Row(std::min(first + t, height - 1));
        }
    }
};

} // namespace

void SeparablePixels::RunColumns(const PixelJob& job, int top, int bottom) const noexcept {
    const int taps = mColumnTable->taps;
    for (int row = top; row < bottom; ++row) {
        const SourceRowsOf source(job, SourceRow(row), taps, mDown.sourceSize);
        mKernels.sumBytesToBytes(source.rows, ColumnWeights(row), taps, job.destination.Row(row),
                                 static_cast<std::size_t>(mAcross.destinationSize), job.order, TransferOf(job));
    }
}

void SeparablePixels::RunColumnsFirst(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept {
    const int taps = mColumnTable->taps;
    for (int group = top; group < bottom; group += mKernels.rowsAtOnce) {
        const int count = std::min(mKernels.rowsAtOnce, bottom - group);
        for (int i = 0; i < count; ++i) {
            const SourceRowsOf source(job, SourceRow(group + i), taps, mDown.sourceSize);
            mKernels.sumBytesToWords(source.rows, ColumnWeights(group + i), taps,
                                     At<std::int16_t>(rows.wide, RowOfWords(mAcross.sourceSize), i),
                                     static_cast<std::size_t>(mAcross.sourceSize), TransferOf(job));
        }
        ResampleToPixels(job, rows, group, count);
    }
}

void SeparablePixels::RunOnlyRows(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept {
    for (int group = top; group < bottom; group += mKernels.rowsAtOnce) {
        const int count = std::min(mKernels.rowsAtOnce, bottom - group);
        for (int i = 0; i < count; ++i) {
            mKernels.widen(job.source.Row(group + i), At<std::int16_t>(rows.wide, RowOfWords(mAcross.sourceSize), i),
                           static_cast<std::size_t>(mAcross.sourceSize), mKernels.rowsAtOnce * job.source.stride);
        }
        ResampleToPixels(job, rows, group, count);
    }
}

// Makes count rows of the destination out of as many wide ones. Where they are fewer than the kernel takes, the last
// one is made several times.
void SeparablePixels::ResampleToPixels(const PixelJob& job, const Rows& rows, int top, int count) const noexcept {
    const std::int16_t* wide[kMostRowsAtOnce];
    std::uint8_t* out[kMostRowsAtOnce];
    const auto width = static_cast<std::size_t>(mAcross.destinationSize);
    for (int r = 0; r < mKernels.rowsAtOnce; ++r) {
        const int i = std::min(r, count - 1);
        wide[r] = At<std::int16_t>(rows.wide, RowOfWords(mAcross.sourceSize), i);
        out[r] = job.stream ? At<std::uint8_t>(rows.narrow, RowOfWords(mAcross.destinationSize), i)
                            : job.destination.Row(top + i);
    }
    mKernels.resampleToBytes(*mRowTable, wide, reinterpret_cast<std::int16_t*>(rows.pairs), out, width, job.order);
    for (int i = 0; job.stream && i < count; ++i) {
        mKernels.copy(out[i], job.destination.Row(top + i), width, {true, 0});
    }
}

void SeparablePixels::RunRowsFirst(const PixelJob& job, const Rows& rows, int top, int bottom) const noexcept {
    const int taps = mColumnTable->taps;
    const std::size_t wideBytes = RowOfWords(mAcross.sourceSize);
    const auto narrow = [&](int row) {
        return At<std::int16_t>(rows.narrow, RowOfWords(mAcross.destinationSize), row % mSlots);
    };
    int next = SourceRow(top); // first row that is not resampled yet
    for (int row = top; row < bottom; ++row) {
        const int first = SourceRow(row);
        for (const int wanted = std::min(first + taps, mDown.sourceSize); next < wanted; next += mKernels.rowsAtOnce) {
            const std::int16_t* wide[kMostRowsAtOnce];
            std::int16_t* out[kMostRowsAtOnce];
            for (int r = 0; r < mKernels.rowsAtOnce; ++r) {
                const int i = std::min(r, mDown.sourceSize - 1 - next);
                auto* const words = At<std::int16_t>(rows.wide, wideBytes, i);
                if (i == r) {
                    mKernels.widen(job.source.Row(next + i), words, static_cast<std::size_t>(mAcross.sourceSize),
                                   mKernels.rowsAtOnce * job.source.stride);
                }
                wide[r] = words;
                out[r] = narrow(next + i);
            }
            mKernels.resampleToWords(*mRowTable, wide, reinterpret_cast<std::int16_t*>(rows.pairs), out,
                                     static_cast<std::size_t>(mAcross.destinationSize));
        }
        const std::int16_t* window[kMostTaps];
        for (int t = 0; t < taps; ++t) {
            window[t] = narrow(std::min(first + t, mDown.sourceSize - 1));
        }
        mKernels.sumWordsToBytes(window, ColumnWeights(row), taps, job.destination.Row(row),
                                 static_cast<std::size_t>(mAcross.destinationSize), job.order, {job.stream, 0});
    }
}

} // namespace PixelBlitter
