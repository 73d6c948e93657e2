#include "Accuracy.h"

#include "Pictures.h"
#include "ReferencePixels.h"
#include "scale/Filter.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

namespace converterbench {
namespace {

constexpr PB_PixelFormat kBGRA32f = 0x104, kBGRP32f = 0x108, kVUYX32f = 0x90D, kVUYX32fOf709 = 0xB0D;

bool MovesChroma(const Job& job) {
    const reference::Format from(job.from), to(job.to);
    return !from.Is444() || !to.Is444();
}

// Straight BGRA; slow waves, or noise with hard edges and flat parts, where filters overshoot.
std::vector<float> Scene(const Job& job) {
    const auto width = static_cast<std::size_t>(job.in.width), height = static_cast<std::size_t>(job.in.height);
    std::vector<float> scene(4 * width * height);
    const bool smooth = MovesChroma(job);
    std::mt19937 random(1);
    for (std::size_t i = 0; i < scene.size(); ++i) {
        const std::size_t x = i / 4 % width, y = i / 4 / width, c = i % 4;
        if (y >= height / 2) {
            scene[i] = scene[4 * (width * (height - 1 - y) + x) + c];
            continue;
        }
        const auto phase = static_cast<double>(x + 2 * c * y) / static_cast<double>(90 + 20 * c);
        const double wave = 0.5 + 0.5 * std::sin(phase + static_cast<double>(c));
        const double noise = (x / 64 + y / 16) % 2 != 0       ? static_cast<double>(random() % 256) / 255
                             : (x / (3 + c) + y / 5) % 2 != 0 ? 1.0
                                                              : 0.0;
        const double value = smooth ? wave : noise;
        scene[i] = static_cast<float>(c < 3 ? value : job.opaque ? 1.0 : 0.2 + 0.8 * value);
    }
    return scene;
}

reference::Plane Resample(const reference::Plane& in, Size size, PixelBlitter::Filter filter) {
    const auto axis = [](int from, int to) {
        return PixelBlitter::ResampleAxis{from, to, static_cast<double>(from) / to, 0};
    };
    reference::Plane wide(size.width, in.height), out(size.width, size.height);
    for (int x = 0; x < size.width; ++x) {
        const auto taps = scaletest::ReferenceTaps(axis(in.width, size.width), filter, x);
        for (int y = 0; y < in.height; ++y) {
            for (const auto& [column, weight] : taps) {
                wide.At(x, y) += weight * in.At(column, y);
            }
        }
    }
    for (int y = 0; y < size.height; ++y) {
        for (const auto& [row, weight] : scaletest::ReferenceTaps(axis(in.height, size.height), filter, y)) {
            for (int x = 0; x < size.width; ++x) {
                out.At(x, y) += weight * wide.At(x, row);
            }
        }
    }
    return out;
}

// Filters work in the model of the source, on premultiplied colours where both sides have alpha.
reference::Picture Exact(const Job& job, const std::uint8_t* source) {
    const reference::Format from(job.from), to(job.to);
    const Image image = SourceOf(job, nullptr);
    auto codes = reference::ReadCodes(from, source, image.rowBytes, job.in.width, job.in.height);
    if (job.kind == Kind::Fill) { // of bytes, with white
        for (reference::Plane& plane : codes.plane) {
            std::fill(plane.samples.begin(), plane.samples.end(), 255.0);
        }
        return codes;
    }
    if (!job.Scales()) {
        return reference::Convert(from, to, codes);
    }
    const reference::Format filtered(!from.yuv ? kBGRP32f : from.bt709 ? kVUYX32fOf709 : kVUYX32f);
    const auto filter = PixelBlitter::FilterForQuality(job.quality, static_cast<double>(job.in.width) / job.out.width,
                                                       static_cast<double>(job.in.height) / job.out.height);
    reference::Picture picture = reference::Convert(from, filtered, codes);
    for (reference::Plane& plane : picture.plane) {
        plane = Resample(plane, job.out, filter);
    }
    for (double& alpha : picture.plane[3].samples) {
        alpha = std::clamp(alpha, 0.0, 1.0); // before colours are divided by it
    }
    return reference::Convert(filtered, to, picture);
}

} // namespace

bool IsExact(const Job& job, const Error& error) {
    return error.largest <= (job.Scales() ? 0.75 : 0.51);
}

Error Measure(const Job& job, Worker& worker) {
    const auto bytes = [](const Image& image) {
        return std::vector<std::uint8_t>(image.rowBytes == 0 ? image.Bytes()
                                                             : static_cast<std::size_t>(image.rowBytes) *
                                                                   static_cast<std::size_t>(image.height));
    };
    auto in = bytes(SourceOf(job, nullptr)), out = bytes(DestinationOf(job, nullptr));
    const Image source = SourceOf(job, in.data()), destination = DestinationOf(job, out.data());
    const std::vector<float> scene = Scene(job);
    PB_Convert(scene.data(), 16 * job.in.width, kBGRA32f, in.data(), static_cast<int>(source.rowBytes), job.from,
               job.in.width, job.in.height, 4);
    worker.Run(source, destination);
    const reference::Format to(job.to);
    const auto exact = Exact(job, in.data());
    const auto got = reference::ReadCodes(to, out.data(), destination.rowBytes, job.out.width, job.out.height);
    const double scale = to.layout == reference::Layout::Floats ? 255 : 1;
    Error error;
    double count = 0;
    for (int c = 0; c < (to.Is444() ? 4 : 3); ++c) {
        for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
            const double distance = scale * std::abs(got.plane[c].samples[i] - exact.plane[c].samples[i]);
            error.largest = std::max(error.largest, distance);
            error.mean += distance;
            ++count;
        }
    }
    error.mean /= count;
    return error;
}

} // namespace converterbench
