#include "scale/Filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace PixelBlitter {

namespace {

double Sinc(double x) noexcept {
    return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

/// R. G. Keys, "Cubic convolution interpolation for digital image processing", 1981, with a = -1/2.
double Keys(double x) noexcept {
    if (x < 1)
        return (1.5 * x - 2.5) * x * x + 1.0;
    if (x < 2)
        return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
    return 0;
}

} // namespace

Filter FilterForQuality(int quality, double horizontalStep, double verticalStep) noexcept {
    if (quality <= 1)
        return Filter::Box;
    if (quality == 2) {
        const auto [least, most] = std::minmax(horizontalStep, verticalStep);
        return most == 2 && (least == 2 || least <= 1) ? Filter::Box : Filter::Bilinear;
    }
    if (quality == 3)
        return Filter::Bicubic;
    return Filter::Lanczos3;
}

const char* FilterName(Filter filter) noexcept {
    switch (filter) {
    case Filter::Box:
        return "box";
    case Filter::Bilinear:
        return "bilinear";
    case Filter::Bicubic:
        return "bicubic";
    case Filter::Lanczos3:
        return "lanczos3";
    }
    return "";
}

double FilterRadius(Filter filter, double step) noexcept {
    const double widening = std::max(step, 1.0);
    switch (filter) {
    case Filter::Box:
        return (widening + 1) / 2;
    case Filter::Bilinear:
        return widening;
    case Filter::Bicubic:
        return 2 * widening;
    case Filter::Lanczos3:
        return 3 * widening;
    }
    return widening;
}

double FilterWeight(Filter filter, double step, double distance) noexcept {
    const double widening = std::max(step, 1.0);
    const double x = std::abs(distance) / widening;
    switch (filter) {
    case Filter::Box:
        // The length shared by a source sample and the stretch that the destination sample covers.
        return std::clamp((widening + 1) / 2 - std::abs(distance), 0.0, 1.0);
    case Filter::Bilinear:
        return std::max(1 - x, 0.0);
    case Filter::Bicubic:
        return Keys(x);
    case Filter::Lanczos3:
        return x < 3 ? Sinc(x) * Sinc(x / 3) : 0.0;
    }
    return 0;
}

} // namespace PixelBlitter
