// 8-bit 4:2:2, and single planes with the filters between chroma grids.
#if defined(PIXELBLITTER_PLANE_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PLANE_KERNELS_INL_H
#undef PIXELBLITTER_PLANE_KERNELS_INL_H
#else
#define PIXELBLITTER_PLANE_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

template <bool lumaFirst>
struct UnpackPairsOp {
    float* luma;
    float* u;
    float* v;
    Dequantiser lumaRange;
    Dequantiser chromaRange;
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::Vec<DU> b0, b1, b2, b3;
        SplitPixels(source, b0, b1, b2, b3);
        hn::StoreU(Dequantise(lumaFirst ? b1 : b0, chromaRange), df, u + i);
        hn::StoreU(Dequantise(lumaFirst ? b3 : b2, chromaRange), df, v + i);
        hn::StoreInterleaved2(Dequantise(lumaFirst ? b0 : b1, lumaRange), Dequantise(lumaFirst ? b2 : b3, lumaRange),
                              df, luma + 2 * i);
    }
};

void UnpackPairs(const std::uint8_t* source, bool lumaFirst, float* luma, float* u, float* v, std::size_t pairs,
                 const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept {
    if (lumaFirst) {
        ReadUnits<4>(source, pairs, UnpackPairsOp<true>{luma, u, v, lumaRange, chromaRange});
    } else {
        ReadUnits<4>(source, pairs, UnpackPairsOp<false>{luma, u, v, lumaRange, chromaRange});
    }
}

template <bool lumaFirst>
struct PackPairsOp {
    const float* luma;
    const float* u;
    const float* v;
    Quantiser lumaRange;
    Quantiser chromaRange;
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        VF even, odd;
        hn::LoadInterleaved2(df, luma + 2 * i, even, odd);
        const auto y0 = Quantise(even, lumaRange);
        const auto y1 = Quantise(odd, lumaRange);
        const auto cb = Quantise(hn::LoadU(df, u + i), chromaRange);
        const auto cr = Quantise(hn::LoadU(df, v + i), chromaRange);
        if (lumaFirst) {
            JoinPixels(y0, cb, y1, cr, destination);
        } else {
            JoinPixels(cb, y0, cr, y1, destination);
        }
    }
};

void PackPairs(const float* luma, const float* u, const float* v, bool lumaFirst, std::uint8_t* destination,
               std::size_t pairs, const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept {
    if (lumaFirst) {
        WriteUnits<4>(destination, pairs, PackPairsOp<true>{luma, u, v, lumaRange, chromaRange});
    } else {
        WriteUnits<4>(destination, pairs, PackPairsOp<false>{luma, u, v, lumaRange, chromaRange});
    }
}

struct UnpackPlaneOp {
    float* samples;
    Dequantiser range;
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, hn::LoadU(d8, source))), range), df, samples + i);
    }
};

void UnpackPlane(const std::uint8_t* source, float* samples, std::size_t count, const Dequantiser& range) noexcept {
    ReadUnits<1>(source, count, UnpackPlaneOp{samples, range});
}

void UnpackMixedPlanes(const std::uint8_t* a, const std::uint8_t* b, float weightA, float weightB, float* samples,
                       std::size_t count, const Dequantiser& range) noexcept {
    // Weights are eighths, so the mix of two codes is exact.
    UnpackPlane(a, samples, count, {0, weightA});
    alignas(64) float other[kTilePixels + 8 * kPlanePadding];
    UnpackPlane(b, other, count, {0, weightB});
    const VF bias = hn::Set(df, range.bias);
    const VF scale = hn::Set(df, range.scale);
    for (std::size_t i = 0; i < count; i += LaneCount()) {
        const VF mixed = hn::Add(hn::LoadU(df, samples + i), hn::LoadU(df, other + i));
        hn::StoreU(hn::Mul(hn::Sub(mixed, bias), scale), df, samples + i);
    }
}

// The bytes of four vectors of samples, given as codes with magic bits above them, in order.
HWY_INLINE Bytes JoinCodes(hn::Vec<DU> a, hn::Vec<DU> b, hn::Vec<DU> c, hn::Vec<DU> d) {
    return hn::ConcatEven(dbytes, hn::BitCast(dbytes, hn::ConcatEven(dw, hn::BitCast(dw, d), hn::BitCast(dw, c))),
                          hn::BitCast(dbytes, hn::ConcatEven(dw, hn::BitCast(dw, b), hn::BitCast(dw, a))));
}

