// Paths that treat a picture as rows of bytes: copy and shuffle.

#include "ByteMoves.h"
#include "Colour.h"
#include "Paths.h"
#include "RowRuns.h"

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

bool ShuffleAccepts(const Format& from, const Format& to) noexcept {
    return (from.Is444() || from.packing == Packing::Pairs) && SameCodes(from, to) && AlphaOnlyKeptOrDropped(from, to);
}

void RunShuffle(const Conversion& conversion) noexcept {
    const ByteShuffle move =
        ShuffleBetween(conversion.source.format.packing, conversion.source.format, conversion.destination.format);
    const std::uint64_t rowBytes = UsedRowBytes(conversion.source.format, conversion.source.width);
    const Transfer transfer = TransferInMemoryOrder(conversion);
    ForEachRun(conversion, rowBytes, rowBytes, rowBytes,
               [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept {
                   conversion.kernels.shuffle(source, destination, bytes, move, transfer);
               });
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

} // namespace

const Path kCopyPath{"copy", CopyAccepts, RunCopy, nullptr, true};
const Path kShufflePath{"shuffle", ShuffleAccepts, RunShuffle, nullptr, true};

} // namespace PixelBlitter
