// Steps in place on planes.
#if defined(PIXELBLITTER_COLOUR_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_COLOUR_KERNELS_INL_H
#undef PIXELBLITTER_COLOUR_KERNELS_INL_H
#else
#define PIXELBLITTER_COLOUR_KERNELS_INL_H
#endif

#include "TransferKernels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

void ApplyMatrix(float* c0, float* c1, float* c2, std::size_t count, const float matrix[9]) noexcept {
    const VF m00 = hn::Set(df, matrix[0]), m01 = hn::Set(df, matrix[1]), m02 = hn::Set(df, matrix[2]);
    const VF m10 = hn::Set(df, matrix[3]), m11 = hn::Set(df, matrix[4]), m12 = hn::Set(df, matrix[5]);
    const VF m20 = hn::Set(df, matrix[6]), m21 = hn::Set(df, matrix[7]), m22 = hn::Set(df, matrix[8]);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF a = hn::LoadU(df, c0 + i);
        const VF b = hn::LoadU(df, c1 + i);
        const VF c = hn::LoadU(df, c2 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m00, a), hn::Mul(m01, b)), hn::Mul(m02, c)), df, c0 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m10, a), hn::Mul(m11, b)), hn::Mul(m12, c)), df, c1 + i);
        hn::StoreU(hn::Add(hn::Add(hn::Mul(m20, a), hn::Mul(m21, b)), hn::Mul(m22, c)), df, c2 + i);
    }
}

void ToLinear(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(LinearOf(hn::LoadU(df, samples + i)), df, samples + i);
    }
}

void FromLinear(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(EncodedOf(hn::LoadU(df, samples + i)), df, samples + i);
    }
}

void Premultiply(float* const planes[4], std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF alpha = hn::LoadU(df, planes[3] + i);
        for (int c = 0; c < 3; ++c) {
            hn::StoreU(hn::Mul(hn::LoadU(df, planes[c] + i), alpha), df, planes[c] + i);
        }
    }
}

void Unpremultiply(float* const planes[4], std::size_t count) noexcept {
    const VF one = hn::Set(df, 1.0F);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF alpha = hn::LoadU(df, planes[3] + i);
        const auto transparent = hn::Eq(alpha, hn::Zero(df));
        const VF divisor = hn::IfThenElse(transparent, one, alpha);
        for (int c = 0; c < 3; ++c) {
            const VF colour = hn::Div(hn::LoadU(df, planes[c] + i), divisor);
            hn::StoreU(hn::IfThenZeroElse(transparent, colour), df, planes[c] + i);
        }
    }
}

void SetToOne(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        hn::StoreU(hn::Set(df, 1.0F), df, samples + i);
    }
}

void ClampToUnit(float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF clamped = hn::Min(hn::Max(hn::LoadU(df, samples + i), hn::Zero(df)), hn::Set(df, 1.0F));
        hn::StoreU(clamped, df, samples + i);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
