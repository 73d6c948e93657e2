// Moves of luma and chroma codes between 8-bit 4:2:2 and 4:2:0 of the same matrix and range.

#include "ChromaSiting.h"
#include "Paths.h"
#include "RowRuns.h"

#include <cstring>

namespace PixelBlitter {
namespace {

// Luma codes move as they are; the weights of chroma rows and columns are sixteenths.
bool PairsToPlanesAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Pairs && to.packing == Packing::Planar && from.model == to.model &&
           from.fullRange == to.fullRange;
}

// A row of U and one of V, on their way past the caches.
std::uint64_t ChromaRows(const DestinationPicture& destination) noexcept {
    return 2 * static_cast<std::uint64_t>(destination.ChromaWidth());
}

void RunPairsToPlanes(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const bool lumaFirst = source.format.alphaFirst;
    const Transfer transfer = TransferByRows(conversion, -source.stride);
    const VerticalSiting vertical(source.height, destination.format.fieldChroma);
    const auto pairs = static_cast<std::size_t>(destination.ChromaWidth());
    auto* const u = static_cast<std::uint8_t*>(conversion.scratch);
    std::uint8_t* const v = u + pairs;
    int chromaRow = 0;
    for (int row = 0; row < source.height; ++row) {
        conversion.kernels.splitLuma(source.Row(row), lumaFirst, destination.LumaRow(row),
                                     static_cast<std::size_t>(source.width), transfer);
        for (; chromaRow < destination.ChromaHeight(); ++chromaRow) {
            const VerticalSiting::Rows rows = vertical.RowsOfChroma(chromaRow);
            if (rows.last > row) {
                break; // until that row is in the cache
            }
            const std::uint8_t* taps[4];
            std::uint16_t weights[4];
            for (int tap = 0; tap < 4; ++tap) {
                taps[tap] = source.Row(rows.row[tap]);
                weights[tap] = static_cast<std::uint16_t>(rows.weight[tap] * 16);
            }
            std::uint8_t* const planeU = destination.ChromaRow(0, chromaRow);
            std::uint8_t* const planeV = destination.ChromaRow(1, chromaRow);
            conversion.kernels.mixPairChroma(taps, lumaFirst, weights, destination.format.centredChroma,
                                             conversion.stream ? u : planeU, conversion.stream ? v : planeV, pairs);
            if (conversion.stream) {
                conversion.kernels.streamCopy(u, planeU, pairs);
                conversion.kernels.streamCopy(v, planeV, pairs);
            }
        }
    }
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

} // namespace

const Path kPairsToPlanesPath{"integers", PairsToPlanesAccept, RunPairsToPlanes, ChromaRows, false};

} // namespace PixelBlitter
