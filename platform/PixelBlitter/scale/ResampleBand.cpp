#include "scale/ResampleBand.h"

#include <algorithm>

namespace PixelBlitter {

namespace {
constexpr float kOne = 1.0f;
} // namespace

ResampleBand::ResampleBand(const PreparedResample& prepared, const FloatRowSource& source, FloatRowSink& sink,
                           int band) noexcept
    : mPrepared(prepared), mSource(source), mSink(sink), mTop(prepared.BandTop(band)),
      mBottom(prepared.BandTop(band + 1)), mColumnRows(prepared.RowsOfBand(band)),
      mRead(mColumnRows + 4 * prepared.columnStride * static_cast<std::size_t>(prepared.ColumnRows()),
            prepared.readStride),
      mWrite(mRead.planes[0] + 4 * prepared.readStride, prepared.writeStride) {}

void ResampleBand::Run() noexcept {
    if (!mPrepared.columnTable)
        RunRowByRow();
    else if (mPrepared.keepsSums)
        RunSums();
    else
        RunWindow();
}

PlanarRow ResampleBand::ColumnRow(int index) const noexcept {
    return {mColumnRows + 4 * mPrepared.columnStride * static_cast<std::size_t>(index), mPrepared.columnStride};
}

void ResampleBand::Fetch(int sourceRow, const PlanarRow& into) noexcept {
    const int width = mPrepared.request.horizontal.sourceSize;
    if (mPrepared.readStride == 0) {
        mSource.Read(sourceRow, 0, width, into.planes);
        return;
    }
    mSource.Read(sourceRow, 0, width, mRead.planes);
    mPrepared.kernels->resampleRow(*mPrepared.rowTable, mRead.planes, into.planes);
}

void ResampleBand::Finish(int destinationRow, const PlanarRow& from) noexcept {
    const int width = mPrepared.request.horizontal.destinationSize;
    if (mPrepared.writeStride == 0) {
        mSink.Write(destinationRow, 0, width, from.planes);
        return;
    }
    mPrepared.kernels->resampleRow(*mPrepared.rowTable, from.planes, mWrite.planes);
    mSink.Write(destinationRow, 0, width, mWrite.planes);
}

void ResampleBand::RunRowByRow() noexcept {
    const PlanarRow row = ColumnRow(0);
    for (int n = mTop; n < mBottom; ++n) {
        Fetch(n, row);
        Finish(n, row);
    }
}

void ResampleBand::RunWindow() noexcept {
    const FilterTable& table = *mPrepared.columnTable;
    int next = 0; // first source row that was not fetched yet
    for (int first = mTop; first < mBottom; first += mPrepared.rowsTogether) {
        const int end = std::min(first + mPrepared.rowsTogether, mBottom);
        const int lastLeft = table.left[static_cast<std::size_t>(end - 1)];
        for (next = std::max(next, table.left[static_cast<std::size_t>(first)]); next < lastLeft + table.taps; ++next)
            Fetch(next, ColumnRow(next % mPrepared.slots));
        for (std::size_t tile = 0; tile < mPrepared.columnWidth; tile += kTileFloats) {
            for (int n = first; n < end; ++n)
                SumTile(n, tile, ColumnRow(mPrepared.slots + n - first));
        }
        for (int n = first; n < end; ++n)
            Finish(n, ColumnRow(mPrepared.slots + n - first));
    }
}

void ResampleBand::SumTile(int destinationRow, std::size_t tile, const PlanarRow& into) noexcept {
    const FilterTable& table = *mPrepared.columnTable;
    const int left = table.left[static_cast<std::size_t>(destinationRow)];
    const float* weights = table.weights.data() + static_cast<std::size_t>(destinationRow) * table.weightStride;
    const std::size_t count = std::min(kTileFloats, mPrepared.columnWidth - tile);
    for (int done = 0; done < table.taps; done += kRowsAtOnce) {
        const int rowCount = std::min(kRowsAtOnce, table.taps - done);
        const float* rows[kRowsAtOnce];
        for (int k = 0; k < rowCount; ++k)
            rows[k] = ColumnRow((left + done + k) % mPrepared.slots).planes[0] + tile;
        mPrepared.kernels->weightedSum(rows, weights + done, rowCount, into.planes[0] + tile, count, done > 0);
    }
}

void ResampleBand::RunSums() noexcept {
    const FilterTable& table = *mPrepared.columnTable;
    const auto left = [&table](int n) noexcept { return table.left[static_cast<std::size_t>(n)]; };
    const int lastRow = left(mBottom - 1) + table.taps - 1;
    int oldest = mTop; // first destination row that is not finished

    // Groups begin at multiples of their size, wherever the band begins, so that every band adds in the same order.
    for (int group = left(mTop) / kRowsAtOnce * kRowsAtOnce; group <= lastRow; group += kRowsAtOnce) {
        const int groupEnd = std::min(group + kRowsAtOnce, lastRow + 1);
        const float* rows[kRowsAtOnce];
        for (int row = std::max(group, left(mTop)); row < groupEnd; ++row) {
            const PlanarRow into = ColumnRow(mPrepared.slots + row - group);
            rows[row - group] = into.planes[0];
            Fetch(row, into);
        }
        for (int n = oldest; n < mBottom && left(n) < groupEnd; ++n) {
            const int from = std::max(left(n), group);
            const int to = std::min(left(n) + table.taps, groupEnd);
            const float* weights = table.weights.data() + static_cast<std::size_t>(n) * table.weightStride;
            const PlanarRow sum = ColumnRow(n % mPrepared.slots);
            const int sumBegin = mPrepared.foldsSums ? std::max(left(n), group / kFoldRows * kFoldRows) : left(n);
            mPrepared.kernels->weightedSum(rows + (from - group), weights + (from - left(n)), to - from, sum.planes[0],
                                           mPrepared.columnWidth, from > sumBegin);
            const bool complete = to == left(n) + table.taps;
            PlanarRow result = sum;
            if (mPrepared.foldsSums) {
                result = ColumnRow(mPrepared.slots + kRowsAtOnce + n % mPrepared.slots);
                if (complete || (group + kRowsAtOnce) % kFoldRows == 0)
                    mPrepared.kernels->weightedSum(sum.planes, &kOne, 1, result.planes[0], mPrepared.columnWidth,
                                                   sumBegin > left(n));
            }
            if (complete) {
                Finish(n, result);
                ++oldest;
            }
        }
    }
}

} // namespace PixelBlitter
