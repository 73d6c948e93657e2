// Alpha, 8-bit channels, and copies through masks. What is read and written in the same place goes through ordinary
// stores: its lines are in the cache anyway.
#if defined(PIXMAP_CHANNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXMAP_CHANNELS_INL_H
#undef PIXMAP_CHANNELS_INL_H
#else
#define PIXMAP_CHANNELS_INL_H
#endif

#include "PixmapVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {
namespace {

struct ReadAlpha {
    static constexpr std::size_t kInBytes = 4, kOutBytes = 1, kInVectors = 4, kOutVectors = 1;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        const auto alpha = [=](std::size_t i) HWY_ATTR {
            return hn::BitCast(di, hn::ShiftRight<24>(LoadPixels(in + i * hn::Lanes(dbytes))));
        };
        const auto low = PackToWords(alpha(0), alpha(1)), high = PackToWords(alpha(2), alpha(3));
        Stores::Store(Pieces::Transpose(PackToBytes(low, high)), out);
    }
};

HWY_INLINE hn::Vec<DU> LoadChannel(const std::uint8_t* at) {
    return hn::PromoteTo(du, hn::LoadU(d8, at));
}

HWY_INLINE hn::Vec<DU> WithAlpha(hn::Vec<DU> pixels, hn::Vec<DU> alpha) {
    return hn::Or(hn::And(pixels, hn::Set(du, 0x00FFFFFFU)), hn::ShiftLeft<24>(alpha));
}

void WriteAlpha(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                const Transfer& /*in place*/) noexcept {
    std::size_t i = 0;
    for (; i + LaneCount() <= pixels; i += LaneCount()) {
        StorePixels(WithAlpha(LoadPixels(destination + 4 * i), LoadChannel(source + i)), destination + 4 * i);
    }
    for (; i < pixels; ++i) {
        destination[4 * i + 3] = source[i];
    }
}

void SelectAlpha(const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* selector, std::uint8_t* pixels,
                 std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + LaneCount() <= count; i += LaneCount()) {
        const auto takesB = hn::Eq(LoadChannel(selector + i), hn::Zero(du));
        const auto alpha = hn::IfThenElse(takesB, LoadChannel(b + i), LoadChannel(a + i));
        StorePixels(WithAlpha(LoadPixels(pixels + 4 * i), alpha), pixels + 4 * i);
    }
    for (; i < count; ++i) {
        pixels[4 * i + 3] = selector[i] != 0 ? a[i] : b[i];
    }
}

void MarkValue(std::uint8_t* bytes, std::size_t count, std::uint8_t value) noexcept {
    constexpr std::uint8_t kMark = 31;
    const std::size_t vector = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + vector <= count; i += vector) {
        const auto found = hn::Eq(hn::LoadU(dbytes, bytes + i), hn::Set(dbytes, value));
        hn::StoreU(hn::IfThenElseZero(found, hn::Set(dbytes, kMark)), dbytes, bytes + i);
    }
    for (; i < count; ++i) {
        bytes[i] = bytes[i] == value ? kMark : std::uint8_t{0};
    }
}

// Three bytes of a pixel through a mask, m of 1 to 254, in words; k = 255 - m.
HWY_INLINE Words MixColour(Words s, Words d, Words k) {
    // floor((d - s) * k / 256) is the upper word of a product.
    return hn::Add(s, hn::MulHigh(hn::ShiftLeft<7>(hn::Sub(d, s)), hn::Add(k, k)));
}
HWY_INLINE Words GrowAlpha(Words s, Words d, Words k) {
    const auto unsignedWords = [](Words v) HWY_ATTR { return hn::BitCast(dw, v); };
    const auto free = hn::Sub(hn::Set(dw, std::uint16_t{255}), unsignedWords(d));
    return hn::Add(d, hn::BitCast(ds, hn::MulHigh(hn::Mul(free, unsignedWords(s)), unsignedWords(k))));
}

