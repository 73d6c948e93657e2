// 10-bit 4:2:2 in groups to and from 8-bit 4:2:2 of the same matrix. Both hold the same codes in the same order, UYVY
// of six pixels in twelve bytes.
#if defined(PIXELBLITTER_GROUP_PAIRS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_PAIRS_INL_H
#undef PIXELBLITTER_GROUP_PAIRS_INL_H
#else
#define PIXELBLITTER_GROUP_PAIRS_INL_H
#endif

#include "GroupCodes-inl.h"
#include "PairSums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// The pairs that a group's pixels have, and behind them copies of the row's last pixel.
class PairsOfPixels {
public:
    PairsOfPixels(std::uint8_t* bytes, bool lumaFirst) : mBytes(bytes), mLuma(lumaFirst ? 0 : 1) {}
    HWY_INLINE void RepeatLast(std::size_t pixels, std::size_t wantedPixels) const {
        const std::size_t pair = (pixels - 1) / 2 * 4;
        std::uint8_t* const luma = mBytes + mLuma;
        std::uint8_t* const chroma = mBytes + 1 - mLuma;
        for (std::size_t x = pixels; x < wantedPixels; ++x) {
            luma[2 * x] = luma[2 * pixels - 2];
            chroma[2 * x] = chroma[pair + x % 2 * 2];
        }
    }

private:
    std::uint8_t* mBytes;
    std::size_t mLuma;
};

template <bool lumaFirst>
class PairsOfGroups {
public:
    PairsOfGroups()
        : mEvenBytes(hn::LoadDup128(dbytes, lumaFirst ? kSecond : kFirst)),
          mOddBytes(hn::LoadDup128(dbytes, lumaFirst ? kFirst : kSecond)),
          mEvenLift(hn::LoadDup128(dw, lumaFirst ? kSecondLift : kFirstLift)),
          mOddLift(hn::LoadDup128(dw, lumaFirst ? kFirstLift : kSecondLift)), mFirst(kJoin[0]), mSecond(kJoin[1]),
          mThird(kJoin[2]) {}

    // Three vectors of pairs from four of groups.
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* groups, std::uint8_t* pairs) const {
        constexpr std::size_t kBytes = 4 * kLanes;
        const auto a = Codes(groups);
        const auto b = Codes(groups + kBytes);
        const auto c = Codes(groups + 2 * kBytes);
        const auto d = Codes(groups + 3 * kBytes);
        Stores::Store(hn::BitCast(dbytes, mFirst(a, b)), pairs);
        Stores::Store(hn::BitCast(dbytes, mSecond(b, c)), pairs + kBytes);
        Stores::Store(hn::BitCast(dbytes, mThird(c, d)), pairs + 2 * kBytes);
    }

