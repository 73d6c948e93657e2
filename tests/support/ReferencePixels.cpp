#include "ReferencePixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace reference {
namespace {

constexpr std::array<std::int32_t, 54> kFormats{
    0x4,       0x8,       0xC,       0x84,      0x88,      0x8C,      0x104,     0x106,     0x108,
    0x10A,     0x10C,     0x10E,     0x805,     0x809,     0x80D,     0x811,     0x851,     0x905,
    0x909,     0x90D,     0xA05,     0xA09,     0xA0D,     0xA11,     0xA51,     0xB05,     0xB09,
    0xB0D,     0x1004,    0x1008,    0x100C,    0x1084,    0x1088,    0x108C,    0x1104,    0x1106,
    0x1108,    0x110A,    0x110C,    0x110E,    0x1811,    0x1A11,    0x9000031, 0x9000831, 0x9000A31,
    0xA000031, 0xA000831, 0xA000A31, 0xB000031, 0xB000831, 0xB000A31, 0xC000031, 0xC000831, 0xC000A31};

Layout LayoutOf(std::int32_t value) {
    if ((value >> 24) != 0) {
        return Layout::Planar;
    }
    if ((value & 0x50) == 0x50) {
        return Layout::V210;
    }
    if ((value & 0x10) != 0) {
        return Layout::Pairs;
    }
    return (value & 0x100) != 0 ? Layout::Floats : (value & 0x80) != 0 ? Layout::Words : Layout::Bytes;
}

struct Codes {
    double zero, one, largest; // codes of 0 and of 1
};

Codes CodesOf(const Format& format, int plane) {
    const bool chroma = format.yuv && plane < 2;
    switch (format.layout) {
    case Layout::Floats:
        return {0, 1, INFINITY};
    case Layout::Words:
        return {0, 32768, 32768};
    case Layout::V210:
        return chroma ? Codes{512, 512 + 896, 1023} : Codes{64, 940, 1023};
    case Layout::Bytes:
    case Layout::Pairs:
    case Layout::Planar:
        break;
    }
    if (!format.yuv || plane == 3) {
        return {0, 255, 255};
    }
    if (format.fullRange) {
        return chroma ? Codes{128, 128 + 255, 255} : Codes{0, 255, 255};
    }
    return chroma ? Codes{128, 128 + 224, 255} : Codes{16, 235, 255};
}

double Triangle(double distance) {
    return std::max(0.0, 1 - std::abs(distance));
}

// Resamples a line of samples at positions from(i) to positions to(j): linear interpolation towards the finer grid, the
// triangle of the same width (reach, the coarse grid's distance) towards the coarser one. Edges repeat.
template <class From, class To>
std::vector<double> ResampleLine(const std::vector<double>& in, int outCount, double reach, From from, To to) {
    std::vector<double> out(static_cast<std::size_t>(outCount));
    const int count = static_cast<int>(in.size());
    for (int j = 0; j < outCount; ++j) {
        double sum = 0;
        double weights = 0;
        const int middle = static_cast<int>(static_cast<std::int64_t>(j) * count / outCount);
        for (int i = middle - 8; i <= middle + 8; ++i) { // farther than the triangle reaches
            const double weight = Triangle((from(i) - to(j)) / reach);
            sum += weight * in[static_cast<std::size_t>(std::clamp(i, 0, count - 1))];
            weights += weight;
        }
        out[static_cast<std::size_t>(j)] = sum / weights;
    }
    return out;
}

Plane ResampleColumns(const Plane& in, int width, bool centred) {
    Plane out(width, in.height);
    const auto fine = [](int x) { return static_cast<double>(x); };
    const auto coarse = [centred](int k) { return 2.0 * k + (centred ? 0.5 : 0.0); };
    for (int y = 0; y < in.height; ++y) {
        std::vector<double> line(static_cast<std::size_t>(in.width));
        for (int x = 0; x < in.width; ++x) {
            line[static_cast<std::size_t>(x)] = in.At(x, y);
        }
        line =
            width > in.width ? ResampleLine(line, width, 2, coarse, fine) : ResampleLine(line, width, 2, fine, coarse);
        for (int x = 0; x < width; ++x) {
            out.At(x, y) = line[static_cast<std::size_t>(x)];
        }
    }
    return out;
}

// Between chroma rows and picture rows. Field pictures handle the rows of each field apart: row n of a field is row
// 2n + field of the frame, its chroma row i is row 2i + field of the chroma plane and lies at 0.5 + 2 (2i + field).
Plane ResampleRows(const Plane& in, int height, bool toPicture, bool fields) {
    Plane out(in.width, height);
    const int chromaRows = toPicture ? in.height : height;
    fields = fields && chromaRows > 1;
    const int step = fields ? 2 : 1;
    for (int field = 0; field < step; ++field) {
        const auto line = [&](int n) { return static_cast<double>(step * n + field); };
        const auto chroma = [&](int i) { return 0.5 + 2.0 * (step * i + field); };
        for (int x = 0; x < in.width; ++x) {
            std::vector<double> column;
            for (int y = field; y < in.height; y += step) {
                column.push_back(in.At(x, y));
            }
            const int count = (height - field + step - 1) / step;
            column = toPicture ? ResampleLine(column, count, 2.0 * step, chroma, line)
                               : ResampleLine(column, count, 2.0 * step, line, chroma);
            for (int n = 0; n < count; ++n) {
                out.At(x, step * n + field) = column[static_cast<std::size_t>(n)];
            }
        }
    }
    return out;
}

struct Weights {
    double r, g, b;
};
Weights LumaWeights(bool bt709) {
    return bt709 ? Weights{0.2126, 0.7152, 0.0722} : Weights{0.299, 0.587, 0.114};
}

using Pixel = std::array<double, 4>;

void ToRGB(Pixel& p, bool bt709) {
    const auto w = LumaWeights(bt709);
    const double r = p[2] + 2 * (1 - w.r) * p[0];
    const double b = p[2] + 2 * (1 - w.b) * p[1];
    p = {b, (p[2] - w.r * r - w.b * b) / w.g, r, p[3]};
}

void ToYUV(Pixel& p, bool bt709) {
    const auto w = LumaWeights(bt709);
    const double y = w.r * p[2] + w.g * p[1] + w.b * p[0];
    p = {(p[2] - y) / (2 * (1 - w.r)), (p[0] - y) / (2 * (1 - w.b)), y, p[3]};
}

void ConvertPixel(Pixel& p, const Format& from, const Format& to, double& magnitude) {
    const auto forColours = [&p](auto&& function) { std::transform(p.begin(), p.begin() + 3, p.begin(), function); };
    const auto note = [&] {
        forColours([&](double c) {
            magnitude = std::max(magnitude, std::abs(c));
            return c;
        });
    };
    const bool lightChanges = from.linear != to.linear;
    const bool alphaLives = from.alpha != Alpha::None && to.alpha != Alpha::None;
    const bool divides =
        alphaLives && from.alpha == Alpha::Premultiplied && (to.alpha == Alpha::Straight || lightChanges);
    const bool multiplies =
        alphaLives && to.alpha == Alpha::Premultiplied && (from.alpha == Alpha::Straight || lightChanges);
    if (divides) {
        forColours([&](double c) { return p[3] == 0 ? 0 : c / p[3]; });
    }
    note();
    if (from.linear && lightChanges) {
        forColours(FromLinear);
    }
    if (from.yuv != to.yuv || from.bt709 != to.bt709) {
        if (from.yuv) {
            ToRGB(p, from.bt709);
        }
        if (to.yuv) {
            ToYUV(p, to.bt709);
        }
    }
    note();
    if (to.linear && lightChanges) {
        forColours(ToLinear);
        note();
    }
    if (multiplies) {
        forColours([&](double c) { return c * p[3]; });
    }
    if (!alphaLives) {
        p[3] = 1;
    }
}

} // namespace

