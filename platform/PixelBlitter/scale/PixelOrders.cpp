#include "scale/PixelOrders.h"

#include "Colour.h"

namespace PixelBlitter {
namespace {

constexpr std::uint8_t kZeroByte = 0x80; // an index that gives a byte of 0

// Where component i of B G R A or V U Y A stands in a pixel; also the other way round.
int PositionOf(const Format& format, int component) noexcept {
    return format.alphaFirst ? 3 - component : component;
}

} // namespace

bool SamePixels(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Bytes && to.packing == Packing::Bytes && SameColours(from, to) &&
           from.fullRange == to.fullRange;
}

PixelOrder PixelOrderBetween(const Format& from, const Format& to) noexcept {
    PixelOrder order{};
    for (int i = 0; i < 16; ++i) {
        // Of four pixels; of the two pairs among four.
        const int pixel = i / 4 * 4;
        const int pairPixel = i / 8 * 8 + i % 2 * 4;
        const int pairComponent = i % 8 / 2;
        const auto fromComponent = [&](int component) { return PositionOf(from, component); };
        const auto byte = [](int index) { return static_cast<std::uint8_t>(index); };
        order.order[i] = byte(pixel + fromComponent(PositionOf(to, i % 4)));
        order.pairs[i] = byte(pairPixel + fromComponent(PositionOf(to, pairComponent)));
        order.straightPairs[i] = byte(pairPixel + fromComponent(pairComponent));
        order.alphaPairs[i] = pairComponent == 3 ? kZeroByte : byte(pairPixel + fromComponent(3));
        order.fromAlphaLast[i] = byte(pixel + PositionOf(to, i % 4));
    }
    const AlphaStep alpha = AlphaStepBetween(from.alpha, to.alpha);
    order.opaque = alpha == AlphaStep::Opaque ? 0xFFU << (8 * PositionOf(to, 3)) : 0;
    const bool matters = alpha != AlphaStep::Opaque && (from.alpha != to.alpha || from.alpha == AlphaKind::Straight);
    order.sourceAlpha = matters ? 0xFFU << (8 * PositionOf(from, 3)) : 0;
    const ComponentCodes codes = CodesOf444(from);
    for (int c = 0; c < 3; ++c) {
        order.zero[c] = static_cast<float>(codes.component[c].zero);
    }
    return order;
}

} // namespace PixelBlitter
