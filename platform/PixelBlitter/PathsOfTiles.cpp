// Paths that unpack tiles to float planes, work on them and pack them.

#include "Colour.h"
#include "Paths.h"
#include "Tiles.h"

#include <algorithm>

namespace PixelBlitter {
namespace {

constexpr int kTile = static_cast<int>(kTilePixels);

bool TilesAccept(const Format& from, const Format& to) noexcept {
    return from.Is444() && to.Is444();
}

void RunTiles(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const ColourSteps steps(source.format, destination.format);
    const std::size_t sourceBytes = BytesPerPixel(source.format);
    const std::size_t destinationBytes = BytesPerPixel(destination.format);
    Dequantiser dequantisers[4];
    Quantiser quantisers[4];
    DequantisersInMemoryOrder(source.format, dequantisers);
    QuantisersInMemoryOrder(destination.format, quantisers);
    alignas(64) float samples[4][kTilePixels + kPlanePadding];
    float* const planes[4] = {samples[0], samples[1], samples[2], samples[3]};
    ByteOutput output(conversion.kernels, conversion.stream);
    const auto width = static_cast<std::size_t>(source.width);
    for (int row = 0; row < source.height; ++row) {
        const std::uint8_t* const in = source.MemoryRow(row);
        std::uint8_t* const out = destination.MemoryRow(row);
        for (std::size_t left = 0; left < width; left += kTilePixels) {
            const std::size_t count = std::min(kTilePixels, width - left);
            Unpack444(conversion.kernels, source.format, in + left * sourceBytes, planes, count, dequantisers);
            steps.Apply(conversion.kernels, planes, count);
            std::uint8_t* const tile = out + left * destinationBytes;
            Pack444(conversion.kernels, destination.format, planes, output.Begin(tile), count, quantisers);
            output.Commit(tile, count * destinationBytes);
        }
    }
}

bool SubsampledAccept(const Format& from, const Format& to) noexcept {
    return (from.Is444() || from.IsSubsampled()) && (to.Is444() || to.IsSubsampled());
}

// Chroma stays at half width when neither its matrix nor its columns change.
bool KeepsHalfChroma(const Format& from, const Format& to) noexcept {
    return from.IsSubsampled() && to.IsSubsampled() && from.model == to.model && from.centredChroma == to.centredChroma;
}

std::uint64_t SubsampledScratch(const DestinationPicture& destination) noexcept {
    return RowWriter::StoreBytes(destination, VerticalSiting::kReach);
}

void RunSubsampled(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const RowReader reader(source, conversion.kernels);
    RowWriter writer(conversion.destination, conversion.kernels, conversion.scratch, VerticalSiting::kReach);
    ByteOutput output(conversion.kernels, conversion.stream);
    const ColourSteps steps(source.format, conversion.destination.format);
    const bool half = KeepsHalfChroma(source.format, conversion.destination.format);
    // The filters of a subsampled destination look one column beyond the tile on either side.
    const int halo = conversion.destination.format.IsSubsampled() ? 1 : 0;
    TileScratch scratch;
    const int width = source.width;
    for (int row = 0; row < source.height; ++row) {
        for (int left = 0; left < width;) {
            const int right = width - left > kTile ? left + kTile : width;
            if (half) {
                writer.WriteHalf(row, left, right, reader.ReadHalf(row, left, right, scratch), output);
            } else {
                const int first = std::max(0, left - halo);
                const int end = width - right > halo ? right + halo : width;
                float* planes[4];
                reader.Read(row, first, end, scratch, planes);
                steps.Apply(conversion.kernels, planes, static_cast<std::size_t>(end - first));
                for (float*& plane : planes) {
                    plane += left - first;
                }
                writer.Write(row, left, right, planes, scratch, output);
            }
            left = right;
        }
        writer.FinishRows(row, output);
    }
}

bool PlanesAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Planar && to.packing == Packing::Planar && from.model == to.model &&
           from.fieldChroma == to.fieldChroma;
}

// One row of a plane to another range.
void ConvertPlaneRow(const Conversion& conversion, const std::uint8_t* in, std::uint8_t* out, int width,
                     const Dequantiser& from, const Quantiser& to, ByteOutput& output) noexcept {
    alignas(64) float samples[kTilePixels + kPlanePadding];
    for (std::ptrdiff_t left = 0; left < width; left += kTile) {
        const std::size_t count = std::min(kTilePixels, static_cast<std::size_t>(width - left));
        conversion.kernels.unpackPlane(in + left, samples, count, from);
        conversion.kernels.packPlane(samples, output.Begin(out + left), count, to);
        output.Commit(out + left, count);
    }
}

// One row of chroma from left-sited to centred columns or back, through full width.
void ResiteChromaRow(const Conversion& conversion, const std::uint8_t* in, std::uint8_t* out, int width,
                     const Dequantiser& from, const Quantiser& to, ByteOutput& output) noexcept {
    const HorizontalSiting& inSiting = conversion.source.format.centredChroma ? kCentreSited : kLeftSited;
    const HorizontalSiting& outSiting = conversion.destination.format.centredChroma ? kCentreSited : kLeftSited;
    constexpr int kStep = kTile / 2 - 4; // leaves room for the samples that both filters want on either side
    constexpr int kMargin = 2;
    TileScratch scratch;
    float* const half = scratch.half[0] + TileScratch::kLead;
    float* const full = scratch.full[0] + TileScratch::kLead;
    for (int left = 0; left < width; left += kStep) {
        const int right = width - left > kStep ? left + kStep : width;
        const int first = std::max(0, left - kMargin);
        const int end = width - right > kMargin ? right + kMargin : width;
        const int count = end - first;
        conversion.kernels.unpackPlane(in + first, half, static_cast<std::size_t>(count), from);
        half[-1] = half[0];
        half[count] = half[count - 1];
        conversion.kernels.widenChroma(half, full, static_cast<std::size_t>(count), inSiting.widen);
        full[-1] = full[0];
        // The picture may end on the first column of the last pair; its edge then repeats that column.
        const bool oddEnd = end == width && conversion.source.width % 2 != 0;
        const int columns = 2 * count - (oddEnd ? 1 : 0);
        full[columns] = full[columns + 1] = full[columns - 1];
        const int skip = left - first;
        conversion.kernels.narrowChroma(full + std::ptrdiff_t{2} * skip, half, static_cast<std::size_t>(right - left),
                                        outSiting.narrow);
        conversion.kernels.packPlane(half, output.Begin(out + left), static_cast<std::size_t>(right - left), to);
        output.Commit(out + left, static_cast<std::size_t>(right - left));
    }
}

void RunPlanes(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const Dequantiser lumaFrom = DequantiserOf(LumaCodes(source.format));
    const Dequantiser chromaFrom = DequantiserOf(ChromaCodes(source.format));
    const Quantiser lumaTo = QuantiserOf(LumaCodes(destination.format));
    const Quantiser chromaTo = QuantiserOf(ChromaCodes(destination.format));
    ByteOutput output(conversion.kernels, conversion.stream);
    for (int row = 0; row < source.height; ++row) {
        ConvertPlaneRow(conversion, source.LumaRow(row), destination.LumaRow(row), source.width, lumaFrom, lumaTo,
                        output);
    }
    const bool resite = source.format.centredChroma != destination.format.centredChroma;
    const auto convertChroma = resite ? ResiteChromaRow : ConvertPlaneRow;
    for (const int plane : {0, 1}) {
        for (int row = 0; row < source.ChromaHeight(); ++row) {
            convertChroma(conversion, source.ChromaRow(plane, row), destination.ChromaRow(plane, row),
                          source.ChromaWidth(), chromaFrom, chromaTo, output);
        }
    }
}

} // namespace

const Path kTilePath{"float tiles", TilesAccept, RunTiles, nullptr, true};
const Path kPlanePath{"float tiles", PlanesAccept, RunPlanes, nullptr, false};
const Path kSubsampledPath{"float tiles", SubsampledAccept, RunSubsampled, SubsampledScratch, false};

} // namespace PixelBlitter
