// Element types of four-component pixels: 8-bit, 16-bit words, float.
#if defined(PIXELBLITTER_DEPTH_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_DEPTH_KERNELS_INL_H
#undef PIXELBLITTER_DEPTH_KERNELS_INL_H
#else
#define PIXELBLITTER_DEPTH_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

template <Element>
struct ElementAccess;

template <>
struct ElementAccess<Element::Byte> {
    static constexpr std::size_t kBytes = 1;
    static HWY_INLINE VF Load(const std::uint8_t* source) {
        return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, source)));
    }
    static HWY_INLINE void Store(hn::Vec<DU> codes, std::uint8_t* destination) {
        hn::StoreU(hn::TruncateTo(d8, codes), d8, destination);
    }
};

template <>
struct ElementAccess<Element::Word> {
    static constexpr std::size_t kBytes = 2;
    static constexpr hn::Repartition<std::uint8_t, D16> dwordBytes{};
    static HWY_INLINE VF Load(const std::uint8_t* source) {
        return hn::ConvertTo(df, hn::PromoteTo(di, hn::BitCast(d16, hn::LoadU(dwordBytes, source))));
    }
    static HWY_INLINE void Store(hn::Vec<DU> codes, std::uint8_t* destination) {
        hn::StoreU(hn::BitCast(dwordBytes, hn::TruncateTo(d16, codes)), dwordBytes, destination);
    }
};

template <>
struct ElementAccess<Element::Float> {
    static constexpr std::size_t kBytes = 4;
    static HWY_INLINE VF Load(const std::uint8_t* source) { return hn::BitCast(df, hn::LoadU(dbytes, source)); }
};

template <Element from, Element to>
void ChangeDepth(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                 const DepthChange& change) noexcept {
    using In = ElementAccess<from>;
    using Out = ElementAccess<to>;
    const std::size_t lanes = LaneCount();
    const VF bias = hn::Load(df, change.bias);
    const VF inScale = hn::Load(df, change.inScale);
    const VF outScale = hn::Load(df, change.outScale);
    const VF outOffset = hn::Load(df, change.outOffset);
    const VF largest = hn::Set(df, change.largest);
    const auto alphaLanes = hn::Eq(hn::Load(df, change.opaqueMask), hn::Set(df, change.opaque ? 1.0F : 2.0F));
    const VF opaque = hn::Set(df, change.opaqueValue);
    const std::size_t elements = pixels * 4;
    alignas(64) std::uint8_t rest[kMaxLanes * 4] = {};
    for (std::size_t i = 0; i < elements; i += lanes) {
        const std::size_t left = elements - i;
        const std::uint8_t* in = source + i * In::kBytes;
        if (left < lanes) {
            std::memcpy(rest, in, left * In::kBytes);
            in = rest;
        }
        VF value = In::Load(in);
        if constexpr (from != Element::Float) {
            value = hn::Mul(hn::Sub(value, bias), inScale);
        }
        if (change.reverse) {
            value = hn::Reverse4(df, value);
        }
        std::uint8_t* const out = left < lanes ? rest : destination + i * Out::kBytes;
        if constexpr (to == Element::Float) {
            hn::StoreU(hn::BitCast(dbytes, hn::IfThenElse(alphaLanes, opaque, value)), dbytes, out);
        } else {
            VF code = hn::Add(hn::Mul(value, outScale), outOffset);
            code = hn::IfThenElse(alphaLanes, opaque, hn::Min(hn::Max(code, hn::Zero(df)), largest));
            Out::Store(hn::BitCast(du, hn::Add(code, hn::Set(df, kMagic))), out);
        }
        if (left < lanes) {
            std::memcpy(destination + i * Out::kBytes, rest, left * Out::kBytes);
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
