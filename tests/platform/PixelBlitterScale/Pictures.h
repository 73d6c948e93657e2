#pragma once

/// Float pictures to resample from and into, and the double-precision resampling that results are measured against.

#include "scale/Resampler.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace scaletest {

inline constexpr float kUntouched = -1000.0f;

/// Four planes; notes every access that the contract forbids.
struct Picture final : PixelBlitter::FloatRowSource, PixelBlitter::FloatRowSink {
    Picture(int inWidth, int inHeight, float value = kUntouched)
        : width(inWidth), height(inHeight), writes(static_cast<std::size_t>(inHeight)) {
        for (auto& plane : planes)
            plane.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value);
    }

    static Picture Random(int width, int height) {
        Picture picture(width, height);
        std::mt19937 random(static_cast<unsigned>(width * 4099 + height));
        for (auto& plane : picture.planes)
            std::generate(plane.begin(), plane.end(), [&] { return float(random() % 4096) / 4095.0f; });
        return picture;
    }

    bool IsInside(int row, int left, int right) const noexcept {
        return row >= 0 && row < height && left >= 0 && left <= right && right <= width;
    }

    void Read(int row, int left, int right, float* const into[4]) const noexcept override {
        if (!IsInside(row, left, right)) {
            std::atomic_ref(strayAccesses)++;
            return;
        }
        for (int p = 0; p < 4; ++p)
            std::copy_n(At(p, row, left), right - left, into[p]);
    }

    void Write(int row, int left, int right, float* const from[4]) noexcept override {
        if (!IsInside(row, left, right)) {
            std::atomic_ref(strayAccesses)++;
            return;
        }
        std::atomic_ref(writes[static_cast<std::size_t>(row)]) += right - left;
        for (int p = 0; p < 4; ++p)
            std::copy_n(from[p], right - left, const_cast<float*>(At(p, row, left)));
    }

    const float* At(int plane, int row, int column) const noexcept {
        return planes[plane].data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + column;
    }

    bool EachSampleWrittenOnce() const {
        return strayAccesses == 0 && std::all_of(writes.begin(), writes.end(), [this](int n) { return n == width; });
    }

    int width;
    int height;
    std::vector<float> planes[4];
    std::vector<int> writes; ///< samples written in each row
    mutable int strayAccesses = 0;
};

inline double ReferenceWeight(PixelBlitter::Filter filter, double widening, double distance) {
    const double x = std::abs(distance) / widening;
    const auto sinc = [](double t) { return t == 0 ? 1 : std::sin(std::numbers::pi * t) / (std::numbers::pi * t); };
    switch (filter) {
    case PixelBlitter::Filter::Box: {
        // Overlap of [-w/2, w/2] with the sample's own [d - 1/2, d + 1/2].
        const double d = std::abs(distance);
        return std::max(0.0, std::min(widening / 2, d + 0.5) - std::max(-widening / 2, d - 0.5));
    }
    case PixelBlitter::Filter::Bilinear:
        return x < 1 ? 1 - x : 0;
    case PixelBlitter::Filter::Bicubic:
        if (x < 1)
            return 1 - 2.5 * x * x + 1.5 * x * x * x;
        return x < 2 ? 2 - 4 * x + 2.5 * x * x - 0.5 * x * x * x : 0;
    case PixelBlitter::Filter::Lanczos3:
        return x < 3 ? sinc(x) * sinc(x / 3) : 0;
    }
    return 0;
}

/// All source samples with their weights for one destination sample, by walking over the mirrored axis.
inline std::vector<std::pair<int, double>> ReferenceTaps(const PixelBlitter::ResampleAxis& axis,
                                                         PixelBlitter::Filter filter, int n) {
    std::vector<std::pair<int, double>> taps;
    const double centre = (n + 0.5) * axis.step + axis.offset;
    const double widening = std::max(1.0, axis.step);
    double total = 0;
    for (int m = int(std::floor(centre - 3 * widening)) - 1; m <= centre + 3 * widening + 1; ++m) {
        const double weight = ReferenceWeight(filter, widening, m + 0.5 - centre);
        const int mirrored = m < 0 ? -1 - m : m >= axis.sourceSize ? 2 * axis.sourceSize - 1 - m : m;
        taps.emplace_back(std::clamp(mirrored, 0, axis.sourceSize - 1), weight);
        total += weight;
    }
    for (auto& tap : taps)
        tap.second /= total;
    std::erase_if(taps, [](const auto& tap) { return tap.second == 0; });
    return taps;
}

inline double ReferenceSample(const Picture& source, int plane, const std::vector<std::pair<int, double>>& across,
                              const std::vector<std::pair<int, double>>& down) {
    double sum = 0;
    for (const auto& [row, rowWeight] : down)
        for (const auto& [column, columnWeight] : across)
            sum += rowWeight * columnWeight * double(*source.At(plane, row, column));
    return sum;
}

/// The largest distance of a sample of the result from the direct two-dimensional sum.
inline double LargestError(const Picture& source, const Picture& result, const PixelBlitter::ResampleRequest& request) {
    std::vector<std::vector<std::pair<int, double>>> across;
    across.reserve(static_cast<std::size_t>(result.width));
    for (int x = 0; x < result.width; ++x)
        across.push_back(ReferenceTaps(request.horizontal, request.filter, x));
    double largest = 0;
    for (int y = 0; y < result.height; ++y) {
        const auto down = ReferenceTaps(request.vertical, request.filter, y);
        for (int x = 0; x < result.width; ++x)
            for (int p = 0; p < 4; ++p) {
                const double wanted = ReferenceSample(source, p, across[static_cast<std::size_t>(x)], down);
                largest = std::max(largest, std::abs(double(*result.At(p, y, x)) - wanted));
            }
    }
    return largest;
}

} // namespace scaletest
