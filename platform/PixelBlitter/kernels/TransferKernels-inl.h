// The sRGB curve (IEC 61966-2-1), continued beyond 0..1: odd below zero, the power law above one.
#if defined(PIXELBLITTER_TRANSFER_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_TRANSFER_KERNELS_INL_H
#undef PIXELBLITTER_TRANSFER_KERNELS_INL_H
#else
#define PIXELBLITTER_TRANSFER_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

#include <limits>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// A positive normal number as mantissa - 1.5, in [-0.5, 0.5), and quotient and remainder of its exponent by a divisor.
// The exponent is lifted by a multiple of the divisor first, so that all of it is non-negative.
template <int divisor>
struct Decomposition {
    static constexpr int kLift = 150 / divisor + 1;
    VF mantissa;
    hn::Vec<DI> quotient;
    hn::Vec<DI> remainder;
};

template <int divisor>
HWY_INLINE Decomposition<divisor> Decompose(VF x) {
    using Result = Decomposition<divisor>;
    const auto bits = hn::BitCast(di, x);
    const auto mantissa = hn::BitCast(df, hn::Or(hn::And(bits, hn::Set(di, 0x007FFFFF)), hn::Set(di, 0x3F800000)));
    const auto exponent = hn::Add(hn::ShiftRight<23>(bits), hn::Set(di, Result::kLift * divisor - 127));
    // exponent < 2^9: the rounded-up reciprocal in 16 bits gives the exact quotient.
    const auto quotient = hn::ShiftRight<16>(hn::Mul(exponent, hn::Set(di, 65536 / divisor + 1)));
    const auto remainder = hn::Sub(exponent, hn::Mul(quotient, hn::Set(di, divisor)));
    return {hn::Sub(mantissa, hn::Set(df, 1.5F)), hn::Sub(quotient, hn::Set(di, Result::kLift)), remainder};
}

HWY_INLINE VF Select(hn::Vec<DI> index, int value, float chosen, VF otherwise) {
    return hn::IfThenElse(hn::RebindMask(df, hn::Eq(index, hn::Set(di, value))), hn::Set(df, chosen), otherwise);
}

HWY_INLINE VF PowerOfTwo(hn::Vec<DI> exponent) {
    return hn::BitCast(df, hn::ShiftLeft<23>(hn::Add(exponent, hn::Set(di, 127))));
}

HWY_INLINE VF Polynomial(VF t, const float (&coefficients)[8]) {
    VF sum = hn::Set(df, coefficients[7]);
    for (int i = 6; i >= 0; --i) {
        sum = hn::Add(hn::Mul(sum, t), hn::Set(df, coefficients[i]));
    }
    return sum;
}

// (t + 1.5)^p on [-0.5, 0.5], interpolated at the Chebyshev nodes; relative error 3.6e-8.
constexpr float kFifthRootSquared[8] = {1.1760790476F,     0.31362105846F,   -0.062727419176F,  0.022303757037F,
                                        -0.0096009636606F, 0.0046030370352F, -0.0027615920071F, 0.0014852937239F};
constexpr float kCubeRoot[8] = {1.1447142681F,     0.25438092817F,   -0.056532366316F,  0.020938568835F,
                                -0.0092407561476F, 0.0045124320602F, -0.0027568923617F, 0.0014999374773F};

// x^2.4 = x^2 * x^(2/5) for normal x from 2^-126 up.
HWY_INLINE VF Power12Fifths(VF x) {
    const auto parts = Decompose<5>(x);
    VF factor = hn::Set(df, 1.0F);
    factor = Select(parts.remainder, 1, 1.3195079108F, factor); // 2^(2/5)
    factor = Select(parts.remainder, 2, 1.7411011266F, factor);
    factor = Select(parts.remainder, 3, 2.2973967100F, factor);
    factor = Select(parts.remainder, 4, 3.0314331330F, factor);
    const VF root = hn::Mul(hn::Mul(Polynomial(parts.mantissa, kFifthRootSquared), factor),
                            PowerOfTwo(hn::ShiftLeft<1>(parts.quotient)));
    return hn::Mul(hn::Mul(x, x), root);
}

// x^(5/12) = sqrt(x^(1/2) * x^(1/3)): the root halves the relative error of what it is taken of.
HWY_INLINE VF Power5Twelfths(VF x) {
    const auto parts = Decompose<3>(x);
    VF factor = hn::Set(df, 1.0F);
    factor = Select(parts.remainder, 1, 1.2599210499F, factor); // 2^(1/3)
    factor = Select(parts.remainder, 2, 1.5874010520F, factor);
    const VF cubeRoot = hn::Mul(hn::Mul(Polynomial(parts.mantissa, kCubeRoot), factor), PowerOfTwo(parts.quotient));
    return hn::Sqrt(hn::Mul(hn::Sqrt(x), cubeRoot));
}

// Infinity and NaN stay what they are.
HWY_INLINE VF KeepNonFinite(VF magnitude, VF result) {
    const auto finite = hn::Le(magnitude, hn::Set(df, std::numeric_limits<float>::max()));
    return hn::IfThenElse(finite, result, magnitude);
}

HWY_INLINE VF LinearOf(VF encoded) {
    const VF magnitude = hn::Abs(encoded);
    const VF low = hn::Mul(magnitude, hn::Set(df, 1.0F / 12.92F));
    const VF base = hn::Mul(hn::Add(magnitude, hn::Set(df, 0.055F)), hn::Set(df, 1.0F / 1.055F));
    const VF curve = hn::IfThenElse(hn::Le(magnitude, hn::Set(df, 0.04045F)), low, Power12Fifths(base));
    return hn::CopySign(KeepNonFinite(magnitude, curve), encoded);
}

HWY_INLINE VF EncodedOf(VF linear) {
    const VF magnitude = hn::Abs(linear);
    const VF low = hn::Mul(magnitude, hn::Set(df, 12.92F));
    const VF high = hn::Sub(hn::Mul(Power5Twelfths(magnitude), hn::Set(df, 1.055F)), hn::Set(df, 0.055F));
    const VF curve = hn::IfThenElse(hn::Le(magnitude, hn::Set(df, 0.0031308F)), low, high);
    return hn::CopySign(KeepNonFinite(magnitude, curve), linear);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
