#include "FusedWeights.h"

#include "Colour.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace PixelBlitter {
namespace {

constexpr std::uint8_t kZeroByte = 0x80; // an index that gives a byte of 0

// Where component i of B G R A or V U Y A stands in a pixel; also the other way round.
int PositionOf(const Format& format, int component) noexcept {
    return format.alphaFirst ? 3 - component : component;
}

// Calls entry(pixel, byte) for the 16 bytes of a table over four pixels.
template <class Entry>
void FillTable(std::uint8_t table[16], const Entry& entry) noexcept {
    for (int i = 0; i < 16; ++i) {
        table[i] = static_cast<std::uint8_t>(entry(i / 4, i % 4));
    }
}

// From the pixels of one format to the component order of another.
void FillOrder(std::uint8_t order[16], const Format& from, const Format& to) noexcept {
    FillTable(order, [&](int pixel, int byte) { return 4 * pixel + PositionOf(from, PositionOf(to, byte)); });
}

// The words (component low, component high) of each pixel.
void FillWords(std::uint8_t table[16], const Format& format, int low, int high) noexcept {
    FillTable(table, [&](int pixel, int byte) {
        return byte % 2 != 0 ? kZeroByte : 4 * pixel + PositionOf(format, byte == 0 ? low : high);
    });
}

double ZeroOf(const Format& format, int component) noexcept {
    return CodesOf444(format).component[component].zero;
}

std::int16_t Word(double value) noexcept {
    return static_cast<std::int16_t>(std::lround(value));
}

struct RoundedRow {
    SplitWeights weights{};
    double error[3] = {}; ///< of each weight
    int bits = 0;
};

// One row of a matrix of codes. Weights of RGB are rounded so that their sum is, too: grey stays grey.
RoundedRow RoundRow(const double row[3], WeightScale scale, bool jointly) noexcept {
    RoundedRow rounded;
    rounded.bits = BitsOf(scale);
    const double one = 1 << rounded.bits;
    long weight[3] = {std::lround(row[0] * one), std::lround(row[1] * one), std::lround(row[2] * one)};
    if (jointly) {
        weight[1] = std::lround((row[0] + row[1] + row[2]) * one) - weight[0] - weight[2];
    }
    for (int i = 0; i < 3; ++i) {
        rounded.error[i] = static_cast<double>(weight[i]) - row[i] * one;
    }
    rounded.weights.first[0] = static_cast<std::int16_t>(weight[0]);
    rounded.weights.first[1] = static_cast<std::int16_t>(weight[1] / 2);
    rounded.weights.second[0] = static_cast<std::int16_t>(weight[2]);
    rounded.weights.second[1] = static_cast<std::int16_t>(weight[1] - weight[1] / 2);
    return rounded;
}

// The code of 0 that codes get when those of the source count from 0, in units of the rounded row. What the rounding of
// the weights adds in the middle of their range is taken off.
std::int32_t OffsetOf(const double row[3], const RoundedRow& rounded, const Format& from, double outZero) noexcept {
    const double one = 1 << rounded.bits;
    double offset = outZero * one;
    for (int i = 0; i < 3; ++i) {
        offset -= row[i] * one * ZeroOf(from, i) + rounded.error[i] * AlphaCodes(from).largest / 2;
    }
    return static_cast<std::int32_t>(std::lround(offset));
}

// What the weights of a pair of formats are below.
WeightScale ScaleBetween(const Format& from, const Format& to) noexcept {
    if (to.packing == Packing::Groups) {
        return from.IsYUV() ? WeightScale::Broad : WeightScale::Coarse;
    }
    return from.IsYUV() ? WeightScale::Coarse : WeightScale::Fine;
}

} // namespace

AlphaProduct AlphaProductBetween(const Format& from, const Format& to) noexcept {
    AlphaProduct product{};
    FillOrder(product.order, from, to);
    const int alpha = PositionOf(to, 3);
    const auto opaque = [](int half) { return std::uint32_t{255} << (16 * half); };
    FillTable(product.evenAlpha,
              [&](int pixel, int byte) { return byte % 2 != 0 || byte == alpha ? kZeroByte : 4 * pixel + alpha; });
    FillTable(product.oddAlpha,
              [&](int pixel, int byte) { return byte % 2 != 0 || byte + 1 == alpha ? kZeroByte : 4 * pixel + alpha; });
    product.evenOpaque = alpha % 2 == 0 ? opaque(alpha / 2) : 0;
    product.oddOpaque = alpha % 2 != 0 ? opaque(alpha / 2) : 0;
    for (int byte = 0; byte < 4; ++byte) {
        const auto zero = static_cast<std::uint32_t>(ZeroOf(to, PositionOf(to, byte))) << (16 * (byte / 2));
        (byte % 2 == 0 ? product.evenZero : product.oddZero) |= zero;
    }
    return product;
}

AlphaQuotient AlphaQuotientBetween(const Format& from, const Format& to) noexcept {
    AlphaQuotient quotient{};
    FillOrder(quotient.order, from, to);
    quotient.alphaFirst = to.alphaFirst;
    for (int i = 0; i < 3; ++i) {
        quotient.zero[i] = static_cast<float>(ZeroOf(to, PositionOf(to, to.alphaFirst ? i + 1 : i)));
    }
    return quotient;
}