HWY_INLINE hn::Vec<DU> MixThroughBytes(hn::Vec<DU> source, hn::Vec<DU> destination, hn::Vec<DU> mask) {
    const auto full = hn::Set(du, 255U);
    const auto kept = hn::Sub(full, mask);
    const auto twice = hn::Or(kept, hn::ShiftLeft<16>(kept));
    const auto k = hn::BitCast(dbytes, hn::Or(twice, hn::ShiftLeft<8>(twice)));
    const auto isAlpha =
        hn::MaskFromVec(hn::BitCast(ds, hn::Set(hn::Repartition<std::uint64_t, DF>(), std::uint64_t{0xFFFF} << 48)));
    const auto zero = hn::Zero(dbytes);
    const auto s = hn::BitCast(dbytes, source), d = hn::BitCast(dbytes, destination);
    const auto mix = [=](Bytes sources, Bytes destinations, Bytes weights) HWY_ATTR {
        const auto x = hn::BitCast(ds, sources), y = hn::BitCast(ds, destinations), w = hn::BitCast(ds, weights);
        return hn::IfThenElse(isAlpha, GrowAlpha(x, y, w), MixColour(x, y, w));
    };
    const auto low = mix(hn::InterleaveLower(dbytes, s, zero), hn::InterleaveLower(dbytes, d, zero),
                         hn::InterleaveLower(dbytes, k, zero));
    const auto high = mix(hn::InterleaveUpper(dbytes, s, zero), hn::InterleaveUpper(dbytes, d, zero),
                          hn::InterleaveUpper(dbytes, k, zero));
    const auto mixed = PixelsOf(PackToBytes(low, high));
    const auto copied = hn::IfThenElse(hn::Eq(mask, full), source, mixed);
    return hn::IfThenElse(hn::Eq(mask, hn::Zero(du)), destination, copied);
}

void ThroughBytes(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
                  const Transfer& /*in place*/) noexcept {
    const auto run = [](const std::uint8_t* from, std::uint8_t* to, const std::uint8_t* through) HWY_ATTR {
        const auto m = LoadChannel(through);
        if (hn::AllTrue(du, hn::Eq(m, hn::Zero(du)))) {
            return;
        }
        const auto s = LoadPixels(from);
        StorePixels(hn::AllTrue(du, hn::Eq(m, hn::Set(du, 255U))) ? s : MixThroughBytes(s, LoadPixels(to), m), to);
    };
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        run(source + 4 * i, destination + 4 * i, mask + i);
    }
    if (i < pixels) {
        alignas(64) std::uint8_t from[4 * kMaxLanes] = {}, to[4 * kMaxLanes] = {}, through[kMaxLanes] = {};
        const std::size_t rest = std::min(pixels - i, kMaxLanes);
        std::memcpy(from, source + 4 * i, 4 * rest);
        std::memcpy(to, destination + 4 * i, 4 * rest);
        std::memcpy(through, mask + i, rest);
        run(from, to, through);
        std::memcpy(destination + 4 * i, to, 4 * rest);
    }
}

// Masks of one bit a pixel, most significant first; the pixels of a vector at once.
class BitMasks {
public:
    BitMasks() {
        alignas(64) std::uint32_t bits[kMaxLanes];
        for (std::size_t i = 0; i < LaneCount(); ++i) {
            bits[i] = 1U << (LaneCount() - 1 - i);
        }
        mBits = hn::Load(du, bits);
    }
    static HWY_INLINE std::uint32_t All() { return (1U << LaneCount()) - 1; }
    // Of the vector that starts at a pixel whose number is a multiple of the lanes, of which so many are there. Null
    // for bits that are all set.
    static HWY_INLINE std::uint32_t At(const std::uint8_t* mask, std::size_t pixel, std::size_t count) {
        if (mask == nullptr) {
            return All() & ~(All() >> count);
        }
        const std::uint32_t first = mask[pixel / 8];
        std::uint32_t bits = LaneCount() == 4 ? first >> (4 - pixel % 8) & 15U : first;
        if (LaneCount() == 16) {
            bits = first << 8 | (count > 8 ? mask[pixel / 8 + 1] : 0U);
        }
        return bits & ~(All() >> count);
    }
    HWY_INLINE hn::Mask<DU> Lanes(std::uint32_t bits) const { return hn::TestBit(hn::Set(du, bits), mBits); }

private:
    hn::Vec<DU> mBits;
};

