#include "Colour.h"

#include <algorithm>
#include <array>

namespace PixelBlitter {
namespace {

using Matrix = std::array<double, 9>;

struct LumaWeights {
    double red;
    double blue;
};

// ITU-R BT.601 section 2.5.1 and BT.709 section 3.2.
LumaWeights WeightsOf(ColourModel model) noexcept {
    return model == ColourModel::BT709 ? LumaWeights{0.2126, 0.0722} : LumaWeights{0.299, 0.114};
}

constexpr Matrix kIdentity{1, 0, 0, 0, 1, 0, 0, 0, 1};

// What both directions are made of: the luma weights, and the spans that scale R - Y and B - Y to -0.5 .. 0.5.
struct Coefficients {
    explicit Coefficients(ColourModel model) noexcept {
        const LumaWeights weights = WeightsOf(model);
        red = weights.red;
        blue = weights.blue;
        green = 1 - red - blue;
        v = 2 * (1 - red);
        u = 2 * (1 - blue);
    }
    double red, green, blue, v, u;
};

// V U Y from B G R.
Matrix FromRGB(ColourModel model) noexcept {
    if (model == ColourModel::RGB) {
        return kIdentity;
    }
    const auto [red, green, blue, v, u] = Coefficients(model);
    return {-blue / v, -green / v, (1 - red) / v, (1 - blue) / u, -green / u, -red / u, blue, green, red};
}

// B G R from V U Y.
Matrix ToRGB(ColourModel model) noexcept {
    if (model == ColourModel::RGB) {
        return kIdentity;
    }
    const auto [red, green, blue, v, u] = Coefficients(model);
    return {0, u, 1, -v * red / green, -u * blue / green, 1, v, 0, 1};
}

Matrix Product(const Matrix& a, const Matrix& b) noexcept {
    Matrix product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t i = 0; i < 3; ++i) {
                product[3 * row + column] += a[3 * row + i] * b[3 * i + column];
            }
        }
    }
    return product;
}

Matrix MatrixBetween(ColourModel from, ColourModel to) noexcept {
    return from == to ? kIdentity : Product(FromRGB(to), ToRGB(from));
}

} // namespace

AlphaStep AlphaStepBetween(AlphaKind from, AlphaKind to) noexcept {
    if (from == AlphaKind::None || to == AlphaKind::None) {
        return AlphaStep::Opaque;
    }
    if (from == to) {
        return AlphaStep::Keep;
    }
    return to == AlphaKind::Premultiplied ? AlphaStep::Premultiply : AlphaStep::Unpremultiply;
}

bool AlphaOnlyKeptOrDropped(const Format& from, const Format& to) noexcept {
    const AlphaStep step = AlphaStepBetween(from.alpha, to.alpha);
    return step == AlphaStep::Keep || step == AlphaStep::Opaque;
}

bool SameColours(const Format& from, const Format& to) noexcept {
    return from.model == to.model && from.linear == to.linear;
}

CodeMatrix MatrixOfCodes(const Format& from, const Format& to) noexcept {
    const Matrix matrix = MatrixBetween(from.model, to.model);
    const ComponentCodes in = CodesOf444(from);
    const ComponentCodes out = CodesOf444(to);
    CodeMatrix codes{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            codes.row[i][j] = matrix[3 * i + j] * out.component[i].span / in.component[j].span;
        }
    }
    return codes;
}

LightSteps LightStepsBetween(const Format& from, const Format& to) noexcept {
    const AlphaStep alpha = AlphaStepBetween(from.alpha, to.alpha);
    LightSteps steps;
    steps.fromLinear = from.linear && !to.linear;
    steps.toLinear = to.linear && !from.linear;
    // Premultiplied values in two encodings are not proportional, so they pass through straight ones.
    const bool reassociate =
        (steps.fromLinear || steps.toLinear) && alpha == AlphaStep::Keep && from.alpha == AlphaKind::Premultiplied;
    steps.unpremultiply = alpha == AlphaStep::Unpremultiply || reassociate;
    steps.premultiply = alpha == AlphaStep::Premultiply || reassociate;
    return steps;
}

ColourSteps::ColourSteps(const Format& from, const Format& to) noexcept
    : mLight(LightStepsBetween(from, to)), mMatrix(from.model != to.model),
      mOpaque(AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Opaque && to.Is444()) {
    if (mMatrix) {
        const Matrix matrix = MatrixBetween(from.model, to.model);
        std::transform(matrix.begin(), matrix.end(), mCoefficients,
                       [](double coefficient) { return static_cast<float>(coefficient); });
    }
}

void ColourSteps::Apply(const Kernels& kernels, float* const planes[4], std::size_t count) const noexcept {
    if (mLight.unpremultiply) {
        kernels.unpremultiply(planes, count);
    }
    if (mLight.fromLinear) {
        for (int c = 0; c < 3; ++c) {
            kernels.fromLinear(planes[c], count);
        }
    }
    if (mMatrix) {
        kernels.applyMatrix(planes[0], planes[1], planes[2], count, mCoefficients);
    }
    if (mLight.toLinear) {
        for (int c = 0; c < 3; ++c) {
            kernels.toLinear(planes[c], count);
        }
    }
    if (mLight.premultiply) {
        kernels.premultiply(planes, count);
    }
    if (mOpaque) {
        kernels.setToOne(planes[3], count);
    }
}

} // namespace PixelBlitter
