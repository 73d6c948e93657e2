#include "Warp.h"

#include "Convert.h"
#include "MaskComposite.h"
#include "Scratch.h"
#include "scale/RowSharing.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace PixelBlitter {
namespace {

// Beyond this doubles would still do, but no picture has such corners.
constexpr double kFarthestCorner = kLargestWarpSide;

// Pixels of another format are made so many at once, with those beside them that filters of chroma look at: whole units
// of every format.
constexpr int kHalo = 6;
constexpr int kTile = static_cast<int>(kTilePixels) - 2 * kHalo;

// A thread is worth its waking for so many pixels.
constexpr double kPixelsPerWorker = 1 << 18;
constexpr int kRowsPerWorker = 32;
constexpr int kRowGrain = 16;

bool IsNear(const Quad& quad) noexcept {
    return std::all_of(quad.begin(), quad.end(), [](const PB_Corner& corner) {
        return std::abs(corner.x) <= kFarthestCorner && std::abs(corner.y) <= kFarthestCorner; // false for NaN
    });
}

bool HasSaneSize(const PictureArguments& picture) noexcept {
    return picture.width <= kLargestWarpSide && picture.height <= kLargestWarpSide;
}

class RowWarper {
public:
    RowWarper(const SourcePicture& source, const DestinationPicture& destination, const Projection& toSource) noexcept
        : mDestination(destination), mSourceFormat(source.format), mToSource(toSource),
          mKernels(KernelsOfThisMachine()), mSelect(SelectKernelFor(mKernels, destination.format)),
          mUnitPixels(PixelsPerUnit(destination.format)) {
        const bool weigh = source.format.alpha == AlphaKind::Straight && destination.format.alpha != AlphaKind::None;
        mSource = {source.base, source.stride, source.width - 1, source.height - 1,
                   !weigh                     ? -1
                   : source.format.alphaFirst ? 0
                                              : 3};
    }

    // Columns [first, end) of a row in memory order.
    void Run(int row, int first, int end) const noexcept {
        const WarpLine line = LineOf(row);
        std::uint8_t* const pixels = mDestination.MemoryRow(row);
        if (mDestination.format.value == mSourceFormat.value) {
            mKernels.warp.sampleRow(mSource, line, first, pixels + std::ptrdiff_t{4} * first,
                                    static_cast<std::size_t>(end - first));
            return;
        }
        for (int left = first / mUnitPixels * mUnitPixels; left < end; left += kTile) {
            MakeTile(line, left, first, end, pixels);
        }
    }

private:
    WarpLine LineOf(int row) const noexcept {
        const auto& m = mToSource.m;
        const double y = row + 0.5;
        // At the centre of column 0, from column to column, and from row to row.
        const double depth[3] = {m[2][0] * 0.5 + m[2][1] * y + m[2][2], m[2][0], m[2][1]};
        WarpLine line{{}, {}, {depth[0], depth[1], depth[2]}};
        double* const places[2] = {line.x, line.y};
        for (int i = 0; i < 2; ++i) {
            places[i][0] = m[i][0] * 0.5 + m[i][1] * y + m[i][2] - 0.5 * depth[0];
            places[i][1] = m[i][0] - 0.5 * depth[1];
            places[i][2] = m[i][1] - 0.5 * depth[2];
        }
        return line;
    }

