// Conversions of 8-bit pixels in one pass over integers.

#include "ChromaRows.h"
#include "ChromaSiting.h"
#include "Colour.h"
#include "FusedWeights.h"
#include "Paths.h"
#include "RowRuns.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace PixelBlitter {
namespace {

void FinishStreaming(const Conversion& conversion) noexcept {
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

// Pixels of four bytes on both sides.

bool BothBytes(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Bytes && to.packing == Packing::Bytes;
}

bool PremultiplyAccepts(const Format& from, const Format& to) noexcept {
    return BothBytes(from, to) && SameColours(from, to) &&
           AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Premultiply;
}

bool UnpremultiplyAccepts(const Format& from, const Format& to) noexcept {
    return BothBytes(from, to) && SameColours(from, to) &&
           AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Unpremultiply;
}

// A matrix works on premultiplied colours as on straight ones.
bool ComponentsAccept(const Format& from, const Format& to) noexcept {
    const AlphaStep alpha = AlphaStepBetween(from.alpha, to.alpha);
    return BothBytes(from, to) && from.model != to.model && (alpha == AlphaStep::Keep || alpha == AlphaStep::Opaque);
}

template <class Kernel, class Parameters>
void RunPixelKernel(const Conversion& conversion, Kernel kernel, const Parameters& parameters) noexcept {
    const std::uint64_t rowBytes = UsedRowBytes(conversion.source.format, conversion.source.width);
    const Transfer transfer = TransferInMemoryOrder(conversion);
    ForEachRun(conversion, rowBytes, rowBytes, static_cast<std::size_t>(conversion.source.width),
               [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) noexcept {
                   kernel(source, destination, pixels, parameters, transfer);
               });
    FinishStreaming(conversion);
}

void RunPremultiply(const Conversion& conversion) noexcept {
    RunPixelKernel(conversion, conversion.kernels.fused.premultiply,
                   AlphaProductBetween(conversion.source.format, conversion.destination.format));
}

void RunUnpremultiply(const Conversion& conversion) noexcept {
    RunPixelKernel(conversion, conversion.kernels.fused.unpremultiply,
                   AlphaQuotientBetween(conversion.source.format, conversion.destination.format));
}

void RunComponents(const Conversion& conversion) noexcept {
    RunPixelKernel(conversion, conversion.kernels.fused.mixComponents,
                   ComponentMatrixBetween(conversion.source.format, conversion.destination.format));
}

// Pixels and subsampled chroma.

bool FromRGBOrSameModel(const Format& from, const Format& to) noexcept {
    return !from.IsYUV() || from.model == to.model;
}

bool PixelsToPairsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Bytes && to.packing == Packing::Pairs && FromRGBOrSameModel(from, to);
}

bool PixelsToPlanesAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Bytes && to.packing == Packing::Planar && FromRGBOrSameModel(from, to);
}

bool PairsToPixelsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Pairs && to.packing == Packing::Bytes && FromRGBOrSameModel(to, from);
}

bool PlanesToPixelsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Planar && to.packing == Packing::Bytes && FromRGBOrSameModel(to, from);
}

bool PlanesToPairsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Planar && to.packing == Packing::Pairs && from.model == to.model && !from.fullRange;
}

bool PairMatrixAccepts(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Pairs && to.packing == Packing::Pairs && from.model != to.model;
}

void RunPixelsToPairs(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const PixelHalving halving = PixelHalvingBetween(source.format, conversion.destination.format);
    const Transfer transfer = TransferInMemoryOrder(conversion);
    for (int row = 0; row < source.height; ++row) {
        conversion.kernels.fused.pixelsToPairs(source.MemoryRow(row), conversion.destination.MemoryRow(row),
                                               static_cast<std::size_t>(source.width), halving, transfer);
    }
    FinishStreaming(conversion);
}

std::size_t SumRowBytes(int width) noexcept {
    return (PairsOf(width) * kSumWords * sizeof(std::int16_t) + kRowSlackBytes + 63) / 64 * 64;
}

std::size_t CodeRowBytes(int width) noexcept {
    return (PairsOf(width) + kRowSlackBytes + 63) / 64 * 64;
}

std::uint64_t PixelsToPlanesScratch(const DestinationPicture& destination) noexcept {
    return std::uint64_t{VerticalSiting::kReach} * SumRowBytes(destination.width) + 2 * CodeRowBytes(destination.width);
}

void RunPixelsToPlanes(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const PixelHalving halving = PixelHalvingBetween(source.format, destination.format);
    const Transfer transfer = TransferInMemoryOrder(conversion);
    const VerticalSiting vertical(source.height, destination.format.fieldChroma);
    const FusedKernels& kernels = conversion.kernels.fused;
    auto* const scratch = static_cast<std::uint8_t*>(conversion.scratch);
    // Chroma of frames looks at four rows in succession; fewer rows stay in the first-level cache.
    const int rowsKept = destination.format.fieldChroma ? VerticalSiting::kReach : 4;
    const auto sumsOf = [&](int row) {
        const auto slot = static_cast<std::size_t>(row % rowsKept);
        return reinterpret_cast<std::int16_t*>(scratch + slot * SumRowBytes(source.width));
    };
    std::uint8_t* const u = scratch + VerticalSiting::kReach * SumRowBytes(source.width);
    std::uint8_t* const v = u + CodeRowBytes(source.width);
    const auto pairs = static_cast<std::size_t>(destination.ChromaWidth());
    const auto copy = [&](const std::uint8_t* codes, std::uint8_t* plane) {
        if (conversion.stream) {
            conversion.kernels.streamCopy(codes, plane, pairs);
        } else {
            std::memcpy(plane, codes, pairs);
        }
    };
    int chromaRow = destination.ChromaHeight() - 1;
    for (int row = source.height - 1; row >= 0; --row) { // the order of memory
        kernels.pixelsToLuma(source.Row(row), destination.LumaRow(row), sumsOf(row),
                             static_cast<std::size_t>(source.width), halving, transfer);
        for (; chromaRow >= 0; --chromaRow) {
            const VerticalSiting::Rows rows = vertical.RowsOfChroma(chromaRow);
            if (*std::min_element(std::begin(rows.row), std::end(rows.row)) < row) {
                break;
            }
            const std::int16_t* sums[4];
            std::uint16_t weights[4];
            for (int tap = 0; tap < 4; ++tap) {
                sums[tap] = sumsOf(rows.row[tap]);
                weights[tap] = static_cast<std::uint16_t>(rows.weight[tap] * 16);
            }
            kernels.sumsToChroma(sums, weights, u, v, pairs, halving);
            copy(u, destination.ChromaRow(0, chromaRow));
            copy(v, destination.ChromaRow(1, chromaRow));
        }
    }
    FinishStreaming(conversion);
}