double ToLinear(double v) {
    const double m = std::abs(v);
    return std::copysign(m <= 0.04045 ? m / 12.92 : std::pow((m + 0.055) / 1.055, 2.4), v);
}

double FromLinear(double v) {
    const double m = std::abs(v);
    return std::copysign(m <= 0.0031308 ? m * 12.92 : 1.055 * std::pow(m, 1 / 2.4) - 0.055, v);
}

Format::Format(std::int32_t converterValue)
    : value(converterValue), layout(LayoutOf(value)), alpha(static_cast<Alpha>((value & 0xC) >> 2)),
      yuv((value & 1) != 0), bt709((value & 0x200) != 0), fullRange((value & 0x831) == 0x31), linear((value & 2) != 0),
      alphaFirst((value & 0x1000) != 0), centred((value >> 24) >= 11),
      fields((value >> 24) == 9 || (value >> 24) == 11) {
    if (!Is444()) {
        alpha = Alpha::None;
    }
}

std::size_t Format::RowBytes(int width) const {
    const auto w = static_cast<std::size_t>(width);
    switch (layout) {
    case Layout::Bytes:
        return 4 * w;
    case Layout::Words:
        return 8 * w;
    case Layout::Floats:
        return 16 * w;
    case Layout::Pairs:
        return (w + 1) / 2 * 4;
    case Layout::V210:
        return (w + 5) / 6 * 16;
    case Layout::Planar:
        break;
    }
    return 0;
}

std::size_t Format::StrideUnit(int width) const {
    return layout == Layout::V210 ? (static_cast<std::size_t>(width) + 47) / 48 * 128 : RowBytes(width);
}

std::size_t Format::ImageBytes(int width, int height) const {
    const auto w = static_cast<std::size_t>(width), h = static_cast<std::size_t>(height);
    return w * h + 2 * ((w + 1) / 2) * ((h + 1) / 2);
}

std::span<const std::int32_t> AllFormats() {
    return kFormats;
}