ComponentMatrix ComponentMatrixBetween(const Format& from, const Format& to) noexcept {
    const CodeMatrix codes = MatrixOfCodes(from, to);
    ComponentMatrix matrix{};
    matrix.scale = ScaleBetween(from, to);
    FillWords(matrix.first, from, 0, 1);
    FillWords(matrix.second, from, 2, 1);
    const bool opaque = AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Opaque;
    FillTable(matrix.alpha,
              [&](int pixel, int byte) { return opaque || byte != 0 ? kZeroByte : 4 * pixel + PositionOf(from, 3); });
    matrix.opaque = opaque ? 255 : 0;
    for (int i = 0; i < 3; ++i) {
        const RoundedRow row = RoundRow(codes.row[i], matrix.scale, !from.IsYUV());
        matrix.weights[i] = row.weights;
        matrix.offset[i] = OffsetOf(codes.row[i], row, from, ZeroOf(to, i)) + (1 << (row.bits - 1));
    }
    FillTable(matrix.order, [&](int pixel, int byte) { return 4 * PositionOf(to, byte) + pixel; });
    return matrix;
}

PixelHalving PixelHalvingBetween(const Format& from, const Format& to) noexcept {
    const CodeMatrix codes = MatrixOfCodes(from, to);
    PixelHalving halving{};
    halving.scale = ScaleBetween(from, to);
    halving.centred = to.centredChroma;
    halving.lumaAbove = !to.alphaFirst;
    FillWords(halving.first, from, 0, 1);
    FillWords(halving.second, from, 2, 1);
    constexpr int kOfPair[4] = {0, 1, 2, 1};
    for (int i = 0; i < 16; ++i) {
        halving.pairs[i] = static_cast<std::uint8_t>(8 * (i / 8) + 4 * (i % 2) + PositionOf(from, kOfPair[i % 8 / 2]));
    }
    // Towards 10 bits, rounding each weight errs less, and grey is off by less than a half either way.
    const bool jointly = halving.scale == WeightScale::Fine;
    const auto round = [&](int i) { return RoundRow(codes.row[i], halving.scale, jointly); };
    const RoundedRow v = round(0), u = round(1), luma = round(2);
    halving.v = v.weights;
    halving.u = u.weights;
    halving.luma = luma.weights;
    halving.chromaZero[0] = OffsetOf(codes.row[1], u, from, ZeroOf(to, 1));
    halving.chromaZero[1] = OffsetOf(codes.row[0], v, from, ZeroOf(to, 0));
    halving.lumaOffset = OffsetOf(codes.row[2], luma, from, ZeroOf(to, 2)) + (1 << (luma.bits - 1));
    return halving;
}

PixelWidening PixelWideningBetween(const Format& from, const Format& to) noexcept {
    const CodeMatrix codes = MatrixOfCodes(from, to);
    constexpr double kCoarse = 1 << BitsOf(WeightScale::Coarse);
    constexpr double kFine = 1 << BitsOf(WeightScale::Fine);
    // Which component is made of U and luma, of all, of V and luma.
    constexpr int kForRGB[3] = {0, 1, 2};
    constexpr int kForYUV[3] = {1, 2, 0};
    const int* const results = to.IsYUV() ? kForYUV : kForRGB;
    const double* const ofU = codes.row[results[0]];
    const double* const ofBoth = codes.row[results[1]];
    const double* const ofV = codes.row[results[2]];
    PixelWidening widening{};
    widening.centred = from.centredChroma;
    widening.lumaZero = Word(ZeroOf(from, 2));
    widening.fromU[0] = Word(ofU[1] / 2 * kCoarse);
    widening.fromU[1] = Word(ofU[2] * kCoarse);
    widening.fromV[0] = Word(ofV[2] * kCoarse);
    widening.fromV[1] = Word(ofV[0] / 2 * kCoarse);
    const long luma = std::lround(ofBoth[2] * kFine);
    widening.fromBoth[0] = static_cast<std::int16_t>(luma / 2);
    widening.fromBoth[1] = Word(ofBoth[0] / 2 * kFine);
    widening.fromBoth[2] = Word(ofBoth[1] / 2 * kFine);
    widening.fromBoth[3] = static_cast<std::int16_t>(luma - luma / 2);
    for (int i = 0; i < 3; ++i) {
        widening.zero[i] = Word(ZeroOf(to, results[i]));
    }
    FillTable(widening.order, [&](int pixel, int byte) {
        const int component = PositionOf(to, byte);
        const auto* const result = std::find(results, results + 3, component);
        return 4 * pixel + static_cast<int>(result - results); // opaque comes last
    });
    for (int i = 0; i < 16; ++i) {
        widening.reorder = widening.reorder || widening.order[i] != i;
    }
    return widening;
}

MatrixOfPairs MatrixOfPairsBetween(const Format& from, const Format& to) noexcept {
    const CodeMatrix codes = MatrixOfCodes(from, to);
    constexpr double kCoarse = 1 << BitsOf(WeightScale::Coarse);
    constexpr double kFine = 1 << BitsOf(WeightScale::Fine);
    MatrixOfPairs matrix{};
    matrix.lumaFirst = from.alphaFirst;
    for (int i = 0; i < 2; ++i) { // U, V
        matrix.luma[i] = Word(codes.row[2][1 - i] * kFine);
        matrix.u[i] = Word(codes.row[1][1 - i] * kCoarse);
        matrix.v[i] = Word(codes.row[0][1 - i] * kCoarse);
    }
    for (int i = 0; i < 16; ++i) {
        const bool luma = (i % 2 == 0) == to.alphaFirst;
        matrix.order[i] = static_cast<std::uint8_t>(i / 2 + (luma ? 8 : 0));
    }
    return matrix;
}

} // namespace PixelBlitter
