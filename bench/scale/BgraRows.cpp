#include "BgraRows.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "BgraRows.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace scalebench::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Integers = hn::RebindToSigned<Floats>;
using Bytes = hn::Rebind<std::uint8_t, Floats>;
using WholeBytes = hn::ScalableTag<std::uint8_t>;

void UnpackFloat(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) {
    const Floats d;
    const hn::Repartition<std::uint32_t, Floats> du;
    const std::size_t lanes = hn::Lanes(d);
    const auto scale = hn::Set(d, 1.0f / 255);
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
    for (; i < count; ++i)
        for (std::size_t p = 0; p < 4; ++p)
            planes[p][i] = float(pixels[4 * i + p]) * (1.0f / 255);
}

void PackFloat(const float* const planes[4], std::size_t count, std::uint8_t* pixels) {
    const Floats d;
    const hn::Repartition<std::uint32_t, Floats> du;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto code = [&](int plane) {
            const auto value = hn::Mul(hn::LoadU(d, planes[plane] + i), hn::Set(d, 255.0f));
            return hn::BitCast(du, hn::NearestInt(hn::Clamp(value, hn::Zero(d), hn::Set(d, 255.0f))));
        };
        const auto four = hn::Or(hn::Or(code(0), hn::ShiftLeft<8>(code(1))),
                                 hn::Or(hn::ShiftLeft<16>(code(2)), hn::ShiftLeft<24>(code(3))));
        hn::StoreU(four, du, reinterpret_cast<std::uint32_t*>(pixels + 4 * i));
    }
    for (; i < count; ++i)
        for (std::size_t p = 0; p < 4; ++p)
            pixels[4 * i + p] =
                static_cast<std::uint8_t>(std::nearbyint(std::clamp(planes[p][i] * 255.0f, 0.0f, 255.0f)));
}

void UnpackBytes(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) {
    const WholeBytes d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::Vec<WholeBytes> v0, v1, v2, v3;
        hn::LoadInterleaved4(d, pixels + 4 * i, v0, v1, v2, v3);
        hn::StoreU(v0, d, planes[0] + i);
        hn::StoreU(v1, d, planes[1] + i);
        hn::StoreU(v2, d, planes[2] + i);
        hn::StoreU(v3, d, planes[3] + i);
    }
    for (; i < count; ++i)
        for (std::size_t p = 0; p < 4; ++p)
            planes[p][i] = pixels[4 * i + p];
}

void PackBytes(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) {
    const WholeBytes d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        hn::StoreInterleaved4(hn::LoadU(d, planes[0] + i), hn::LoadU(d, planes[1] + i), hn::LoadU(d, planes[2] + i),
                              hn::LoadU(d, planes[3] + i), d, pixels + 4 * i);
    for (; i < count; ++i)
        for (std::size_t p = 0; p < 4; ++p)
            pixels[4 * i + p] = planes[p][i];
}

} // namespace scalebench::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace scalebench {

HWY_EXPORT(UnpackFloat);
HWY_EXPORT(PackFloat);
HWY_EXPORT(UnpackBytes);
HWY_EXPORT(PackBytes);

void UnpackFloat(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackFloat)(pixels, count, planes);
}
void PackFloat(const float* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackFloat)(planes, count, pixels);
}
void UnpackBytes(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackBytes)(pixels, count, planes);
}
void PackBytes(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackBytes)(planes, count, pixels);
}

} // namespace scalebench

#endif
