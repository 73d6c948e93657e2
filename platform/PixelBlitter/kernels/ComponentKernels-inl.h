// Pixels of four components to and from planes.
#if defined(PIXELBLITTER_COMPONENT_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_COMPONENT_KERNELS_INL_H
#undef PIXELBLITTER_COMPONENT_KERNELS_INL_H
#else
#define PIXELBLITTER_COMPONENT_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

struct UnpackBytesOp {
    float* planes[4];
    Dequantiser range[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        hn::Vec<DU> b0, b1, b2, b3;
        SplitPixels(source, b0, b1, b2, b3);
        hn::StoreU(Dequantise(b0, range[0]), df, planes[0] + i);
        hn::StoreU(Dequantise(b1, range[1]), df, planes[1] + i);
        hn::StoreU(Dequantise(b2, range[2]), df, planes[2] + i);
        hn::StoreU(Dequantise(b3, range[3]), df, planes[3] + i);
    }
};

void UnpackBytes(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                 const Dequantiser components[4]) noexcept {
    ReadUnits<4>(source, pixels,
                 UnpackBytesOp{{planes[0], planes[1], planes[2], planes[3]},
                               {components[0], components[1], components[2], components[3]}});
}

struct PackBytesOp {
    const float* planes[4];
    Quantiser range[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        JoinPixels(Quantise(hn::LoadU(df, planes[0] + i), range[0]), Quantise(hn::LoadU(df, planes[1] + i), range[1]),
                   Quantise(hn::LoadU(df, planes[2] + i), range[2]), Quantise(hn::LoadU(df, planes[3] + i), range[3]),
                   destination);
    }
};

void PackBytes(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
               const Quantiser components[4]) noexcept {
    WriteUnits<4>(destination, pixels,
                  PackBytesOp{{planes[0], planes[1], planes[2], planes[3]},
                              {components[0], components[1], components[2], components[3]}});
}

// Picture rows may start at any address. The vectors are loaded and stored byte-wise through aligned scratch where the
// interleaving operations want typed pointers.
struct UnpackWordsOp {
    float* planes[4];
    Dequantiser range[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        alignas(64) std::uint16_t words[4 * kMaxLanes];
        std::memcpy(words, source, 8 * LaneCount());
        hn::Vec<D16> w0, w1, w2, w3;
        hn::LoadInterleaved4(d16, words, w0, w1, w2, w3);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w0)), range[0]), df, planes[0] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w1)), range[1]), df, planes[1] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w2)), range[2]), df, planes[2] + i);
        hn::StoreU(Dequantise(ToMagic(hn::PromoteTo(du, w3)), range[3]), df, planes[3] + i);
    }
};

void UnpackWords(const std::uint8_t* source, float* const planes[4], std::size_t pixels,
                 const Dequantiser components[4]) noexcept {
    ReadUnits<8>(source, pixels,
                 UnpackWordsOp{{planes[0], planes[1], planes[2], planes[3]},
                               {components[0], components[1], components[2], components[3]}});
}

HWY_INLINE hn::Vec<D16> QuantiseToWords(const float* samples, const Quantiser& range) {
    return hn::TruncateTo(d16, Quantise(hn::LoadU(df, samples), range));
}

struct PackWordsOp {
    const float* planes[4];
    Quantiser range[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        alignas(64) std::uint16_t words[4 * kMaxLanes];
        hn::StoreInterleaved4(QuantiseToWords(planes[0] + i, range[0]), QuantiseToWords(planes[1] + i, range[1]),
                              QuantiseToWords(planes[2] + i, range[2]), QuantiseToWords(planes[3] + i, range[3]), d16,
                              words);
        std::memcpy(destination, words, 8 * LaneCount());
    }
};

void PackWords(const float* const planes[4], std::uint8_t* destination, std::size_t pixels,
               const Quantiser components[4]) noexcept {
    WriteUnits<8>(destination, pixels,
                  PackWordsOp{{planes[0], planes[1], planes[2], planes[3]},
                              {components[0], components[1], components[2], components[3]}});
}

struct UnpackFloatsOp {
    float* planes[4];
    HWY_INLINE void Run(const std::uint8_t* source, std::size_t i) const {
        alignas(64) float floats[4 * kMaxLanes];
        std::memcpy(floats, source, 16 * LaneCount());
        VF f0, f1, f2, f3;
        hn::LoadInterleaved4(df, floats, f0, f1, f2, f3);
        hn::StoreU(f0, df, planes[0] + i);
        hn::StoreU(f1, df, planes[1] + i);
        hn::StoreU(f2, df, planes[2] + i);
        hn::StoreU(f3, df, planes[3] + i);
    }
};

void UnpackFloats(const std::uint8_t* source, float* const planes[4], std::size_t pixels) noexcept {
    ReadUnits<16>(source, pixels, UnpackFloatsOp{{planes[0], planes[1], planes[2], planes[3]}});
}

struct PackFloatsOp {
    const float* planes[4];
    HWY_INLINE void Run(std::uint8_t* destination, std::size_t i) const {
        alignas(64) float floats[4 * kMaxLanes];
        hn::StoreInterleaved4(hn::LoadU(df, planes[0] + i), hn::LoadU(df, planes[1] + i), hn::LoadU(df, planes[2] + i),
                              hn::LoadU(df, planes[3] + i), df, floats);
        std::memcpy(destination, floats, 16 * LaneCount());
    }
};

void PackFloats(const float* const planes[4], std::uint8_t* destination, std::size_t pixels) noexcept {
    WriteUnits<16>(destination, pixels, PackFloatsOp{{planes[0], planes[1], planes[2], planes[3]}});
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
