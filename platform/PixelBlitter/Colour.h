#pragma once

/// The steps between the component values of two formats: association of alpha, transfer curve, matrix.
///
/// Planes run in canonical order, B G R A or V U Y A. RGB and luma run from 0 to 1, chroma from -0.5 to 0.5.
/// - Association (premultiplication) always happens in the premultiplied format's own encoding: linear light where that
///   format is linear, its gamma-encoded values otherwise.
/// - Towards a format without alpha colours stay as they are: straight colours lose their alpha, premultiplied ones
///   come out as if composited over black.
/// - Towards a format with alpha from one without, alpha is opaque. Subsampled formats have no fourth plane to set.

#include "Format.h"

#include <cstddef>

namespace PixelBlitter {

/// What happens between two formats of one model, in this order.
struct LightSteps {
    bool unpremultiply = false;
    bool fromLinear = false;
    bool toLinear = false;
    bool premultiply = false;
};
LightSteps LightStepsBetween(const Format& from, const Format& to) noexcept;

class ColourSteps {
public:
    ColourSteps(const Format& from, const Format& to) noexcept;

    /// Works on planes[0..3][0..count).
    void Apply(const Kernels& kernels, float* const planes[4], std::size_t count) const noexcept;

private:
    LightSteps mLight;
    bool mMatrix = false;
    bool mOpaque = false;
    float mCoefficients[9] = {};
};

/// What happens to alpha when only its kind matters.
enum class AlphaStep { Keep, Opaque, Premultiply, Unpremultiply };
AlphaStep AlphaStepBetween(AlphaKind from, AlphaKind to) noexcept;

/// True when colours stay as they are.
bool AlphaOnlyKeptOrDropped(const Format& from, const Format& to) noexcept;

/// The matrix between the codes of two formats: code i of `to`, less its code of 0, is the sum of row[i][j] * (code j
/// of `from`, less its code of 0). Components run in canonical order.
struct CodeMatrix {
    double row[3][3];
};
CodeMatrix MatrixOfCodes(const Format& from, const Format& to) noexcept;

/// True when both formats hold the same component values: model, matrix and light.
bool SameColours(const Format& from, const Format& to) noexcept;

} // namespace PixelBlitter
