#include "RowPacking.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "RowPacking.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace converterbench::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Integers = hn::RebindToSigned<Floats>;
using Unsigned = hn::RebindToUnsigned<Floats>;

template <class Sample>
void Unpack4Same(const Sample* pixels, std::size_t count, Sample* const planes[4]) {
    const hn::ScalableTag<Sample> d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::Vec<decltype(d)> v0, v1, v2, v3;
        hn::LoadInterleaved4(d, pixels + 4 * i, v0, v1, v2, v3);
        hn::StoreU(v0, d, planes[0] + i);
        hn::StoreU(v1, d, planes[1] + i);
        hn::StoreU(v2, d, planes[2] + i);
        hn::StoreU(v3, d, planes[3] + i);
    }
    for (; i < count; ++i) {
        for (std::size_t p = 0; p < 4; ++p) {
            planes[p][i] = pixels[4 * i + p];
        }
    }
}

template <class Sample>
void Pack4Same(const Sample* const planes[4], std::size_t count, Sample* pixels) {
    const hn::ScalableTag<Sample> d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreInterleaved4(hn::LoadU(d, planes[0] + i), hn::LoadU(d, planes[1] + i), hn::LoadU(d, planes[2] + i),
                              hn::LoadU(d, planes[3] + i), d, pixels + 4 * i);
    }
    for (; i < count; ++i) {
        for (std::size_t p = 0; p < 4; ++p) {
            pixels[4 * i + p] = planes[p][i];
        }
    }
}

void UnpackBytes(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) {
    Unpack4Same(pixels, count, planes);
}
void PackBytes(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) {
    Pack4Same(planes, count, pixels);
}
void UnpackFloats(const float* pixels, std::size_t count, float* const planes[4]) {
    Unpack4Same(pixels, count, planes);
}
void PackFloats(const float* const planes[4], std::size_t count, float* pixels) {
    Pack4Same(planes, count, pixels);
}

void UnpackToFloats(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) {
    const Floats d;
    const Unsigned du;
    const std::size_t lanes = hn::Lanes(d);
    const auto scale = hn::Set(d, 1.0F / 255);
    const auto low = hn::Set(du, 0xFF);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto four = hn::LoadU(du, reinterpret_cast<const std::uint32_t*>(pixels + 4 * i));
        const auto store = [&](int plane, auto code) {
            hn::StoreU(hn::Mul(hn::ConvertTo(d, hn::BitCast(Integers(), code)), scale), d, planes[plane] + i);
        };
        store(0, hn::And(four, low));
        store(1, hn::And(hn::ShiftRight<8>(four), low));
        store(2, hn::And(hn::ShiftRight<16>(four), low));
        store(3, hn::ShiftRight<24>(four));
    }
    for (; i < count; ++i) {
        for (std::size_t p = 0; p < 4; ++p) {
            planes[p][i] = static_cast<float>(pixels[4 * i + p]) * (1.0F / 255);
        }
    }
}

void PackFromFloats(const float* const planes[4], std::size_t count, std::uint8_t* pixels) {
    const Floats d;
    const Unsigned du;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto code = [&](int plane) {
            const auto value = hn::Mul(hn::LoadU(d, planes[plane] + i), hn::Set(d, 255.0F));
            return hn::BitCast(du, hn::NearestInt(hn::Clamp(value, hn::Zero(d), hn::Set(d, 255.0F))));
        };
        const auto four = hn::Or(hn::Or(code(0), hn::ShiftLeft<8>(code(1))),
                                 hn::Or(hn::ShiftLeft<16>(code(2)), hn::ShiftLeft<24>(code(3))));
        hn::StoreU(four, du, reinterpret_cast<std::uint32_t*>(pixels + 4 * i));
    }
    for (; i < count; ++i) {
        for (std::size_t p = 0; p < 4; ++p) {
            pixels[4 * i + p] =
                static_cast<std::uint8_t>(std::nearbyint(std::clamp(planes[p][i] * 255.0F, 0.0F, 255.0F)));
        }
    }
}

void UnpackPairs(const std::uint8_t* pixels, std::size_t width, bool lumaFirst, std::uint8_t* const planes[3]) {
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t lanes = hn::Lanes(d), pairs = width / 2;
    std::size_t i = 0;
    for (; i + lanes <= pairs; i += lanes) {
        hn::Vec<decltype(d)> v0, v1, v2, v3;
        hn::LoadInterleaved4(d, pixels + 4 * i, v0, v1, v2, v3);
        hn::StoreInterleaved2(lumaFirst ? v0 : v1, lumaFirst ? v2 : v3, d, planes[0] + 2 * i);
        hn::StoreU(lumaFirst ? v1 : v0, d, planes[1] + i);
        hn::StoreU(lumaFirst ? v3 : v2, d, planes[2] + i);
    }
    const std::size_t luma = lumaFirst ? 0 : 1;
    for (; i < pairs; ++i) {
        planes[0][2 * i] = pixels[4 * i + luma];
        planes[0][2 * i + 1] = pixels[4 * i + 2 + luma];
        planes[1][i] = pixels[4 * i + 1 - luma];
        planes[2][i] = pixels[4 * i + 3 - luma];
    }
}