void RunPairsToPixels(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const bool lumaFirst = source.format.alphaFirst;
    const PixelWidening widening = PixelWideningBetween(source.format, conversion.destination.format);
    const FusedKernels& kernels = conversion.kernels.fused;
    const Transfer transfer = TransferByRows(conversion, source.stride); // chroma has read this one
    const auto layout = static_cast<int>(lumaFirst ? LumaLayout::PairsBelow : LumaLayout::PairsAbove);
    std::int16_t* const chroma = ChromaRowIn(conversion.scratch);
    for (int row = 0; row < source.height; ++row) {
        const std::uint8_t* const pairs = source.MemoryRow(row);
        kernels.chromaOfPairs(pairs, lumaFirst, chroma, PairsOf(source.width));
        kernels.chromaToPixels[layout](pairs, chroma, conversion.destination.MemoryRow(row),
                                       static_cast<std::size_t>(source.width), widening, transfer);
    }
    FinishStreaming(conversion);
}

void RunPairMatrix(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const MatrixOfPairs matrix = MatrixOfPairsBetween(source.format, conversion.destination.format);
    const FusedKernels& kernels = conversion.kernels.fused;
    const Transfer transfer = TransferByRows(conversion, source.stride); // chroma has read this one
    std::int16_t* const chroma = ChromaRowIn(conversion.scratch);
    for (int row = 0; row < source.height; ++row) {
        const std::uint8_t* const pairs = source.MemoryRow(row);
        kernels.chromaOfPairs(pairs, matrix.lumaFirst, chroma, PairsOf(source.width));
        kernels.mixPairs(pairs, chroma, conversion.destination.MemoryRow(row), static_cast<std::size_t>(source.width),
                         matrix, transfer);
    }
    FinishStreaming(conversion);
}

void RunPlanesToPixels(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const PixelWidening widening = PixelWideningBetween(source.format, conversion.destination.format);
    const VerticalSiting vertical(source.height, source.format.fieldChroma);
    const FusedKernels& kernels = conversion.kernels.fused;
    const Transfer transfer = TransferByRows(conversion, FetchDistance());
    std::int16_t* const chroma = ChromaRowIn(conversion.scratch);
    for (int row = 0; row < source.height; ++row) {
        kernels.chromaOfPlanes(MixOfRow(source, vertical, row), chroma, PairsOf(source.width));
        kernels.chromaToPixels[static_cast<int>(LumaLayout::Plane)](
            source.LumaRow(row), chroma, conversion.destination.Row(row), static_cast<std::size_t>(source.width),
            widening, transfer);
    }
    FinishStreaming(conversion);
}

void RunPlanesToPairs(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const DestinationPicture& destination = conversion.destination;
    const VerticalSiting vertical(source.height, source.format.fieldChroma);
    const FusedKernels& kernels = conversion.kernels.fused;
    const Transfer transfer = TransferByRows(conversion, FetchDistance());
    const bool lumaFirst = destination.format.alphaFirst;
    const auto width = static_cast<std::size_t>(source.width);
    for (int row = 0; row < source.height; ++row) {
        const ChromaMix mix = MixOfRow(source, vertical, row);
        if (source.format.centredChroma) {
            kernels.centredPlanesToPairs(source.LumaRow(row), mix, ChromaRowIn(conversion.scratch), lumaFirst,
                                         destination.Row(row), width, transfer);
        } else {
            kernels.planesToPairs(source.LumaRow(row), mix, lumaFirst, destination.Row(row), width, transfer);
        }
    }
    FinishStreaming(conversion);
}

} // namespace

const Path kPremultiplyPath{"fused", PremultiplyAccepts, RunPremultiply, nullptr, true};
const Path kUnpremultiplyPath{"fused", UnpremultiplyAccepts, RunUnpremultiply, nullptr, true};
const Path kComponentsPath{"fused", ComponentsAccept, RunComponents, nullptr, true};
const Path kPixelsToPairsPath{"fused", PixelsToPairsAccept, RunPixelsToPairs, nullptr, false};
const Path kPixelsToPlanesPath{"fused", PixelsToPlanesAccept, RunPixelsToPlanes, PixelsToPlanesScratch, false};
const Path kPairsToPixelsPath{"fused", PairsToPixelsAccept, RunPairsToPixels, ChromaRowScratch, false};
const Path kPairMatrixPath{"fused", PairMatrixAccepts, RunPairMatrix, ChromaRowScratch, true};
const Path kPlanesToPixelsPath{"fused", PlanesToPixelsAccept, RunPlanesToPixels, ChromaRowScratch, false};
const Path kPlanesToPairsPath{"integers", PlanesToPairsAccept, RunPlanesToPairs, ChromaRowScratch, false};

} // namespace PixelBlitter
