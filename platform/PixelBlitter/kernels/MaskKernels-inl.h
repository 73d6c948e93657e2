// One row out of two, as a mask says.
#if defined(PIXELBLITTER_MASK_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_MASK_KERNELS_INL_H
#undef PIXELBLITTER_MASK_KERNELS_INL_H
#else
#define PIXELBLITTER_MASK_KERNELS_INL_H
#endif

#include "MaskKernels.h"
#include "MixKernels-inl.h"

#include <array>
#include <bit>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// The next 32 bits of a mask, the first one on top.
HWY_INLINE std::uint32_t MaskBits(const std::uint8_t* mask, std::size_t firstBit) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, mask + firstBit / 8, sizeof bits);
    if constexpr (std::endian::native == std::endian::little) {
        bits = __builtin_bswap64(bits);
    }
    return static_cast<std::uint32_t>(bits << (firstBit % 8) >> 32);
}

// The bit that each 32-bit lane tests.
using LaneBits = std::array<std::uint32_t, kMaxLanes>;
template <class PixelOfLane>
constexpr LaneBits BitsOfLanes(const PixelOfLane& pixelOfLane) {
    LaneBits bits{};
    for (std::size_t lane = 0; lane < kMaxLanes; ++lane) {
        bits[lane] = 0x80000000U >> (pixelOfLane(lane) % 32);
    }
    return bits;
}

// Picks a's lane where its bit is set.
HWY_INLINE hn::Vec<DU> Pick(hn::Vec<DU> bits, const LaneBits& bitOfLane, Bytes a, Bytes b) {
    const auto fromA = hn::TestBit(bits, hn::Load(du, bitOfLane.data()));
    return hn::IfThenElse(fromA, hn::BitCast(du, a), hn::BitCast(du, b));
}

template <std::size_t pixelBytes>
struct SelectPixels {
    static constexpr std::size_t kUnitBytes = pixelBytes;
    static constexpr std::size_t kUnitPixels = 1;
    alignas(64) static constexpr LaneBits kBits = BitsOfLanes([](std::size_t lane) { return lane * 4 / pixelBytes; });

    HWY_INLINE Bytes operator()(Bytes a, Bytes b, hn::Vec<DU> bits) const {
        return hn::BitCast(dbytes, Pick(bits, kBits, a, b));
    }
};

// Whole units by the bit of each of their pixels; luma is that pixel's own, chroma the mean.
template <bool lumaFirst>
struct SelectPairs {
    static constexpr std::size_t kUnitBytes = 4;
    static constexpr std::size_t kUnitPixels = 2;
    alignas(64) static constexpr LaneBits kFirst = BitsOfLanes([](std::size_t lane) { return 2 * lane; });
    alignas(64) static constexpr LaneBits kSecond = BitsOfLanes([](std::size_t lane) { return 2 * lane + 1; });

    HWY_INLINE Bytes operator()(Bytes a, Bytes b, hn::Vec<DU> bits) const {
        const auto first = Pick(bits, kFirst, a, b), second = Pick(bits, kSecond, a, b);
        const auto mean = hn::AverageRound(hn::BitCast(dbytes, first), hn::BitCast(dbytes, second));
        constexpr std::uint32_t kLuma = lumaFirst ? 0xFF : 0xFF00; // of the first pixel
        const auto luma = hn::Or(hn::And(first, hn::Set(du, kLuma)), hn::And(second, hn::Set(du, kLuma << 16)));
        const auto chroma = hn::AndNot(hn::Set(du, kLuma | kLuma << 16), hn::BitCast(du, mean));
        return hn::BitCast(dbytes, hn::Or(luma, chroma));
    }
};

// The codes of a group run U Y V Y U Y V Y U Y V Y, three to a lane. Once more whole units by the bit of either pixel;
// luma is the same in both, and so is its mean.
struct SelectGroups {
    static constexpr std::size_t kUnitBytes = 16;
    static constexpr std::size_t kUnitPixels = 6;
    static constexpr std::size_t PixelOf(std::size_t lane, std::size_t slot, std::size_t ofPair) {
        const std::size_t code = lane % 4 * 3 + slot;
        return lane / 4 * 6 + (code % 2 != 0 ? code / 2 : code / 4 * 2 + ofPair);
    }
    template <std::size_t slot, std::size_t ofPair>
    struct Bits {
        alignas(64) static constexpr LaneBits kBits = BitsOfLanes([](std::size_t lane) {
            return PixelOf(lane, slot, ofPair);
        });
    };
    template <std::size_t ofPair>
    static HWY_INLINE Bytes Codes(Bytes a, Bytes b, hn::Vec<DU> bits) {
        const auto low = hn::And(Pick(bits, Bits<0, ofPair>::kBits, a, b), hn::Set(du, 0x3FFU));
        const auto middle = hn::And(Pick(bits, Bits<1, ofPair>::kBits, a, b), hn::Set(du, 0x3FFU << 10));
        const auto high = hn::And(Pick(bits, Bits<2, ofPair>::kBits, a, b), hn::Set(du, 0x3FFU << 20));
        return hn::BitCast(dbytes, hn::Or(low, hn::Or(middle, high)));
    }

    HWY_INLINE Bytes operator()(Bytes a, Bytes b, hn::Vec<DU> bits) const {
        return AverageGroups(MixShare{})(Codes<0>(a, b, bits), Codes<1>(a, b, bits));
    }
};

// The op of RunSteps, one vector at once.
template <class Select>
struct SelectOp {
    static constexpr std::size_t kUnitBytes = Select::kUnitBytes;
    const std::uint8_t* a;
    const std::uint8_t* b;
    std::uint8_t* destination;
    const std::uint8_t* mask;
    std::size_t startBit;
    std::ptrdiff_t toFetched; ///< where stores are ordinary: pictures that are written in place are large, too

    static HWY_INLINE std::size_t Step() { return hn::Lanes(dbytes) / kUnitBytes; }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<1>(a + kUnitBytes * i, ahead);
        FetchVectors<1>(b + kUnitBytes * i, ahead);
    }
    HWY_INLINE hn::Vec<DU> BitsFrom(std::size_t i) const {
        return hn::Set(du, MaskBits(mask, startBit + Select::kUnitPixels * i));
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        if (std::is_same_v<Stores, Ordinary>) {
            Fetch(i, toFetched);
        }
        const std::size_t at = kUnitBytes * i;
        Stores::Store(Select()(hn::LoadU(dbytes, a + at), hn::LoadU(dbytes, b + at), BitsFrom(i)), destination + at);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        // Never more than a step, which g++ does not see behind the checks of a sanitizer.
        const std::size_t at = kUnitBytes * i, bytes = kUnitBytes * std::min(count, Step());
        alignas(64) std::uint8_t restOfA[4 * kMaxLanes] = {}, restOfB[4 * kMaxLanes] = {};
        std::memcpy(restOfA, a + at, bytes);
        std::memcpy(restOfB, b + at, bytes);
        hn::Store(Select()(hn::Load(dbytes, restOfA), hn::Load(dbytes, restOfB), BitsFrom(i)), dbytes, restOfA);
        std::memcpy(destination + at, restOfA, bytes);
    }
};

template <class Select>
void SelectUnits(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::size_t units,
                 const std::uint8_t* mask, std::size_t startBit, const Transfer& transfer) noexcept {
    RunSteps(SelectOp<Select>{a, b, destination, mask, startBit, transfer.ahead}, 0, units, destination,
             Select::kUnitBytes, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
