// Conversions between element types of 4:4:4:4 formats in one pass.

#include "ByteMoves.h"
#include "Colour.h"
#include "Paths.h"
#include "RowRuns.h"

namespace PixelBlitter {
namespace {

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
    const bool toCodes = from.packing == Packing::Floats;
    // Integers move where they are narrowest.
    const bool bytes = from.packing == Packing::Bytes || to.packing == Packing::Bytes;
    change.codes = ShuffleBetween(bytes ? Packing::Bytes : Packing::Words, from, to);
    const ComponentCodes ranges = CodesOf444(toCodes ? to : from);
    const Format& lanes = toCodes ? from : to;
    for (int lane = 0; lane < 16; ++lane) {
        const CodeRange& range = ranges.component[lanes.alphaFirst ? 3 - lane % 4 : lane % 4];
        const Dequantiser dequantiser = DequantiserOf(range);
        const Quantiser quantiser = QuantiserOf(range);
        change.zero[lane] = toCodes ? quantiser.offset : dequantiser.bias;
        change.scale[lane] = toCodes ? quantiser.scale : dequantiser.scale;
        change.largest = quantiser.largest;
    }
    return change;
}

void RunDepth(const Conversion& conversion) noexcept {
    const Format& from = conversion.source.format;
    const Format& to = conversion.destination.format;
    const DepthChange change = DepthChangeBetween(from, to);
    const DepthKernel changeDepth =
        conversion.kernels.depth.changeDepth[static_cast<int>(ElementOf(from))][static_cast<int>(ElementOf(to))];
    const Transfer transfer = TransferInMemoryOrder(conversion);
    const int width = conversion.source.width;
    ForEachRun(conversion, UsedRowBytes(from, width), UsedRowBytes(to, width), static_cast<std::size_t>(width),
               [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) noexcept {
                   changeDepth(source, destination, pixels, change, transfer);
               });
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

} // namespace

const Path kDepthPath{"depth", DepthAccepts, RunDepth, nullptr, true};

} // namespace PixelBlitter
