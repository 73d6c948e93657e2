// 10-bit 4:2:2 in groups: 6 pixels in four little-endian words of three 10-bit codes,
// Cb0 Y0 Cr0 | Y1 Cb1 Y2 | Cr1 Y3 Cb2 | Y4 Cr2 Y5, lowest bits first.
#if defined(PIXELBLITTER_V210_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_V210_KERNELS_INL_H
#undef PIXELBLITTER_V210_KERNELS_INL_H
#else
#define PIXELBLITTER_V210_KERNELS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Between groups and planes, samples lie as pairs of 16-bit codes in 32-bit lanes, lower half first: luma as columns 2k
// and 2k + 1, chroma as U and V of the pair. Both have three lanes to a group, so vectors of three lanes in every block
// of 128 bits and the compact run of them are one permutation apart.
constexpr std::size_t kMaxGroups = kTilePixels / 6 + 4;
struct GroupCodes {
    alignas(64) std::uint32_t luma[kMaxGroups * 3 + 2 * kMaxLanes];
    alignas(64) std::uint32_t chroma[kMaxGroups * 3 + 2 * kMaxLanes];
};

alignas(64) constexpr std::int32_t kCompact[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15};
alignas(64) constexpr std::int32_t kSpread[16] = {0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0};
// The first lanes of kCompact for shorter vectors.
alignas(64) constexpr std::int32_t kCompact4[4] = {0, 1, 2, 3};
alignas(64) constexpr std::int32_t kCompact8[8] = {0, 1, 2, 4, 5, 6, 3, 7};

HWY_INLINE auto CompactIndices() {
    const std::size_t lanes = LaneCount();
    return hn::SetTableIndices(du, lanes == 16 ? kCompact : lanes == 8 ? kCompact8 : kCompact4);
}

HWY_INLINE hn::Vec<DU> FromBytes(hn::Vec<DBytes> bytes) {
    return hn::BitCast(du, bytes);
}