    // Samples, converts, and puts into a row those of its pixels [first, end) that lie in the tile from column left on.
    void MakeTile(const WarpLine& line, int left, int first, int end, std::uint8_t* row) const noexcept {
        alignas(64) std::array<std::uint32_t, kTilePixels> samples;
        alignas(64) std::array<std::uint8_t, kTilePixels * 16> converted;
        const int start = std::max(left - kHalo, first / mUnitPixels * mUnitPixels); // of the first unit
        const int right = std::min(end, left + kTile + kHalo);
        const int skipped = std::max(first - start, 0); // these share a unit with the first
        const auto repeated = static_cast<std::size_t>(skipped);
        const int width = right - start;
        mKernels.warp.sampleRow(mSource, line, start + skipped,
                                reinterpret_cast<std::uint8_t*>(samples.data() + repeated),
                                static_cast<std::size_t>(width - skipped));
        std::fill_n(samples.begin(), repeated, samples[repeated]);
        // One row to a format with rows allocates nothing, and every pair has a path.
        static_cast<void>(
            ConvertPicture({mSourceFormat, reinterpret_cast<const std::uint8_t*>(samples.data()), 0, width, 1},
                           {mDestination.format, converted.data(), 0, width, 1}));
        const int tileEnd = std::min(end, left + kTile);
        const int units = (tileEnd - left + mUnitPixels - 1) / mUnitPixels;
        // The unit at the picture's edge is its own to the end.
        const int endBit = tileEnd == mDestination.width ? units * mUnitPixels : tileEnd - left;
        std::array<std::uint8_t, kTilePixels / 8 + kMaskPadding> bits{};
        for (auto bit = static_cast<std::size_t>(std::max(first - left, 0)); bit < static_cast<std::size_t>(endBit);
             ++bit) {
            bits[bit / 8] |= static_cast<std::uint8_t>(0x80 >> bit % 8);
        }
        const auto unitBytes = static_cast<std::ptrdiff_t>(UsedRowBytes(mDestination.format, 1));
        std::uint8_t* const at = row + left / mUnitPixels * unitBytes;
        mSelect(converted.data() + (left - start) / mUnitPixels * unitBytes, at, at, static_cast<std::size_t>(units),
                bits.data(), 0, {});
    }

    WarpSource mSource{};
    DestinationPicture mDestination;
    Format mSourceFormat;
    Projection mToSource;
    const Kernels& mKernels;
    SelectRow mSelect;
    int mUnitPixels;
};

} // namespace

PB_Result WarpPicture(const PictureArguments& source, const Quad& sourceQuad, const PictureArguments& destination,
                      const Quad& destinationQuad) noexcept {
    SourcePicture from, to;
    for (const auto& [arguments, picture] : {std::pair(&source, &from), std::pair(&destination, &to)}) {
        if (const PB_Result result = CheckPicture(*arguments, *picture); result != kPB_Success) {
            return result;
        }
        if (!HasSaneSize(*arguments)) {
            return kPB_UnsupportedGeometry;
        }
    }
    if (from.format.packing != Packing::Bytes || !to.format.HasRows()) {
        return kPB_UnsupportedFormat;
    }
    if (!IsNear(sourceQuad) || !IsNear(destinationQuad)) {
        return kPB_BadArgument;
    }
    if (!IsConvex(sourceQuad) || !IsConvex(destinationQuad)) {
        return kPB_UnsupportedGeometry;
    }
    const std::optional<Projection> toSource = ProjectionBetween(destinationQuad, sourceQuad);
    if (!toSource) {
        return kPB_UnsupportedGeometry;
    }
    ScratchBlock copy;
    if (Overlap(from, to)) {
        std::optional<ScratchBlock> block = TakeScratch(PixelBytes(from));
        if (!block) {
            return kPB_OutOfMemory;
        }
        copy = std::move(*block);
        from = CopyInto(from, copy.get(), KernelsOfThisMachine());
    }
    const Coverage coverage(destinationQuad, sourceQuad, *toSource, from.width, from.height);
    const Coverage::Range rows = coverage.Rows(to.height);
    const RowWarper warper(from, Writable(to), *toSource);
    const int count = rows.end - rows.first;
    const int workers =
        WorthwhileWorkers(static_cast<double>(count) * to.width, kPixelsPerWorker, count, kRowsPerWorker);
    ShareRows(count, kRowGrain, workers, [&](int /*worker*/, int top, int bottom) noexcept {
        for (int row = rows.first + top; row < rows.first + bottom; ++row) {
            const Coverage::Range columns = coverage.Columns(row, to.width);
            if (columns.first < columns.end) {
                warper.Run(row, columns.first, columns.end);
            }
        }
    });
    return kPB_Success;
}

} // namespace PixelBlitter
