#include "scale/PreparedResample.h"

#include "scale/RowSharing.h"

#include <algorithm>
#include <cstring>

namespace PixelBlitter {

namespace {

/// Vertical filters of up to this many taps keep all their source rows; longer ones keep running sums instead, whose
/// number does not depend on the ratio. Sixteen rows of 1080p are 0.5 MB, about what a core's own cache holds.
constexpr int kMaxWindowRows = 16;

/// Destination rows made out of one window, as long as the window stays within the rows that fit the first-level cache
/// a tile at a time, and its bytes within a core's own cache.
constexpr int kMaxRowsTogether = 4;
constexpr int kMaxTiledRows = 24;
constexpr std::size_t kMaxWindowBytes = std::size_t{1} << 20;

/// Source and destination pixels that are worth a band of their own: some 300 us of work, where waking a thread costs
/// tens of them.
constexpr double kPixelsPerBand = 1 << 18;

/// Neighbouring bands read the rows between them twice, so a band is not made thinner than this.
constexpr int kMinRowsPerBand = 8;

/// Cost of a tap of the horizontal kernels, which shuffle, in taps of the vertical kernel, which does not.
constexpr double kHorizontalTapCost = 2.0;

constexpr std::align_val_t kRowAlignment{64};

using Passes = ResampleOutline::Passes;

/// The most source rows that so many neighbouring destination rows are made of.
int WindowRows(const FilterTable& table, int rowsTogether) noexcept {
    int most = table.taps;
    const auto rows = static_cast<std::size_t>(rowsTogether);
    for (std::size_t n = 0; n + rows <= table.left.size(); ++n)
        most = std::max(most, table.left[n + rows - 1] + table.taps - table.left[n]);
    return most;
}

} // namespace

std::size_t PlaneStride(int width) noexcept {
    return (static_cast<std::size_t>(width) + kBlock - 1) / kBlock * kBlock + kRowMargin;
}

PreparedResample::PreparedResample(const ResampleRequest& inRequest) : request(inRequest) {
    if (IsEmpty()) {
        outline.bands = 0;
        return;
    }
    kernels = &RowKernelsForThisProcessor();
    if (!request.horizontal.IsIdentity())
        rowTable = SharedFilterTable(request.horizontal, request.filter, TableUse::Rows);
    if (!request.vertical.IsIdentity())
        columnTable = SharedFilterTable(request.vertical, request.filter, TableUse::Columns);
    ChoosePasses();
    ChooseSlots();
    ChooseBands();
    outline.temporaryBytes = std::uint64_t{FloatsPerBand()} * sizeof(float) * static_cast<unsigned>(outline.bands);
    outline.tableBytes = (rowTable ? rowTable->SizeInBytes() : 0) + (columnTable ? columnTable->SizeInBytes() : 0);
}

bool PreparedResample::IsEmpty() const noexcept {
    return request.horizontal.sourceSize <= 0 || request.horizontal.destinationSize <= 0 ||
           request.vertical.sourceSize <= 0 || request.vertical.destinationSize <= 0;
}

void PreparedResample::ChoosePasses() noexcept {
    const ResampleAxis& across = request.horizontal;
    const ResampleAxis& down = request.vertical;
    if (rowTable && columnTable) {
        const double rowTaps = kHorizontalTapCost * rowTable->taps;
        const double columnTaps = columnTable->taps;
        const double verticalFirst = columnTaps * across.sourceSize * down.destinationSize +
                                     rowTaps * across.destinationSize * down.destinationSize;
        const double horizontalFirst = rowTaps * across.destinationSize * down.sourceSize +
                                       columnTaps * across.destinationSize * down.destinationSize;
        outline.passes =
            verticalFirst <= horizontalFirst ? Passes::VerticalThenHorizontal : Passes::HorizontalThenVertical;
    } else if (rowTable) {
        outline.passes = Passes::Horizontal;
    } else if (columnTable) {
        outline.passes = Passes::Vertical;
    }

    const bool rowsFirst = outline.passes == Passes::HorizontalThenVertical;
    const int columns = rowsFirst ? across.destinationSize : across.sourceSize;
    columnStride = PlaneStride(columns);
    columnWidth = 4 * columnStride - kRowMargin;
    readStride = rowsFirst ? PlaneStride(across.sourceSize) : 0;
    writeStride = rowTable && !rowsFirst ? PlaneStride(across.destinationSize) : 0;
}

void PreparedResample::ChooseSlots() noexcept {
    if (!columnTable)
        return;
    const FilterTable& table = *columnTable;
    keepsSums = table.taps > kMaxWindowRows;
    foldsSums = table.taps > kFoldRows;
    if (!keepsSums) {
        const std::size_t rowBytes = 4 * columnStride * sizeof(float);
        const int mostRows = static_cast<int>(std::min<std::size_t>(kMaxWindowBytes / rowBytes, kMaxTiledRows));
        for (rowsTogether = kMaxRowsTogether; rowsTogether > 1; --rowsTogether) {
            if (WindowRows(table, rowsTogether) + rowsTogether <= mostRows)
                break;
        }
        slots = WindowRows(table, rowsTogether);
        return;
    }
    // A sum is under way from the group of rows that holds its first row to the group that holds its last.
    int oldest = 0;
    slots = 1;
    for (int n = 0; n < request.vertical.destinationSize; ++n) {
        while ((table.left[static_cast<std::size_t>(oldest)] + table.taps - 1) / kRowsAtOnce <
               table.left[static_cast<std::size_t>(n)] / kRowsAtOnce)
            ++oldest;
        slots = std::max(slots, n - oldest + 1);
    }
}

void PreparedResample::ChooseBands() noexcept {
    const int height = request.vertical.destinationSize;
    if (request.bands > 0) {
        outline.bands = std::min(request.bands, height);
        return;
    }
    const double pixels = double(request.horizontal.sourceSize) * request.vertical.sourceSize +
                          double(request.horizontal.destinationSize) * height;
    outline.bands = WorthwhileWorkers(pixels, kPixelsPerBand, height, kMinRowsPerBand);
}

int PreparedResample::ColumnRows() const noexcept {
    if (!columnTable)
        return 1;
    if (!keepsSums)
        return slots + rowsTogether;
    return (foldsSums ? 2 : 1) * slots + kRowsAtOnce;
}

std::size_t PreparedResample::FloatsPerBand() const noexcept {
    return 4 * (columnStride * static_cast<std::size_t>(ColumnRows()) + readStride + writeStride);
}

int PreparedResample::BandTop(int band) const noexcept {
    return static_cast<int>(std::int64_t{request.vertical.destinationSize} * band / outline.bands);
}

void PreparedResample::AllocateRows() {
    if (IsEmpty())
        return;
    const std::size_t bytes = outline.temporaryBytes;
    mRows.reset(static_cast<float*>(::operator new(bytes, kRowAlignment)));
    std::memset(mRows.get(), 0, bytes);
}

void PreparedResample::FreeAligned::operator()(float* block) const noexcept {
    ::operator delete(block, kRowAlignment);
}

} // namespace PixelBlitter
