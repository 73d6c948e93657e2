#include "Tiles.h"

#include <algorithm>
#include <cstring>

namespace PixelBlitter {
namespace {

int HalfWidth(int width) noexcept {
    return width / 2 + width % 2;
}

// U and V of DV's 4:2:0 lie on lines of their own.
VerticalSiting VerticalSitingOf(const Format& format, int height) noexcept {
    const bool alternateLines = format.packing == Packing::DvPlanes && format.dvChroma == zynmediatypes::Chroma::C420;
    return {height, format.fieldChroma || alternateLines, alternateLines};
}

} // namespace

void DequantisersInMemoryOrder(const Format& format, Dequantiser out[4]) noexcept {
    const ComponentCodes codes = CodesOf444(format);
    for (int c = 0; c < 4; ++c) {
        out[format.alphaFirst ? 3 - c : c] = DequantiserOf(codes.component[c]);
    }
}

void QuantisersInMemoryOrder(const Format& format, Quantiser out[4]) noexcept {
    const ComponentCodes codes = CodesOf444(format);
    for (int c = 0; c < 4; ++c) {
        out[format.alphaFirst ? 3 - c : c] = QuantiserOf(codes.component[c]);
    }
}

void Unpack444(const Kernels& kernels, const Format& format, const std::uint8_t* source, float* const planes[4],
               std::size_t pixels, const Dequantiser memoryOrder[4]) noexcept {
    float* const reversed[4] = {planes[3], planes[2], planes[1], planes[0]};
    float* const* const order = format.alphaFirst ? reversed : planes;
    if (format.packing == Packing::Bytes) {
        kernels.unpackBytes(source, order, pixels, memoryOrder);
    } else if (format.packing == Packing::Words) {
        kernels.unpackWords(source, order, pixels, memoryOrder);
    } else {
        kernels.unpackFloats(source, order, pixels);
    }
}

void Pack444(const Kernels& kernels, const Format& format, const float* const planes[4], std::uint8_t* destination,
             std::size_t pixels, const Quantiser memoryOrder[4]) noexcept {
    const float* const reversed[4] = {planes[3], planes[2], planes[1], planes[0]};
    const float* const* const order = format.alphaFirst ? reversed : planes;
    if (format.packing == Packing::Bytes) {
        kernels.packBytes(order, destination, pixels, memoryOrder);
    } else if (format.packing == Packing::Words) {
        kernels.packWords(order, destination, pixels, memoryOrder);
    } else {
        kernels.packFloats(order, destination, pixels);
    }
}

RowReader::RowReader(const SourcePicture& picture, const Kernels& kernels) noexcept
    : mPicture(picture), mKernels(kernels), mVertical(VerticalSitingOf(picture.format, picture.height)),
      mLuma(DequantiserOf(LumaCodes(picture.format))), mChroma(DequantiserOf(ChromaCodes(picture.format))) {
    DequantisersInMemoryOrder(picture.format, mComponents);
}

int RowReader::ReadPairs(int row, int first, int end, TileScratch& scratch) const noexcept {
    float* const luma = scratch.full[2] + TileScratch::kLead;
    float* const v = scratch.half[0] + TileScratch::kLead;
    float* const u = scratch.half[1] + TileScratch::kLead;
    if (mPicture.format.packing == Packing::Pairs) {
        mKernels.unpackPairs(mPicture.Row(row) + std::ptrdiff_t{4} * first, mPicture.format.alphaFirst, luma, u, v,
                             static_cast<std::size_t>(end - first), mLuma, mChroma);
        return first;
    }
    if (mPicture.format.packing == Packing::Groups) {
        const int firstGroup = first / 3;
        const int endGroup = (end + 2) / 3;
        mKernels.unpackGroups(mPicture.Row(row) + std::ptrdiff_t{16} * firstGroup, luma, u, v,
                              static_cast<std::size_t>(endGroup - firstGroup), mLuma, mChroma);
        return 3 * firstGroup;
    }
    if (mPicture.format.packing == Packing::DvPlanes) {
        return ReadDvPairs(row, first, end, scratch);
    }
    const int endColumn = std::min(mPicture.width, 2 * end);
    mKernels.unpackPlane(mPicture.LumaRow(row) + 2 * first, luma, static_cast<std::size_t>(endColumn - 2 * first),
                         mLuma);
    const VerticalSiting::Mix mix = mVertical.ChromaOfRow(row);
    for (const int plane : {0, 1}) {
        mKernels.unpackMixedPlanes(mPicture.ChromaRow(plane, mix.a) + first, mPicture.ChromaRow(plane, mix.b) + first,
                                   mix.weightA, mix.weightB, plane == 0 ? u : v, static_cast<std::size_t>(end - first),
                                   mChroma);
    }
    return first;
}

int RowReader::ReadDvPairs(int row, int first, int end, TileScratch& scratch) const noexcept {
    const bool quarters = mPicture.format.dvChroma == zynmediatypes::Chroma::C411;
    const int start = quarters ? first / 2 * 2 : first;
    const int endColumn = std::min(mPicture.width, 2 * end);
    mKernels.unpackPlane(mPicture.LumaRow(row) + 2 * start, scratch.full[2] + TileScratch::kLead,
                         static_cast<std::size_t>(endColumn - 2 * start), mLuma);
    for (const int plane : {0, 1}) {
        float* const half = scratch.half[1 - plane] + TileScratch::kLead;
        if (mPicture.format.dvChroma == zynmediatypes::Chroma::C420) {
            const VerticalSiting::Mix mix = mVertical.ChromaOfRow(row, plane);
            mKernels.unpackMixedPlanes(mPicture.ChromaRow(plane, mix.a) + start,
                                       mPicture.ChromaRow(plane, mix.b) + start, mix.weightA, mix.weightB, half,
                                       static_cast<std::size_t>(end - start), mChroma);
            continue;
        }
        if (!quarters) {
            mKernels.unpackPlane(mPicture.ChromaRow(plane, row) + start, half, static_cast<std::size_t>(end - start),
                                 mChroma);
            continue;
        }
        // Chroma of four columns lies on the first, so the second pair lies between two samples.
        const int quarterWidth = HalfWidth(mPicture.ChromaWidth());
        const int firstQuarter = start / 2;
        const int endQuarter = std::min(quarterWidth, (end - 1) / 2 + 2);
        const auto count = static_cast<std::size_t>(endQuarter - firstQuarter);
        float* const quarter = scratch.full[plane] + TileScratch::kLead; // full width is made from half width later
        mKernels.unpackPlane(mPicture.ChromaRow(plane, row) + firstQuarter, quarter, count, mChroma);
        quarter[-1] = quarter[0];
        quarter[count] = quarter[count - 1];
        mKernels.widenChroma(quarter, half, count, kLeftSited.widen);
    }
    return start;
}

void RowReader::Read(int row, int left, int right, TileScratch& scratch, float* outPlanes[4]) const noexcept {
    const auto count = static_cast<std::size_t>(right - left);
    for (int c = 0; c < 4; ++c) {
        outPlanes[c] = scratch.full[c] + TileScratch::kLead;
    }
    if (mPicture.format.Is444()) {
        const std::ptrdiff_t offset =
            static_cast<std::ptrdiff_t>(left) * static_cast<std::ptrdiff_t>(BytesPerPixel(mPicture.format));
        Unpack444(mKernels, mPicture.format, mPicture.Row(row) + offset, outPlanes, count, mComponents);
        return;
    }
    // One chroma sample more on either side for the interpolation; the picture's edges repeat.
    const int chromaWidth = HalfWidth(mPicture.width);
    const int wantedFirst = std::max(0, left / 2 - 1);
    const int end = std::min(chromaWidth, (right - 1) / 2 + 2);
    const int first = ReadPairs(row, wantedFirst, end, scratch);
    const auto pairs = static_cast<std::size_t>(end - first);
    const HorizontalSiting& siting = mPicture.format.centredChroma ? kCentreSited : kLeftSited;
    for (const int plane : {0, 1}) {
        float* const chroma = scratch.half[plane] + TileScratch::kLead;
        chroma[-1] = chroma[0];
        chroma[pairs] = chroma[pairs - 1];
        mKernels.widenChroma(chroma, outPlanes[plane], pairs, siting.widen);
    }
    for (int c = 0; c < 3; ++c) {
        outPlanes[c] += left - 2 * first;
    }
}

HalfTile RowReader::ReadHalf(int row, int left, int right, TileScratch& scratch) const noexcept {
    const int first = ReadPairs(row, left / 2, HalfWidth(right), scratch);
    const int skip = left / 2 - first;
    return {scratch.full[2] + TileScratch::kLead + 2 * skip,
            {scratch.half[0] + TileScratch::kLead + skip, scratch.half[1] + TileScratch::kLead + skip}};
}

RowWriter::RowWriter(const DestinationPicture& picture, const Kernels& kernels, void* chromaStore,
                     int rowsKept) noexcept
    : mPicture(picture), mKernels(kernels), mVertical(VerticalSitingOf(picture.format, picture.height)),
      mLuma(QuantiserOf(LumaCodes(picture.format))), mChroma(QuantiserOf(ChromaCodes(picture.format))),
      mStore(static_cast<float*>(chromaStore)), mRowsKept(rowsKept) {
    QuantisersInMemoryOrder(picture.format, mComponents);
}

bool RowWriter::StoresChroma(const Format& format) noexcept {
    return format.packing == Packing::Planar ||
           (format.packing == Packing::DvPlanes && format.dvChroma != zynmediatypes::Chroma::C422);
}

std::uint64_t RowWriter::StoreBytes(const DestinationPicture& picture, int rowsKept) noexcept {
    if (!StoresChroma(picture.format)) {
        return 0;
    }
    const auto chromaWidth = static_cast<std::uint64_t>(picture.ChromaWidth());
    return (chromaWidth + kPlanePadding) * sizeof(float) * 2 * static_cast<std::uint64_t>(rowsKept);
}

float* RowWriter::StoredRow(int row, int plane) const noexcept {
    const std::size_t rowFloats = static_cast<std::size_t>(mPicture.ChromaWidth()) + kPlanePadding;
    const auto slot = static_cast<std::size_t>(row % mRowsKept);
    return mStore + (2 * slot + static_cast<std::size_t>(plane)) * rowFloats;
}

void RowWriter::WritePixels(int row, int left, int right, const float* const planes[4],
                            ByteOutput& output) const noexcept {
    const auto pixelBytes = BytesPerPixel(mPicture.format);
    const auto count = static_cast<std::size_t>(right - left);
    std::uint8_t* const destination = mPicture.Row(row) + left * static_cast<std::ptrdiff_t>(pixelBytes);
    Pack444(mKernels, mPicture.format, planes, output.Begin(destination), count, mComponents);
    output.Commit(destination, count * pixelBytes);
}

void RowWriter::Write(int row, int left, int right, float* const planes[4], TileScratch& scratch,
                      ByteOutput& output) const noexcept {
    const int count = right - left;
    if (mPicture.format.Is444()) {
        WritePixels(row, left, right, planes, output);
        return;
    }
    const HorizontalSiting& siting = mPicture.format.centredChroma ? kCentreSited : kLeftSited;
    HalfTile tile{planes[2], {}};
    for (const int plane : {0, 1}) {
        float* const chroma = planes[plane];
        if (left == 0) {
            chroma[-1] = chroma[0];
        }
        if (right == mPicture.width) {
            chroma[count] = chroma[count + 1] = chroma[count - 1];
        }
        tile.chroma[plane] = scratch.half[plane] + TileScratch::kLead;
        mKernels.narrowChroma(chroma, tile.chroma[plane], static_cast<std::size_t>(HalfWidth(count)), siting.narrow);
    }
    WriteHalf(row, left, right, tile, output);
}

void RowWriter::WriteHalf(int row, int left, int right, const HalfTile& tile, ByteOutput& output) const noexcept {
    const int count = right - left;
    const int pairs = HalfWidth(count);
    const auto& [luma, chroma] = tile;
    const auto& [v, u] = chroma;
    if (mPicture.format.packing == Packing::Planar || mPicture.format.packing == Packing::DvPlanes) {
        std::uint8_t* const destination = mPicture.LumaRow(row) + left;
        mKernels.packPlane(luma, output.Begin(destination), static_cast<std::size_t>(count), mLuma);
        output.Commit(destination, static_cast<std::size_t>(count));
        for (const int plane : {0, 1}) {
            const float* const samples = plane == 0 ? u : v;
            if (StoresChroma(mPicture.format)) {
                std::copy_n(samples, pairs, StoredRow(row, plane) + left / 2);
                continue;
            }
            std::uint8_t* const half = mPicture.ChromaRow(plane, row) + left / 2;
            mKernels.packPlane(samples, output.Begin(half), static_cast<std::size_t>(pairs), mChroma);
            output.Commit(half, static_cast<std::size_t>(pairs));
        }
        return;
    }
    if (mPicture.format.packing == Packing::Pairs) {
        luma[count] = luma[count - 1]; // the second pixel of a pair that only one pixel uses
        std::uint8_t* const destination = mPicture.Row(row) + std::ptrdiff_t{2} * left;
        mKernels.packPairs(luma, u, v, mPicture.format.alphaFirst, output.Begin(destination),
                           static_cast<std::size_t>(pairs), mLuma, mChroma);
        output.Commit(destination, static_cast<std::size_t>(pairs) * 4);
        return;
    }
    // Groups are written whole; what lies beyond the last pixel repeats it.
    const int groups = (count + 5) / 6;
    std::fill(luma + count, luma + 6 * groups, luma[count - 1]);
    std::fill(u + pairs, u + 3 * groups, u[pairs - 1]);
    std::fill(v + pairs, v + 3 * groups, v[pairs - 1]);
    std::uint8_t* const destination = mPicture.Row(row) + std::ptrdiff_t{16} * (left / 6);
    mKernels.packGroups(luma, u, v, output.Begin(destination), static_cast<std::size_t>(groups), mLuma, mChroma);
    output.Commit(destination, static_cast<std::size_t>(groups) * 16);
}

void RowWriter::MixStoredRows(int plane, int chromaRow, const VerticalSiting::Rows& rows,
                              ByteOutput& output) const noexcept {
    const int chromaWidth = mPicture.ChromaWidth();
    for (int left = 0; left < chromaWidth; left += static_cast<int>(kTilePixels)) {
        const auto count = static_cast<std::size_t>(std::min(static_cast<int>(kTilePixels), chromaWidth - left));
        const float* const taps[4] = {StoredRow(rows.row[0], plane) + left, StoredRow(rows.row[1], plane) + left,
                                      StoredRow(rows.row[2], plane) + left, StoredRow(rows.row[3], plane) + left};
        std::uint8_t* const destination = mPicture.ChromaRow(plane, chromaRow) + left;
        mKernels.packMixedRows(taps, rows.weight, output.Begin(destination), count, mChroma);
        output.Commit(destination, count);
    }
}

// From half width to a quarter: two triangles in a row make the triangle of twice their width.
void RowWriter::NarrowStoredRow(int plane, int row, ByteOutput& output) const noexcept {
    const int halfWidth = mPicture.ChromaWidth();
    const int quarterWidth = HalfWidth(halfWidth);
    constexpr int kStep = static_cast<int>(kTilePixels) / 2;
    alignas(64) float half[TileScratch::kCapacity];
    alignas(64) float quarter[kTilePixels / 2 + kPlanePadding];
    float* const samples = half + TileScratch::kLead;
    for (int left = 0; left < quarterWidth; left += kStep) {
        const int count = std::min(kStep, quarterWidth - left);
        const int first = std::max(0, 2 * left - 1);
        const int end = std::min(halfWidth, 2 * (left + count) + 1);
        float* const out = samples + (first - 2 * left);
        std::copy(StoredRow(row, plane) + first, StoredRow(row, plane) + end, out);
        out[-1] = out[0];
        std::fill_n(out + (end - first), 2, out[end - first - 1]);
        mKernels.narrowChroma(samples, quarter, static_cast<std::size_t>(count), kLeftSited.narrow);
        std::uint8_t* const destination = mPicture.ChromaRow(plane, row) + left;
        mKernels.packPlane(quarter, output.Begin(destination), static_cast<std::size_t>(count), mChroma);
        output.Commit(destination, static_cast<std::size_t>(count));
    }
}

void RowWriter::FinishRows(int lastRow, ByteOutput& output) noexcept {
    if (!StoresChroma(mPicture.format)) {
        return;
    }
    if (mPicture.format.dvChroma == zynmediatypes::Chroma::C411) {
        for (; mNextChromaRow <= lastRow; ++mNextChromaRow) {
            NarrowStoredRow(0, mNextChromaRow, output);
            NarrowStoredRow(1, mNextChromaRow, output);
        }
        return;
    }
    for (; mNextChromaRow < mPicture.ChromaHeight(); ++mNextChromaRow) {
        const VerticalSiting::Rows rows[2] = {mVertical.RowsOfChroma(mNextChromaRow, 0),
                                              mVertical.RowsOfChroma(mNextChromaRow, 1)};
        if (std::max(rows[0].last, rows[1].last) > lastRow) {
            return;
        }
        MixStoredRows(0, mNextChromaRow, rows[0], output);
        MixStoredRows(1, mNextChromaRow, rows[1], output);
    }
}

} // namespace PixelBlitter
