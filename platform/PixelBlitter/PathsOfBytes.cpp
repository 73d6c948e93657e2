// Paths that treat a picture as rows of bytes: copy, shuffle, change of element type.

#include "Colour.h"
#include "Paths.h"
#include "RowRuns.h"

#include <algorithm>
#include <cstring>

namespace PixelBlitter {
namespace {

bool CopyAccepts(const Format& from, const Format& to) noexcept {
    return from.value == to.value;
}

void RunCopy(const Conversion& conversion) noexcept {
    const std::ptrdiff_t ahead = TransferInMemoryOrder(conversion).ahead;
    const auto copy = [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept {
        if (source == destination) {
            return;
        }
        if (conversion.stream) {
            conversion.kernels.copyAhead(source, destination, bytes, ahead);
        } else {
            std::memcpy(destination, source, bytes);
        }
    };
    if (conversion.source.format.HasRows()) {
        const std::uint64_t rowBytes = UsedRowBytes(conversion.source.format, conversion.source.width);
        ForEachRun(conversion, rowBytes, rowBytes, rowBytes, copy);
    } else {
        copy(conversion.source.base, conversion.destination.base, PixelBytes(conversion.source));
    }
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

bool SameCodes(const Format& from, const Format& to) noexcept {
    return from.packing == to.packing && SameColours(from, to) && from.fullRange == to.fullRange;
}

bool AlphaOnlyKeptOrDropped(const Format& from, const Format& to) noexcept {
    const AlphaStep step = AlphaStepBetween(from.alpha, to.alpha);
    return step == AlphaStep::Keep || step == AlphaStep::Opaque;
}

bool ShuffleAccepts(const Format& from, const Format& to) noexcept {
    return (from.Is444() || from.packing == Packing::Pairs) && SameCodes(from, to) && AlphaOnlyKeptOrDropped(from, to);
}

// The bytes of one opaque alpha component.
void StoreOpaque(Packing packing, std::uint8_t* component) noexcept {
    if (packing == Packing::Bytes) {
        *component = 255;
    } else if (packing == Packing::Words) {
        const std::uint16_t white = 32768;
        std::memcpy(component, &white, sizeof white);
    } else {
        const float white = 1;
        std::memcpy(component, &white, sizeof white);
    }
}

ByteShuffle ShuffleBetween(const Format& from, const Format& to) noexcept {
    ByteShuffle move{};
    std::fill(std::begin(move.keep), std::end(move.keep), std::uint8_t{0xFF});
    const bool reorders = from.alphaFirst != to.alphaFirst;
    if (from.packing == Packing::Pairs) {
        for (unsigned i = 0; i < 16; ++i) {
            move.order[i] = static_cast<std::uint8_t>(reorders ? i ^ 1U : i);
        }
        return move;
    }
    const auto pixelBytes = static_cast<unsigned>(BytesPerPixel(from));
    const unsigned componentBytes = pixelBytes / 4;
    for (unsigned i = 0; i < 16; ++i) {
        const unsigned component = i % pixelBytes / componentBytes;
        const unsigned from4 = reorders ? 3 - component : component;
        move.order[i] =
            static_cast<std::uint8_t>(i / pixelBytes * pixelBytes + from4 * componentBytes + i % componentBytes);
    }
    if (AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Opaque) {
        for (unsigned pixel = 0; pixel < 16; pixel += pixelBytes) {
            const unsigned alpha = pixel + (to.alphaFirst ? 0 : 3 * componentBytes);
            std::fill_n(move.keep + alpha, componentBytes, std::uint8_t{0});
            StoreOpaque(from.packing, move.set + alpha);
        }
    }
    return move;
}

// Applies a routine of bytes to bytes in pieces, so that streamed output can pass through a cached buffer.
template <class Routine>
void RunInPieces(const Conversion& conversion, std::size_t sourceUnitBytes, std::size_t destinationUnitBytes,
                 std::size_t unitsPerRow, const Routine& routine) noexcept {
    constexpr std::size_t kPieceBytes = 16384;
    alignas(64) std::uint8_t piece[kPieceBytes];
    const std::size_t unitsPerPiece = kPieceBytes / destinationUnitBytes;
    const auto run = [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t units) noexcept {
        if (!conversion.stream) {
            routine(source, destination, units);
            return;
        }
        for (std::size_t done = 0; done < units; done += unitsPerPiece) {
            const std::size_t count = std::min(unitsPerPiece, units - done);
            routine(source + done * sourceUnitBytes, piece, count);
            conversion.kernels.streamCopy(piece, destination + done * destinationUnitBytes,
                                          count * destinationUnitBytes);
        }
    };
    ForEachRun(conversion, unitsPerRow * sourceUnitBytes, unitsPerRow * destinationUnitBytes, unitsPerRow, run);
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

void RunShuffle(const Conversion& conversion) noexcept {
    const ByteShuffle move = ShuffleBetween(conversion.source.format, conversion.destination.format);
    const std::uint64_t rowBytes = UsedRowBytes(conversion.source.format, conversion.source.width);
    const Transfer transfer = TransferInMemoryOrder(conversion);
    ForEachRun(conversion, rowBytes, rowBytes, rowBytes / 4,
               [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t units) noexcept {
                   conversion.kernels.shuffle(source, destination, units * 4, move, transfer);
               });
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

Element ElementOf(const Format& format) noexcept {
    if (format.packing == Packing::Bytes) {
        return Element::Byte;
    }
    return format.packing == Packing::Words ? Element::Word : Element::Float;
}

bool DepthAccepts(const Format& from, const Format& to) noexcept {
    return from.Is444() && to.Is444() && from.packing != to.packing && SameColours(from, to) &&
           AlphaOnlyKeptOrDropped(from, to);
}

DepthChange DepthChangeBetween(const Format& from, const Format& to) noexcept {
    DepthChange change{};
    change.reverse = from.alphaFirst != to.alphaFirst;
    change.opaque = AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Opaque;
    const ComponentCodes in = CodesOf444(from);
    const ComponentCodes out = CodesOf444(to);
    for (int lane = 0; lane < 16; ++lane) {
        const int fromComponent = from.alphaFirst ? 3 - lane % 4 : lane % 4;
        const int toComponent = to.alphaFirst ? 3 - lane % 4 : lane % 4;
        const Dequantiser dequantiser = DequantiserOf(in.component[fromComponent]);
        const Quantiser quantiser = QuantiserOf(out.component[toComponent]);
        change.bias[lane] = dequantiser.bias;
        change.inScale[lane] = dequantiser.scale;
        change.outScale[lane] = quantiser.scale;
        change.outOffset[lane] = quantiser.offset;
        change.largest = quantiser.largest;
        change.opaqueMask[lane] = toComponent == 3 ? 1.0F : 0.0F;
    }
    change.opaqueValue = static_cast<float>(out.component[3].span);
    return change;
}

void RunDepth(const Conversion& conversion) noexcept {
    const Format& from = conversion.source.format;
    const Format& to = conversion.destination.format;
    const DepthChange change = DepthChangeBetween(from, to);
    const auto changeDepth =
        conversion.kernels.depth.changeDepth[static_cast<int>(ElementOf(from))][static_cast<int>(ElementOf(to))];
    RunInPieces(conversion, BytesPerPixel(from), BytesPerPixel(to), static_cast<std::size_t>(conversion.source.width),
                [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) noexcept {
                    changeDepth(source, destination, pixels, change);
                });
}

} // namespace

const Path kCopyPath{"copy", CopyAccepts, RunCopy, nullptr, true};
const Path kShufflePath{"shuffle", ShuffleAccepts, RunShuffle, nullptr, true};
const Path kDepthPath{"depth", DepthAccepts, RunDepth, nullptr, true};

} // namespace PixelBlitter
