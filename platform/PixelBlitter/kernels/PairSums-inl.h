// Sums of neighbouring lanes, and saturating packs of two vectors block by block: one instruction each on x86, spelled
// out elsewhere.
#if defined(PIXELBLITTER_PAIR_SUMS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PAIR_SUMS_INL_H
#undef PIXELBLITTER_PAIR_SUMS_INL_H
#else
#define PIXELBLITTER_PAIR_SUMS_INL_H
#endif

#include "Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

using DS = hn::Repartition<std::int16_t, DF>; // as many bytes as a float vector has
using DQ = hn::Repartition<std::uint64_t, DF>;
using Words = hn::Vec<DS>;
using Dwords = hn::Vec<DI>;
constexpr DS ds;

// Two words in every dword.
HWY_INLINE Words SetWords(std::int16_t low, std::int16_t high) {
    return hn::BitCast(ds, hn::Set(du, static_cast<std::uint32_t>(static_cast<std::uint16_t>(low)) |
                                           static_cast<std::uint32_t>(static_cast<std::uint16_t>(high)) << 16));
}

#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR

#if HWY_TARGET <= HWY_AVX3
#define PIXELBLITTER_X86(operation) _mm512_##operation
#elif HWY_TARGET == HWY_AVX2
#define PIXELBLITTER_X86(operation) _mm256_##operation
#else
#define PIXELBLITTER_X86(operation) _mm_##operation
#endif

// a[2i] * b[2i] + a[2i + 1] * b[2i + 1].
HWY_INLINE Dwords MulAddPairs(Words a, Words b) {
    return Dwords{PIXELBLITTER_X86(madd_epi16)(a.raw, b.raw)};
}
// bytes[2i] + bytes[2i + 1].
HWY_INLINE Words AddBytePairs(Bytes bytes) {
    return Words{PIXELBLITTER_X86(maddubs_epi16)(bytes.raw, PIXELBLITTER_X86(set1_epi8)(1))};
}
// In every block of 16 bytes: the lanes of a, then those of b, clipped to the narrower type.
HWY_INLINE Words PackToWords(Dwords a, Dwords b) {
    return Words{PIXELBLITTER_X86(packs_epi32)(a.raw, b.raw)};
}
HWY_INLINE Bytes PackToBytes(Words a, Words b) {
    return Bytes{PIXELBLITTER_X86(packus_epi16)(a.raw, b.raw)};
}

#undef PIXELBLITTER_X86

#else // vectors of one block

HWY_INLINE Dwords EvenWords(Words words) {
    return hn::ShiftRight<16>(hn::ShiftLeft<16>(hn::BitCast(di, words)));
}
HWY_INLINE Dwords OddWords(Words words) {
    return hn::ShiftRight<16>(hn::BitCast(di, words));
}
HWY_INLINE Dwords MulAddPairs(Words a, Words b) {
    return hn::Add(hn::Mul(EvenWords(a), EvenWords(b)), hn::Mul(OddWords(a), OddWords(b)));
}
HWY_INLINE Words AddBytePairs(Bytes bytes) {
    const auto words = hn::BitCast(dw, bytes);
    return hn::BitCast(ds, hn::Add(hn::And(words, hn::Set(dw, std::uint16_t{0xFF})), hn::ShiftRight<8>(words)));
}
HWY_INLINE Words PackToWords(Dwords a, Dwords b) {
    const auto clip = [](Dwords v) { return hn::BitCast(ds, hn::Clamp(v, hn::Set(di, -32768), hn::Set(di, 32767))); };
    return hn::ConcatEven(ds, clip(b), clip(a));
}
HWY_INLINE Bytes PackToBytes(Words a, Words b) {
    const auto clip = [](Words v) {
        return hn::BitCast(dbytes, hn::Clamp(v, hn::Zero(ds), hn::Set(ds, std::int16_t{255})));
    };
    return hn::ConcatEven(dbytes, clip(b), clip(a));
}

#endif

// Moves of whole 8-byte or 4-byte pieces that bring what block-wise operations did into the order of memory.
class Pieces {
public:
    // Interleaving the lower halves of blocks then gives the first half of the vector interleaved, the upper halves the
    // second.
    static HWY_INLINE Bytes Spread(Bytes v) { return Move(v, kSpread[Kind()]); }
    // Undoes the block-wise order of a pack of two vectors.
    static HWY_INLINE Bytes Gather(Bytes v) { return Move(v, kGather[Kind()]); }
    // Undoes that of a pack of two packs.
    static HWY_INLINE Bytes Transpose(Bytes v) { return Move(v, kTranspose[Kind()]); }

private:
    static HWY_INLINE std::size_t Kind() { return LaneCount() == 16 ? 2 : LaneCount() == 8 ? 1 : 0; }
    static HWY_INLINE Bytes Move(Bytes v, const std::int32_t* order) {
        if (LaneCount() == 4) {
            return v;
        }
        return hn::BitCast(dbytes, hn::TableLookupLanes(hn::BitCast(du, v), hn::SetTableIndices(du, order)));
    }
    alignas(64) static constexpr std::int32_t kSpread[3][16] = {
        {0, 1, 2, 3}, {0, 1, 4, 5, 2, 3, 6, 7}, {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15}};
    alignas(64) static constexpr std::int32_t kGather[3][16] = {
        {0, 1, 2, 3}, {0, 1, 4, 5, 2, 3, 6, 7}, {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15}};
    alignas(64) static constexpr std::int32_t kTranspose[3][16] = {
        {0, 1, 2, 3}, {0, 4, 1, 5, 2, 6, 3, 7}, {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}};
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
