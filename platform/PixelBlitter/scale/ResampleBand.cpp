#include "scale/ResampleBand.h"

#include <algorithm>

namespace PixelBlitter {

namespace {
constexpr float kOne = 1.0f;
} // namespace

ResampleBand::ResampleBand(const PreparedResample& prepared, const FloatRowSource& source, FloatRowSink& sink, int band,
                           int top, int bottom) noexcept
    : mPrepared(prepared), mSource(source), mSink(sink), mTop(top), mBottom(bottom),
      mColumnRows(prepared.RowsOfBand(band)),
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
    const int firstRow = left(mTop);
    const int endRow = left(mBottom - 1) + table.taps;
    int oldest = mTop; // first destination row that is not finished
    int newest = mTop; // first destination row that no source row went into

    // Groups begin at multiples of their size, wherever the band begins, so that every band adds in the same order.
    for (int group = firstRow / kRowsAtOnce * kRowsAtOnce; group < endRow; group += kRowsAtOnce) {
        const int groupEnd = std::min(group + kRowsAtOnce, endRow);
        for (int row = std::max(group, firstRow); row < groupEnd; ++row)
            Fetch(row, ColumnRow(mPrepared.slots + row - group));
        while (newest < mBottom && left(newest) < groupEnd)
            ++newest;
        for (std::size_t tile = 0; tile < mPrepared.columnWidth; tile += kTileFloats) {
            for (int n = oldest; n < newest; ++n)
                AddTile(n, group, tile);
        }
        for (; oldest < newest && left(oldest) + table.taps <= groupEnd; ++oldest)
            Finish(oldest, ColumnRow(ResultOfSums(oldest)));
    }
}

int ResampleBand::ResultOfSums(int destinationRow) const noexcept {
    const int slot = destinationRow % mPrepared.slots;
    return mPrepared.foldsSums ? mPrepared.slots + kRowsAtOnce + slot : slot;
}

void ResampleBand::AddTile(int destinationRow, int group, std::size_t tile) noexcept {
    const FilterTable& table = *mPrepared.columnTable;
    const int left = table.left[static_cast<std::size_t>(destinationRow)];
    const int end = left + table.taps;
    const int from = std::max(left, group);
    const int to = std::min(end, group + kRowsAtOnce);
    const std::size_t count = std::min(kTileFloats, mPrepared.columnWidth - tile);

    const float* rows[kRowsAtOnce];
    for (int row = from; row < to; ++row)
        rows[row - from] = ColumnRow(mPrepared.slots + row - group).planes[0] + tile;
    const float* weights =
        table.weights.data() + static_cast<std::size_t>(destinationRow) * table.weightStride + (from - left);
    const int sumBegin = mPrepared.foldsSums ? std::max(left, group / kFoldRows * kFoldRows) : left;
    float* const sum = ColumnRow(destinationRow % mPrepared.slots).planes[0] + tile;
    mPrepared.kernels->weightedSum(rows, weights, to - from, sum, count, from > sumBegin);

    if (mPrepared.foldsSums && (to == end || (group + kRowsAtOnce) % kFoldRows == 0)) {
        float* const total = ColumnRow(ResultOfSums(destinationRow)).planes[0] + tile;
        const float* const sums[] = {sum};
        mPrepared.kernels->weightedSum(sums, &kOne, 1, total, count, sumBegin > left);
    }
}

} // namespace PixelBlitter