// mix(source, destination) gives the pixels where bits are set.
template <class Mix>
HWY_INLINE void RunThroughBits(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                               const std::uint8_t* mask, const Transfer& transfer, const Mix& mix) {
    const BitMasks masks;
    const auto run = [=](const std::uint8_t* from, std::uint8_t* to, std::uint32_t bits) HWY_ATTR {
        const auto d = LoadPixels(to);
        // Lanes of a mask become a masked load of d, which on some processors waits for memory without looking ahead.
        const auto set = hn::VecFromMask(du, masks.Lanes(bits));
        StorePixels(hn::IfVecThenElse(set, mix(LoadPixels(from), d), d), to);
    };
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        FetchVectors<1>(source + 4 * i, transfer.ahead);
        FetchVectors<1>(destination + 4 * i, transfer.ahead);
        const std::uint32_t bits = BitMasks::At(mask, i, lanes);
        if (bits != 0) {
            run(source + 4 * i, destination + 4 * i, bits);
        }
    }
    if (i < pixels) {
        alignas(64) std::uint8_t from[4 * kMaxLanes] = {}, to[4 * kMaxLanes] = {};
        const std::size_t rest = std::min(pixels - i, kMaxLanes);
        std::memcpy(from, source + 4 * i, 4 * rest);
        std::memcpy(to, destination + 4 * i, 4 * rest);
        run(from, to, BitMasks::At(mask, i, rest));
        std::memcpy(destination + 4 * i, to, 4 * rest);
    }
}

void ThroughBits(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
                 const Transfer& transfer) noexcept {
    RunThroughBits(source, destination, pixels, mask, transfer,
                   [](hn::Vec<DU> s, hn::Vec<DU> /*kept*/) HWY_ATTR { return s; });
}

template <std::uint16_t rounding>
void BlendThroughBits(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                      const std::uint8_t* mask, std::uint8_t weight, const Transfer& transfer) noexcept {
    const auto ofSource = hn::Set(dw, std::uint16_t{weight});
    const auto ofDestination = hn::Set(dw, static_cast<std::uint16_t>(255 - weight));
    const auto zero = hn::Zero(dbytes);
    const auto scaled = [](hn::Vec<DW> x, hn::Vec<DW> factor) HWY_ATTR {
        // x / 255 = ((x + 1) * 257) / 65536, cut off, of x below 65535.
        const auto next = hn::Add(hn::Mul(x, factor), hn::Set(dw, std::uint16_t{rounding + 1}));
        return hn::MulHigh(next, hn::Set(dw, std::uint16_t{257}));
    };
    const auto sum = [=](Bytes s, Bytes d) HWY_ATTR {
        return hn::BitCast(ds,
                           hn::Add(scaled(hn::BitCast(dw, s), ofSource), scaled(hn::BitCast(dw, d), ofDestination)));
    };
    RunThroughBits(
        source, destination, pixels, mask, transfer, [=](hn::Vec<DU> source4, hn::Vec<DU> destination4) HWY_ATTR {
            const auto s = hn::BitCast(dbytes, source4), d = hn::BitCast(dbytes, destination4);
            return PixelsOf(
                PackToBytes(sum(hn::InterleaveLower(dbytes, s, zero), hn::InterleaveLower(dbytes, d, zero)),
                            sum(hn::InterleaveUpper(dbytes, s, zero), hn::InterleaveUpper(dbytes, d, zero))));
        });
}

constexpr ChannelKernels kChannelTable{
    .readAlpha = ChangePixels<ReadAlpha>,
    .writeAlpha = WriteAlpha,
    .selectAlpha = SelectAlpha,
    .markValue = MarkValue,
};

constexpr MaskKernels kMaskTable{
    .throughBytes = ThroughBytes,
    .throughBits = ThroughBits,
    .blendThroughBits = BlendThroughBits<0>,
    .blendRounded = BlendThroughBits<127>,
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#endif