Picture ReadCodes(const Format& format, const std::uint8_t* base, std::ptrdiff_t stride, int width, int height) {
    const int chromaWidth = format.Is444() ? width : (width + 1) / 2;
    const int chromaHeight = format.HasRows() ? height : (height + 1) / 2;
    Picture picture{{Plane(chromaWidth, chromaHeight), Plane(chromaWidth, chromaHeight), Plane(width, height),
                     Plane(width, height)}};
    auto& [v, u, y, alpha] = picture.plane;
    if (!format.HasRows()) {
        const auto luma = static_cast<std::ptrdiff_t>(y.samples.size()),
                   chroma = static_cast<std::ptrdiff_t>(u.samples.size());
        y.samples.assign(base, base + luma);
        u.samples.assign(base + luma, base + luma + chroma);
        v.samples.assign(base + luma + chroma, base + luma + 2 * chroma);
        return picture;
    }
    for (int row = 0; row < height; ++row) {
        const std::uint8_t* const line = base + (height - 1 - row) * stride; // the bottom row comes first
        for (int x = 0; x < width; ++x) {
            switch (format.layout) {
            case Layout::Bytes:
            case Layout::Words:
            case Layout::Floats:
                for (int c = 0; c < 4; ++c) {
                    const int at = 4 * x + (format.alphaFirst ? 3 - c : c);
                    std::uint16_t word = 0;
                    float real = 0;
                    std::memcpy(&word, line + (format.layout == Layout::Words ? 2 * at : 0), 2);
                    std::memcpy(&real, line + (format.layout == Layout::Floats ? 4 * at : 0), 4);
                    picture.plane[c].At(x, row) = format.layout == Layout::Bytes   ? line[at]
                                                  : format.layout == Layout::Words ? word
                                                                                   : real;
                }
                break;
            case Layout::Pairs: {
                const int luma = format.alphaFirst ? 0 : 1;
                y.At(x, row) = line[2 * x + luma];
                u.At(x / 2, row) = line[x / 2 * 4 + 1 - luma];
                v.At(x / 2, row) = line[x / 2 * 4 + 3 - luma];
                break;
            }
            case Layout::V210: {
                // Codes run Cb Y Cr Y Cb Y Cr ..., three to a word.
                const auto code = [&](int n) {
                    std::uint32_t word = 0;
                    std::memcpy(&word, line + n / 3 * 4, 4);
                    return static_cast<double>((word >> (10 * (n % 3))) & 0x3FF);
                };
                y.At(x, row) = code(2 * x + 1);
                u.At(x / 2, row) = code(x / 2 * 4);
                v.At(x / 2, row) = code(x / 2 * 4 + 2);
                break;
            }
            case Layout::Planar:
                break;
            }
        }
    }
    return picture;
}

Picture Convert(const Format& from, const Format& to, const Picture& codes, double* outMagnitude) {
    const int width = codes.plane[2].width;
    const int height = codes.plane[2].height;
    Picture work = codes;
    for (int c = 0; c < 4; ++c) {
        const Codes range = CodesOf(from, c);
        for (double& sample : work.plane[c].samples) {
            sample = (sample - range.zero) / (range.one - range.zero);
        }
    }
    if (!from.Is444()) {
        std::fill(work.plane[3].samples.begin(), work.plane[3].samples.end(), 1.0);
    }
    // Chroma moves to another grid only when its grid or its matrix changes.
    const bool sameModel = from.yuv && to.yuv && from.bt709 == to.bt709;
    const bool keepsColumns = sameModel && !from.Is444() && !to.Is444() && from.centred == to.centred;
    const bool keepsRows = sameModel && !from.HasRows() && !to.HasRows() && from.fields == to.fields;
    for (int c = 0; c < 2; ++c) {
        Plane& chroma = work.plane[c];
        if (!from.HasRows() && !keepsRows) {
            chroma = ResampleRows(chroma, height, true, from.fields);
        }
        if (!from.Is444() && !keepsColumns) {
            chroma = ResampleColumns(chroma, width, from.centred);
        }
    }
    double magnitude = 1;
    if (!sameModel || (from.Is444() && to.Is444())) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                Pixel pixel{work.plane[0].At(x, y), work.plane[1].At(x, y), work.plane[2].At(x, y),
                            work.plane[3].At(x, y)};
                ConvertPixel(pixel, from, to, magnitude);
                for (int c = 0; c < 4; ++c) {
                    work.plane[c].At(x, y) = pixel[static_cast<std::size_t>(c)];
                }
            }
        }
    } else {
        std::fill(work.plane[3].samples.begin(), work.plane[3].samples.end(), 1.0);
    }
    for (int c = 0; c < 2; ++c) {
        Plane& chroma = work.plane[c];
        if (!to.Is444() && !keepsColumns) {
            chroma = ResampleColumns(chroma, (width + 1) / 2, to.centred);
        }
        if (!to.HasRows() && !keepsRows) {
            chroma = ResampleRows(chroma, (height + 1) / 2, false, to.fields);
        }
    }
    for (int c = 0; c < 4; ++c) {
        const Codes range = CodesOf(to, c);
        for (double& sample : work.plane[c].samples) {
            sample = sample * (range.one - range.zero) + range.zero;
            if (to.layout != Layout::Floats) {
                sample = std::clamp(sample, 0.0, range.largest);
            }
        }
    }
    if (outMagnitude) {
        *outMagnitude = magnitude;
    }
    return work;
}

} // namespace reference