void PackPairs(const std::uint8_t* const planes[3], std::size_t width, bool lumaFirst, std::uint8_t* pixels) {
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t lanes = hn::Lanes(d), pairs = width / 2;
    std::size_t i = 0;
    for (; i + lanes <= pairs; i += lanes) {
        hn::Vec<decltype(d)> y0, y1;
        hn::LoadInterleaved2(d, planes[0] + 2 * i, y0, y1);
        const auto u = hn::LoadU(d, planes[1] + i), v = hn::LoadU(d, planes[2] + i);
        if (lumaFirst) {
            hn::StoreInterleaved4(y0, u, y1, v, d, pixels + 4 * i);
        } else {
            hn::StoreInterleaved4(u, y0, v, y1, d, pixels + 4 * i);
        }
    }
    const std::size_t luma = lumaFirst ? 0 : 1;
    for (; i < pairs; ++i) {
        pixels[4 * i + luma] = planes[0][2 * i];
        pixels[4 * i + 2 + luma] = planes[0][2 * i + 1];
        pixels[4 * i + 1 - luma] = planes[1][i];
        pixels[4 * i + 3 - luma] = planes[2][i];
    }
}

} // namespace converterbench::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace converterbench {

HWY_EXPORT(UnpackBytes);
HWY_EXPORT(PackBytes);
HWY_EXPORT(UnpackFloats);
HWY_EXPORT(PackFloats);
HWY_EXPORT(UnpackToFloats);
HWY_EXPORT(PackFromFloats);
HWY_EXPORT(UnpackPairs);
HWY_EXPORT(PackPairs);

void Unpack4(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackBytes)(pixels, count, planes);
}
void Pack4(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackBytes)(planes, count, pixels);
}
void Unpack4(const float* pixels, std::size_t count, float* const planes[4]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackFloats)(pixels, count, planes);
}
void Pack4(const float* const planes[4], std::size_t count, float* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackFloats)(planes, count, pixels);
}
void Unpack4(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackToFloats)(pixels, count, planes);
}
void Pack4(const float* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackFromFloats)(planes, count, pixels);
}
void UnpackPairs(const std::uint8_t* pixels, std::size_t width, bool lumaFirst,
                 std::uint8_t* const planes[3]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackPairs)(pixels, width, lumaFirst, planes);
}
void PackPairs(const std::uint8_t* const planes[3], std::size_t width, bool lumaFirst, std::uint8_t* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackPairs)(planes, width, lumaFirst, pixels);
}

// Codes run Cb Y Cr Y Cb Y Cr ..., three to a word.
void UnpackV210(const std::uint8_t* pixels, std::size_t width, std::uint16_t* const planes[3]) noexcept {
    std::uint16_t *y = planes[0], *u = planes[1], *v = planes[2];
    for (std::size_t x = 0; x < width; x += 6, pixels += 16, y += 6, u += 3, v += 3) {
        std::uint32_t w[4];
        std::memcpy(w, pixels, sizeof w);
        const auto code = [&](int n) { return static_cast<std::uint16_t>(w[n / 3] >> (10 * (n % 3)) & 0x3FF); };
        for (int n = 0; n < 6; ++n) {
            y[n] = code(2 * n + 1);
        }
        for (int n = 0; n < 3; ++n) {
            u[n] = code(4 * n);
            v[n] = code(4 * n + 2);
        }
    }
}

void PackV210(const std::uint16_t* const planes[3], std::size_t width, std::uint8_t* pixels) noexcept {
    const std::uint16_t *y = planes[0], *u = planes[1], *v = planes[2];
    const auto word = [](unsigned a, unsigned b, unsigned c) { return std::uint32_t{a | b << 10 | c << 20}; };
    for (std::size_t x = 0; x < width; x += 6, pixels += 16, y += 6, u += 3, v += 3) {
        const std::uint32_t w[] = {word(u[0], y[0], v[0]), word(y[1], u[1], y[2]), word(v[1], y[3], u[2]),
                                   word(y[4], v[2], y[5])};
        std::memcpy(pixels, w, sizeof w);
    }
}

} // namespace converterbench

#endif
