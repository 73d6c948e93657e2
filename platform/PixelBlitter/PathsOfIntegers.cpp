// Paths whose arithmetic is exact in small integers.

#include "ChromaSiting.h"
#include "Paths.h"

namespace PixelBlitter {
namespace {

// Luma codes move as they are; the weights of chroma rows and columns are sixteenths.
bool PairsToPlanesAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Pairs && to.packing == Packing::Planar && from.model == to.model &&
           from.fullRange == to.fullRange;
}

void RunPairsToPlanes(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const bool lumaFirst = source.format.alphaFirst;
    const VerticalSiting vertical(source.height, destination.format.fieldChroma);
    int chromaRow = 0;
    for (int row = 0; row < source.height; ++row) {
        conversion.kernels.splitLuma(source.Row(row), lumaFirst, destination.LumaRow(row),
                                     static_cast<std::size_t>(source.width));
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
            conversion.kernels.mixPairChroma(taps, lumaFirst, weights, destination.format.centredChroma,
                                             destination.ChromaRow(0, chromaRow), destination.ChromaRow(1, chromaRow),
                                             static_cast<std::size_t>(destination.ChromaWidth()));
        }
    }
}

} // namespace

const Path kPairsToPlanesPath{"integers", PairsToPlanesAccept, RunPairsToPlanes, nullptr, false};

} // namespace PixelBlitter