void UnpackGroups(const std::uint8_t* source, float* luma, float* u, float* v, std::size_t groups,
                  const Dequantiser& lumaRange, const Dequantiser& chromaRange) noexcept {
    // Two bytes hold each code: it is moved to the top of a 16-bit lane by a product and then down.
    alignas(16) static constexpr std::uint8_t kLumaBytes[16] = {1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kLumaLift[8] = {16, 64, 4, 16, 64, 4, 0, 0};
    alignas(16) static constexpr std::uint8_t kChromaBytes[16] = {0, 1, 2, 3, 5, 6, 8, 9, 10, 11, 13, 14, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kChromaLift[8] = {64, 4, 16, 64, 4, 16, 0, 0};
    const auto lumaBytes = hn::LoadDup128(dbytes, kLumaBytes);
    const auto lumaLift = hn::LoadDup128(dw, kLumaLift);
    const auto chromaBytes = hn::LoadDup128(dbytes, kChromaBytes);
    const auto chromaLift = hn::LoadDup128(dw, kChromaLift);
    const auto compact = CompactIndices();
    const std::size_t groupsAtOnce = LaneCount() / 4;
    const Dequantiser forLuma = lumaRange;
    const Dequantiser forChroma = chromaRange;
    GroupCodes codes;
    for (std::size_t g = 0; g < groups; g += groupsAtOnce) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        const std::uint8_t* from = source + 16 * g;
        if (groups - g < groupsAtOnce) {
            std::memcpy(rest, from, 16 * (groups - g));
            from = rest;
        }
        const auto words = hn::LoadU(dbytes, from);
        const auto y = hn::ShiftRight<6>(hn::Mul(hn::BitCast(dw, hn::TableLookupBytes(words, lumaBytes)), lumaLift));
        const auto c =
            hn::ShiftRight<6>(hn::Mul(hn::BitCast(dw, hn::TableLookupBytes(words, chromaBytes)), chromaLift));
        hn::StoreU(hn::TableLookupLanes(hn::BitCast(du, y), compact), du, codes.luma + 3 * g);
        hn::StoreU(hn::TableLookupLanes(hn::BitCast(du, c), compact), du, codes.chroma + 3 * g);
    }
    const hn::Vec<DU> low = hn::Set(du, 0xFFFFU);
    for (std::size_t k = 0; k < 3 * groups; k += LaneCount()) {
        const auto y = hn::LoadU(du, codes.luma + k);
        const auto c = hn::LoadU(du, codes.chroma + k);
        hn::StoreInterleaved2(Dequantise(ToMagic(y, low), forLuma), Dequantise(ToMagic(hn::ShiftRight<16>(y)), forLuma),
                              df, luma + 2 * k);
        hn::StoreU(Dequantise(ToMagic(c, low), forChroma), df, u + k);
        hn::StoreU(Dequantise(ToMagic(hn::ShiftRight<16>(c)), forChroma), df, v + k);
    }
}

void PackGroups(const float* luma, const float* u, const float* v, std::uint8_t* destination, std::size_t groups,
                const Quantiser& lumaRange, const Quantiser& chromaRange) noexcept {
    constexpr std::uint8_t no = 0x80; // leaves the byte 0
    // Which codes stand lowest, in the middle and highest in each of the four words.
    alignas(16) static constexpr std::uint8_t kLowLuma[16] = {no, no, no, no, 2, 3, no, no,
                                                              no, no, no, no, 8, 9, no, no};
    alignas(16) static constexpr std::uint8_t kLowChroma[16] = {0, 1, no, no, no, no, no, no,
                                                                6, 7, no, no, no, no, no, no};
    alignas(16) static constexpr std::uint8_t kMidLuma[16] = {0, 1, no, no, no, no, no, no,
                                                              6, 7, no, no, no, no, no, no};
    alignas(16) static constexpr std::uint8_t kMidChroma[16] = {no, no, no, no, 4,  5,  no, no,
                                                                no, no, no, no, 10, 11, no, no};
    alignas(16) static constexpr std::uint8_t kHighLuma[16] = {no, no, no, no, 4,  5,  no, no,
                                                               no, no, no, no, 10, 11, no, no};
    alignas(16) static constexpr std::uint8_t kHighChroma[16] = {2, 3, no, no, no, no, no, no,
                                                                 8, 9, no, no, no, no, no, no};
    const auto lowLuma = hn::LoadDup128(dbytes, kLowLuma), lowChroma = hn::LoadDup128(dbytes, kLowChroma);
    const auto midLuma = hn::LoadDup128(dbytes, kMidLuma), midChroma = hn::LoadDup128(dbytes, kMidChroma);
    const auto highLuma = hn::LoadDup128(dbytes, kHighLuma), highChroma = hn::LoadDup128(dbytes, kHighChroma);
    const auto spread = hn::SetTableIndices(du, kSpread);
    const Quantiser forLuma = lumaRange;
    const Quantiser forChroma = chromaRange;
    const hn::Vec<DU> mask = hn::Set(du, 0xFFFFU);
    GroupCodes codes;
    for (std::size_t k = 0; k < 3 * groups; k += LaneCount()) {
        VF even, odd;
        hn::LoadInterleaved2(df, luma + 2 * k, even, odd);
        const auto y = hn::OrAnd(hn::ShiftLeft<16>(Quantise(odd, forLuma)), Quantise(even, forLuma), mask);
        const auto c = hn::OrAnd(hn::ShiftLeft<16>(Quantise(hn::LoadU(df, v + k), forChroma)),
                                 Quantise(hn::LoadU(df, u + k), forChroma), mask);
        hn::StoreU(y, du, codes.luma + k);
        hn::StoreU(c, du, codes.chroma + k);
    }
    const std::size_t groupsAtOnce = LaneCount() / 4;
    for (std::size_t g = 0; g < groups; g += groupsAtOnce) {
        const auto y = hn::BitCast(dbytes, hn::TableLookupLanes(hn::LoadU(du, codes.luma + 3 * g), spread));
        const auto c = hn::BitCast(dbytes, hn::TableLookupLanes(hn::LoadU(du, codes.chroma + 3 * g), spread));
        const auto low = hn::Or(hn::TableLookupBytesOr0(y, lowLuma), hn::TableLookupBytesOr0(c, lowChroma));
        const auto mid = hn::Or(hn::TableLookupBytesOr0(y, midLuma), hn::TableLookupBytesOr0(c, midChroma));
        const auto high = hn::Or(hn::TableLookupBytesOr0(y, highLuma), hn::TableLookupBytesOr0(c, highChroma));
        const auto words = hn::BitCast(dbytes, hn::Or(FromBytes(low), hn::Or(hn::ShiftLeft<10>(FromBytes(mid)),
                                                                             hn::ShiftLeft<20>(FromBytes(high)))));
        if (groups - g >= groupsAtOnce) {
            hn::StoreU(words, dbytes, destination + 16 * g);
        } else {
            alignas(64) std::uint8_t rest[4 * kMaxLanes];
            hn::Store(words, dbytes, rest);
            std::memcpy(destination + 16 * g, rest, 16 * (groups - g));
        }
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
