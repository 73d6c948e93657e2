// The loops of a pixmap copy for one CPU target. Included once per target, so the guard follows the toggle of
// hwy/foreach_target.h.
#if defined(VF_PIXEL_COPY_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VF_PIXEL_COPY_KERNELS_INL_H
#undef VF_PIXEL_COPY_KERNELS_INL_H
#else
#define VF_PIXEL_COPY_KERNELS_INL_H
#endif

#include "kernels/PixelCopyKernels.h"

#include <algorithm>
#include <cstring>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using DPixels = hn::CappedTag<std::uint32_t, 16>;
using DBytes = hn::Repartition<std::uint8_t, DPixels>;
using DWords = hn::Repartition<std::uint16_t, DPixels>;
using Pixels = hn::Vec<DPixels>;
using Words = hn::Vec<DWords>;
constexpr DPixels kPixels;
constexpr DBytes kBytes;
constexpr DWords kWords;
constexpr std::size_t kMaxPixels = 16; // of a vector

// Bits of pixels [first, first + count), on top of a word; count is at most 16 and first a multiple of 4.
HWY_INLINE std::uint32_t BitsFrom(const std::uint8_t* mask, std::size_t first, std::size_t count) {
    const std::uint8_t* const at = mask + first / 8;
    std::uint32_t bits = std::uint32_t{at[0]} << 24;
    if (first % 8 + count > 8) {
        bits |= std::uint32_t{at[1]} << 16;
    }
    return bits << (first % 8);
}

HWY_INLINE Pixels LoadPixels(const std::uint8_t* at) {
    return hn::BitCast(kPixels, hn::LoadU(kBytes, at));
}
HWY_INLINE void StorePixels(Pixels pixels, std::uint8_t* at) {
    hn::StoreU(hn::BitCast(kBytes, pixels), kBytes, at);
}

// mix(source, destination) gives the pixels whose bits are set.
template <class Mix>
HWY_INLINE void RunRow(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                       const std::uint8_t* mask, const Mix& mix) {
    const std::size_t lanes = hn::Lanes(kPixels);
    alignas(64) std::uint32_t bitOfLane[kMaxPixels];
    for (std::size_t lane = 0; lane < kMaxPixels; ++lane) {
        bitOfLane[lane] = 0x80000000U >> lane;
    }
    const auto bitOf = hn::Load(kPixels, bitOfLane);
    const auto run = [&](const std::uint8_t* from, std::uint8_t* to, std::uint32_t bits) HWY_ATTR {
        const auto kept = LoadPixels(to);
        const auto set = hn::TestBit(hn::Set(kPixels, bits), bitOf);
        StorePixels(hn::IfThenElse(set, mix(LoadPixels(from), kept), kept), to);
    };
    const auto bitsAt = [=](std::size_t i, std::size_t count) {
        return mask == nullptr ? 0xFFFF0000U : BitsFrom(mask, i, count);
    };
    const std::uint32_t ofVector = 0xFFFFFFFFU << (32 - lanes);
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        const std::uint32_t bits = bitsAt(i, lanes);
        if ((bits & ofVector) != 0) {
            run(source + 4 * i, destination + 4 * i, bits);
        }
    }
    if (i < pixels) {
        alignas(64) std::uint8_t from[4 * kMaxPixels] = {}, to[4 * kMaxPixels] = {};
        const std::size_t rest = std::min(pixels - i, kMaxPixels);
        std::memcpy(from, source + 4 * i, 4 * rest);
        std::memcpy(to, destination + 4 * i, 4 * rest);
        run(from, to, bitsAt(i, rest));
        std::memcpy(destination + 4 * i, to, 4 * rest);
    }
}

void Copy(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
          const std::uint8_t* mask) noexcept {
    RunRow(source, destination, pixels, mask, [](Pixels from, Pixels /*kept*/) HWY_ATTR { return from; });
}

void Blend(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
           std::uint8_t weight) noexcept {
    const auto ofSource = hn::Set(kWords, std::uint16_t{weight});
    const auto ofDestination = hn::Set(kWords, static_cast<std::uint16_t>(255 - weight));
    // (byte * factor + 127) / 255: what is divided is below 65535, where x / 255 = (x + 1 + x / 256) / 256.
    const auto share = [](Words bytes, Words factor) HWY_ATTR {
        const auto sum = hn::Add(hn::Mul(bytes, factor), hn::Set(kWords, std::uint16_t{127}));
        return hn::ShiftRight<8>(hn::Add(hn::Add(sum, hn::Set(kWords, std::uint16_t{1})), hn::ShiftRight<8>(sum)));
    };
    const auto mix = [=](Words from, Words kept)
                         HWY_ATTR { return hn::Add(share(from, ofSource), share(kept, ofDestination)); };
    RunRow(source, destination, pixels, mask, [=](Pixels from, Pixels kept) HWY_ATTR {
        const auto s = hn::BitCast(kWords, from), d = hn::BitCast(kWords, kept);
        const auto low = hn::Set(kWords, std::uint16_t{0xFF});
        const auto even = mix(hn::And(s, low), hn::And(d, low));
        const auto odd = mix(hn::ShiftRight<8>(s), hn::ShiftRight<8>(d));
        return hn::BitCast(kPixels, hn::Or(even, hn::ShiftLeft<8>(odd)));
    });
}

} // namespace

const PixelCopyKernels* PixelCopyTable() {
    static constexpr PixelCopyKernels table{.copy = Copy, .blend = Blend};
    return &table;
}

} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#endif