// Packs what samples(i) gives for the vector of samples from i on.
template <class Samples>
HWY_INLINE void PackSamples(const Samples& samples, std::uint8_t* destination, std::size_t count,
                            const Quantiser& range) {
    const std::size_t lanes = LaneCount();
    const auto code = [&](std::size_t i) HWY_ATTR { return Quantise(samples(i), range); };
    std::size_t i = 0;
    for (; i + 4 * lanes <= count; i += 4 * lanes) {
        hn::StoreU(JoinCodes(code(i), code(i + lanes), code(i + 2 * lanes), code(i + 3 * lanes)), dbytes,
                   destination + i);
    }
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(hn::TruncateTo(d8, code(i)), d8, destination + i);
    }
    if (i < count) {
        alignas(64) std::uint8_t rest[kMaxLanes];
        hn::StoreU(hn::TruncateTo(d8, code(i)), d8, rest);
        std::memcpy(destination + i, rest, count - i);
    }
}

void PackPlane(const float* samples, std::uint8_t* destination, std::size_t count, const Quantiser& range) noexcept {
    PackSamples([=](std::size_t i) HWY_ATTR { return hn::LoadU(df, samples + i); }, destination, count,
                Quantiser(range));
}

void PackMixedRows(const float* const rows[4], const float weights[4], std::uint8_t* destination, std::size_t count,
                   const Quantiser& range) noexcept {
    const VF w0 = hn::Set(df, weights[0]), w1 = hn::Set(df, weights[1]);
    const VF w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    const float* const r0 = rows[0];
    const float* const r1 = rows[1];
    const float* const r2 = rows[2];
    const float* const r3 = rows[3];
    const auto mix = [=](std::size_t i) HWY_ATTR {
        const VF outer = hn::Add(hn::Mul(w0, hn::LoadU(df, r0 + i)), hn::Mul(w3, hn::LoadU(df, r3 + i)));
        const VF inner = hn::Add(hn::Mul(w1, hn::LoadU(df, r1 + i)), hn::Mul(w2, hn::LoadU(df, r2 + i)));
        return hn::Add(outer, inner);
    };
    PackSamples(mix, destination, count, Quantiser(range));
}

void WidenChroma(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept {
    const VF w1 = hn::Set(df, weights[1]), w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    if (weights[0] == 0) { // the even samples are the input itself
        for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
            const VF here = hn::LoadU(df, in + k);
            const VF next = hn::LoadU(df, in + k + 1);
            hn::StoreInterleaved2(here, hn::Add(hn::Mul(w2, here), hn::Mul(w3, next)), df, out + 2 * k);
        }
        return;
    }
    const VF w0 = hn::Set(df, weights[0]);
    for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
        const VF before = hn::LoadU(df, in + k - 1);
        const VF here = hn::LoadU(df, in + k);
        const VF next = hn::LoadU(df, in + k + 1);
        hn::StoreInterleaved2(hn::Add(hn::Mul(w0, before), hn::Mul(w1, here)),
                              hn::Add(hn::Mul(w2, here), hn::Mul(w3, next)), df, out + 2 * k);
    }
}

void NarrowChroma(const float* in, float* out, std::size_t halfCount, const float weights[4]) noexcept {
    const VF w0 = hn::Set(df, weights[0]), w1 = hn::Set(df, weights[1]);
    const VF w2 = hn::Set(df, weights[2]), w3 = hn::Set(df, weights[3]);
    for (std::size_t k = 0; k < halfCount; k += LaneCount()) {
        VF before, here, after, unused;
        hn::LoadInterleaved2(df, in + 2 * k - 1, before, unused);
        hn::LoadInterleaved2(df, in + 2 * k, here, after);
        VF sum = hn::Add(hn::Add(hn::Mul(w0, before), hn::Mul(w1, here)), hn::Mul(w2, after));
        if (weights[3] != 0) {
            VF last;
            hn::LoadInterleaved2(df, in + 2 * k + 1, unused, last);
            sum = hn::Add(sum, hn::Mul(w3, last));
        }
        hn::StoreU(sum, df, out + k);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
