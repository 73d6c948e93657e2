#pragma once

/// The sRGB curve (IEC 61966-2-1) between 8-bit codes and linear light, as tables.

#include <array>
#include <cmath>
#include <cstddef>

namespace PixelBlitter {

namespace light {

// The n-th root of 0 < x <= 1 by Newton's method from above, which never undershoots.
constexpr double Root(double x, int n) {
    double root = 1;
    for (int i = 0; i < 200; ++i) {
        double power = 1;
        for (int factor = 1; factor < n; ++factor) {
            power *= root;
        }
        root -= (power * root - x) / (n * power);
    }
    return root;
}

constexpr double ToLinear(double encoded) {
    if (encoded <= 0.04045) {
        return encoded / 12.92;
    }
    const double base = (encoded + 0.055) / 1.055;
    return base * base * Root(base * base, 5);
}

constexpr double FromLinear(double value) {
    if (value <= 0.0031308) {
        return value * 12.92;
    }
    const double sixth = Root(value, 6);
    return 1.055 * sixth * sixth * Root(sixth, 2) - 0.055;
}

} // namespace light

/// Linear light of every 8-bit code, then the values of the codes of alpha, which has no curve.
inline constexpr std::size_t kAlphaOfTable = 256;
inline constexpr auto kLightOfCodes = [] {
    std::array<float, 2 * kAlphaOfTable> table{};
    for (std::size_t code = 0; code < kAlphaOfTable; ++code) {
        table[code] = static_cast<float>(light::ToLinear(static_cast<double>(code) / 255));
        table[kAlphaOfTable + code] = static_cast<float>(static_cast<double>(code) / 255);
    }
    return table;
}();

/// 8-bit codes of linear light from 0 to kLargest: a polynomial of the second degree for each quarter of an octave of
/// value + kLift, which the bits of that float from kShift up count. Code = (square * value + linear) * value +
/// constant before rounding, at most 0.0052 from the curve; kLargest is the largest value whose sum is below 1, of code
/// 255.
struct CodesOfLight {
    static constexpr std::size_t kPieces = 32;
    static constexpr float kLift = 0x1p-8F;
    static constexpr float kLargest = 1 - 0x1p-8F - 0x1p-23F;
    static constexpr int kShift = 21;
    // By the lowest five bits of the count.
    alignas(64) float square[kPieces];
    alignas(64) float linear[kPieces];
    alignas(64) float constant[kPieces];
};

inline constexpr CodesOfLight kCodesOfLight = [] {
    CodesOfLight codes{};
    constexpr double kNode = 0.86602540378443865; // of Chebyshev's polynomial of the third degree: cos(30 degrees)
    double octave = CodesOfLight::kLift;
    for (std::size_t piece = 0; piece < CodesOfLight::kPieces; ++piece) {
        const auto quarter = static_cast<double>(piece % 4);
        const double half = octave / 8;
        const double middle = octave * (1 + quarter / 4) + half - CodesOfLight::kLift;
        const double below = 255 * light::FromLinear(middle - kNode * half);
        const double at = 255 * light::FromLinear(middle);
        const double above = 255 * light::FromLinear(middle + kNode * half);
        const double square = ((above + below) / 2 - at) / (kNode * half * kNode * half);
        const double slope = (above - below) / (2 * kNode * half);
        // kLift's exponent makes the first count a multiple of 32, less 4.
        const std::size_t at32 = (piece + 28) % CodesOfLight::kPieces;
        codes.square[at32] = static_cast<float>(square);
        codes.linear[at32] = static_cast<float>(slope - 2 * square * middle);
        codes.constant[at32] = static_cast<float>(at - slope * middle + square * middle * middle);
        if (piece % 4 == 3) {
            octave *= 2;
        }
    }
    return codes;
}();

} // namespace PixelBlitter