private:
    // Twelve codes of 8 bits in every block.
    HWY_INLINE hn::Vec<DU> Codes(const std::uint8_t* groups) const {
        const Bytes in = hn::LoadU(dbytes, groups);
        const auto even = hn::ShiftRight<8>(Rounded(in, mEvenBytes, mEvenLift));
        const auto odd = Rounded(in, mOddBytes, mOddLift);
        return hn::BitCast(du, hn::OrAnd(even, odd, hn::Set(dw, std::uint16_t{0xFF00})));
    }
    // In the upper bytes.
    static HWY_INLINE hn::Vec<DW> Rounded(Bytes groups, Bytes bytes, hn::Vec<DW> lift) {
        const auto codes = hn::Mul(hn::BitCast(dw, hn::TableLookupBytes(groups, bytes)), lift);
        return hn::SaturatedAdd(codes, hn::Set(dw, std::uint16_t{0x80}));
    }
    // Every other code of a group, from the first and from the second on: the two bytes that hold it, and what lifts
    // it to the top.
    alignas(16) static constexpr std::uint8_t kFirst[16] = {0, 1, 2, 3, 5, 6, 8, 9, 10, 11, 13, 14, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kFirstLift[8] = {64, 4, 16, 64, 4, 16, 0, 0};
    alignas(16) static constexpr std::uint8_t kSecond[16] = {1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kSecondLift[8] = {16, 64, 4, 16, 64, 4, 0, 0};
    // Vector n of pairs, from vectors n and n + 1 of groups.
    static constexpr LaneTable Table(std::size_t n) {
        LaneTable table{};
        for (std::size_t i = 0; i < kLanes; ++i) {
            const std::size_t lane = n * kLanes + i;
            table[i] = static_cast<std::int32_t>(lane / 3 * 4 + lane % 3 - n * kLanes);
        }
        return table;
    }
    static constexpr LaneTable kJoin[3] = {Table(0), Table(1), Table(2)};
    Bytes mEvenBytes, mOddBytes;
    hn::Vec<DW> mEvenLift, mOddLift;
    TwoTables mFirst, mSecond, mThird;
};

template <bool lumaFirst>
struct GroupsToPairsOp {
    const std::uint8_t* source;
    std::uint8_t* destination;
    std::size_t width;
    PairsOfGroups<lumaFirst> pairs;

    static HWY_INLINE std::size_t Step() { return kLanes; } // groups: four vectors
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<4>(source + 16 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        pairs.template Run<Stores>(source + 16 * i, destination + 12 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t groups[16 * kLanes] = {};
        alignas(64) std::uint8_t rest[12 * kLanes];
        std::memcpy(groups, source + 16 * i, 16 * count);
        pairs.template Run<Ordinary>(groups, rest);
        const std::size_t columns = std::min(6 * count, width - 6 * i);
        PairsOfPixels(rest, lumaFirst).RepeatLast(columns, columns + columns % 2);
        std::memcpy(destination + 12 * i, rest, (columns + 1) / 2 * 4);
    }
};

template <bool lumaFirst>
void GroupsToPairsBy(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                     const Transfer& transfer) noexcept {
    const GroupsToPairsOp<lumaFirst> op{source, destination, pixels, PairsOfGroups<lumaFirst>()};
    // Twelve bytes reach an alignment that is a multiple of four bytes away, if only after several steps of it.
    std::size_t head = 0;
    const std::size_t vector = hn::Lanes(dbytes);
    while (transfer.stream && head < op.Step() &&
           (reinterpret_cast<std::uintptr_t>(destination) + 12 * head) % vector != 0) {
        ++head;
    }
    const std::size_t whole = pixels / 6;
    const std::size_t first = head < op.Step() && head < whole ? head : 0;
    if (first > 0) {
        op.Rest(0, first);
    }
    RunSteps(op, first, whole, destination, 12, transfer);
    if (pixels % 6 != 0) {
        op.Rest(whole, 1);
    }
}

void GroupsToPairs(const std::uint8_t* source, bool lumaFirst, std::uint8_t* destination, std::size_t pixels,
                   const Transfer& transfer) noexcept {
    const auto run = lumaFirst ? GroupsToPairsBy<true> : GroupsToPairsBy<false>;
    run(source, destination, pixels, transfer);
}

template <bool lumaFirst>
class GroupsOfPairs {
public:
    GroupsOfPairs()
        : mSpread(hn::SetTableIndices(du, kThreeToFour.data())), mLow(hn::LoadDup128(dbytes, kLow)),
          mHigh(hn::LoadDup128(dbytes, kHigh)), mLift(hn::BitCast(ds, hn::Set(du, 4U | 4096U << 16))) {}

    // Reads a vector, of which three quarters count.
    HWY_INLINE Bytes operator()(const std::uint8_t* pairs) const {
        const auto in = hn::BitCast(du, hn::LoadU(dbytes, pairs));
        const Bytes codes = hn::BitCast(dbytes, hn::TableLookupLanes(in, mSpread));
        const auto low = MulAddPairs(hn::BitCast(ds, hn::TableLookupBytesOr0(codes, mLow)), mLift);
        const auto high = hn::ShiftRight<2>(hn::BitCast(du, hn::TableLookupBytesOr0(codes, mHigh)));
        return hn::BitCast(dbytes, hn::Or(hn::BitCast(du, low), high));
    }

private:
    // The first two codes of each word as 16 bits each, the third as the upper byte of 32.
    static constexpr std::uint8_t no = 0x80; // leaves the byte 0
    static constexpr std::uint8_t Code(int i) { return static_cast<std::uint8_t>(lumaFirst ? i ^ 1 : i); }
    alignas(16) static constexpr std::uint8_t kLow[16] = {Code(0), no, Code(1), no, Code(3), no, Code(4),  no,
                                                          Code(6), no, Code(7), no, Code(9), no, Code(10), no};
    alignas(16) static constexpr std::uint8_t kHigh[16] = {no, no, no, Code(2), no, no, no, Code(5),
                                                           no, no, no, Code(8), no, no, no, Code(11)};
    decltype(hn::SetTableIndices(du, kThreeToFour.data())) mSpread;
    Bytes mLow, mHigh;
    Words mLift;
};

template <bool lumaFirst>
struct PairsToGroupsOp {
    const std::uint8_t* source;
    std::uint8_t* destination;
    std::size_t width;
    GroupsOfPairs<lumaFirst> groups;

    static HWY_INLINE std::size_t Step() { return kVectorGroups; }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<1>(source + 12 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(groups(source + 12 * i), destination + 16 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        const std::size_t columns = std::min(6 * count, width - 6 * i);
        std::memcpy(rest, source + 12 * i, (columns + 1) / 2 * 4);
        PairsOfPixels(rest, lumaFirst).RepeatLast(columns, 6 * count);
        hn::Store(groups(rest), dbytes, rest);
        std::memcpy(destination + 16 * i, rest, 16 * std::min(count, Step()));
    }
};

template <bool lumaFirst>
void PairsToGroupsBy(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                     const Transfer& transfer) noexcept {
    const PairsToGroupsOp<lumaFirst> op{source, destination, pixels, GroupsOfPairs<lumaFirst>()};
    const std::size_t groups = (pixels + 5) / 6;
    // Steps read a quarter of a vector beyond their pixels.
    const std::size_t whole = groups > 2 * op.Step() ? groups - op.Step() : 0;
    RunSteps(op, 0, whole, destination, 16, transfer);
    for (std::size_t i = whole, count = 0; i < groups; i += count) {
        count = std::min(op.Step(), groups - i);
        op.Rest(i, count);
    }
}

void PairsToGroups(const std::uint8_t* source, bool lumaFirst, std::uint8_t* destination, std::size_t pixels,
                   const Transfer& transfer) noexcept {
    const auto run = lumaFirst ? PairsToGroupsBy<true> : PairsToGroupsBy<false>;
    run(source, destination, pixels, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
