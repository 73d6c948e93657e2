#include "scale/PixelOrders.h"

#include "Colour.h"

#include <cmath>

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

bool PairsToPixels(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Pairs && to.packing == Packing::Bytes && from.linear == to.linear &&
           (!to.IsYUV() || to.model == from.model);
}

PairMatrix PairMatrixBetween(const Format& from, const Format& to) noexcept {
    const CodeMatrix codes = MatrixOfCodes(from, to);
    const ComponentCodes zeros = CodesOf444(to);
    constexpr double kOne = 1 << kMatrixBits;
    constexpr std::int32_t kCode = 1 << kMatrixFraction;
    PairMatrix matrix{};
    matrix.lumaFirst = from.alphaFirst;
    for (int i = 0; i < 3; ++i) {
        const auto word = [](double weight) { return static_cast<std::int16_t>(std::lround(weight * kOne)); };
        matrix.v[i] = word(codes.row[i][0]);
        matrix.u[i] = word(codes.row[i][1]);
        matrix.luma[i] = word(codes.row[i][2]);
        const double zero = zeros.component[i].zero * kOne - matrix.luma[i] * LumaCodes(from).zero -
                            (matrix.u[i] + matrix.v[i]) * ChromaCodes(from).zero;
        matrix.offset[i] =
            static_cast<std::int32_t>(std::lround(zero)) * kCode + (1 << (kMatrixBits + kMatrixFraction - 1));
    }
    for (int i = 0; i < 16; ++i) {
        matrix.order[i] = static_cast<std::uint8_t>(4 * PositionOf(to, i % 4) + i / 4);
    }
    return matrix;
}

} // namespace PixelBlitter
