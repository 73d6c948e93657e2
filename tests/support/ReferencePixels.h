#pragma once

/// Conversion between pixel formats in double precision, straight from the definitions and without any thought of
/// speed. It shares no code with the converter: formats are read from the bits of their converter values.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace reference {

enum class Layout { Bytes, Words, Floats, Pairs, V210, Planar };
enum class Alpha { Straight = 1, Premultiplied = 2, None = 3 };

struct Format {
    std::int32_t value;
    Layout layout;
    Alpha alpha;
    bool yuv, bt709, fullRange, linear, alphaFirst, centred, fields;
    explicit Format(std::int32_t converterValue);
    bool Is444() const { return layout <= Layout::Floats; }
    bool HasRows() const { return layout != Layout::Planar; }
    std::size_t RowBytes(int width) const;               ///< bytes that pixels occupy in a row
    std::size_t StrideUnit(int width) const;             ///< the smallest legal stride
    std::size_t ImageBytes(int width, int height) const; ///< of a planar image
};

/// Every format that is not compressed.
std::span<const std::int32_t> AllFormats();

/// One plane of codes or values; rows from the top.
struct Plane {
    int width = 0, height = 0;
    std::vector<double> samples;
    Plane() = default;
    Plane(int w, int h) : width(w), height(h), samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
    double& At(int x, int y) {
        return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
    double At(int x, int y) const {
        return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
};

/// A picture in canonical order: B or V, G or U, R or Y, alpha. Chroma planes have their own size.
struct Picture {
    Plane plane[4];
};

/// The codes (floats: values) in memory. stride may be negative; planar pictures ignore it.
Picture ReadCodes(const Format& format, const std::uint8_t* base, std::ptrdiff_t stride, int width, int height);

/// The exact, unrounded codes that converting these codes gives; clipped to what the destination can hold. For float
/// destinations outMagnitude is the largest value that took part, for relative errors.
Picture Convert(const Format& from, const Format& to, const Picture& codes, double* outMagnitude = nullptr);

double ToLinear(double encoded);
double FromLinear(double light);

} // namespace reference
