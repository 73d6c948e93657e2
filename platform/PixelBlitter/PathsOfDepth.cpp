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

// The fused kernels have 8-bit pixels on both sides; equal element types of equal colours are moves of bytes.
bool DepthAccepts(const Format& from, const Format& to) noexcept {
    return from.Is444() && to.Is444() && from.model == to.model &&
           (from.packing != Packing::Bytes || to.packing != Packing::Bytes);
}

// For elements in the order of `lanes`.
void SetRange(ElementRange& range, const Format& format, const Format& lanes, bool toCodes) noexcept {
    const ComponentCodes codes = CodesOf444(format);
    for (int lane = 0; lane < 16; ++lane) {
        const CodeRange& component = codes.component[lanes.alphaFirst ? 3 - lane % 4 : lane % 4];
        const Dequantiser dequantiser = DequantiserOf(component);
        const Quantiser quantiser = QuantiserOf(component);
        range.zero[lane] = toCodes ? quantiser.offset : dequantiser.bias;
        range.scale[lane] = toCodes ? quantiser.scale : dequantiser.scale;
        range.largest = quantiser.largest;
    }
}

DepthChange DepthChangeBetween(const Format& from, const Format& to, const LightSteps& steps) noexcept {
    DepthChange change{};
    // Components move where elements are narrower.
    const bool moveOut = to.packing < from.packing;
    change.in.order = ShuffleBetween(from.packing, from, moveOut ? from : to);
    change.out.order = ShuffleBetween(to.packing, moveOut ? from : to, to);
    const Format& lanes = moveOut ? from : to;
    SetRange(change.in, from, lanes, false);
    SetRange(change.out, to, lanes, true);
    const int alpha = lanes.alphaFirst ? 0 : 3;
    for (int lane = 0; lane < 16; ++lane) {
        change.alphaLanes[lane] = lane % 4 == alpha ? 0xFFFFFFFFU : 0;
        change.spreadAlpha[lane] = static_cast<std::uint8_t>(4 * alpha + lane % 4);
    }
    change.unpremultiply = steps.unpremultiply;
    change.fromLinear = steps.fromLinear;
    change.toLinear = steps.toLinear;
    change.premultiply = steps.premultiply;
    return change;
}

DepthKernel KernelFor(const DepthKernels& kernels, Element from, Element to, const LightSteps& steps) noexcept {
    if (from == Element::Byte && steps.toLinear && !steps.unpremultiply) {
        return kernels.bytesToLinear;
    }
    if (to == Element::Byte && steps.fromLinear && !steps.premultiply) {
        return kernels.linearToBytes;
    }
    const bool any = steps.unpremultiply || steps.fromLinear || steps.toLinear || steps.premultiply;
    return (any ? kernels.takeSteps : kernels.changeDepth)[static_cast<int>(from)][static_cast<int>(to)];
}

void RunDepth(const Conversion& conversion) noexcept {
    const Format& from = conversion.source.format;
    const Format& to = conversion.destination.format;
    const LightSteps steps = LightStepsBetween(from, to);
    const DepthChange change = DepthChangeBetween(from, to, steps);
    const DepthKernel changeDepth = KernelFor(conversion.kernels.depth, ElementOf(from), ElementOf(to), steps);
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
