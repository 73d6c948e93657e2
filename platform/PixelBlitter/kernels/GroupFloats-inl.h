// 10-bit 4:2:2 in groups to and from floats V U Y A of the same matrix.
#if defined(PIXELBLITTER_GROUP_FLOATS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_FLOATS_INL_H
#undef PIXELBLITTER_GROUP_FLOATS_INL_H
#else
#define PIXELBLITTER_GROUP_FLOATS_INL_H
#endif

#include "GroupCodes-inl.h"
#include "PairSums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Studio range of 10 bits, ITU-R BT.601 and BT.709.
constexpr float kLumaZero10 = 64, kLumaSpan10 = 876, kChromaZero10 = 512, kChromaSpan10 = 896, kLargest10 = 1023;

using DHalfWords = hn::Rebind<std::int16_t, DF>;

// Luma codes and chroma, V and U, (code - 512) * 16, to floats.
class FloatsOfCodes {
public:
    FloatsOfCodes()
        : mTwice(hn::SetTableIndices(du, kTwice.data())), mScale(hn::LoadDup128(df, kScale)),
          mLumaZero(hn::Set(ds, std::int16_t{64})), mOpaque(hn::Set(ds, std::int16_t{1})) {}

    // 2 * kLanes pixels.
    template <class Stores>
    HWY_INLINE void Run(const std::uint16_t* luma, const std::int16_t* chroma, std::uint8_t* out) const {
        const Words here = hn::LoadU(ds, chroma);
        const Words next = hn::LoadU(ds, chroma + 2);
        const Dwords even = Spread(hn::Add(here, here));
        const Dwords odd = Spread(hn::Add(here, next));
        const Words codes = hn::Sub(hn::BitCast(ds, hn::LoadU(dw, luma)), mLumaZero);
        const Words y = hn::BitCast(ds, Spread(codes));
        Half<Stores>(hn::InterleaveLower(di, even, odd), hn::InterleaveLower(ds, y, mOpaque), out);
        Half<Stores>(hn::InterleaveUpper(di, even, odd), hn::InterleaveUpper(ds, y, mOpaque), out + 4 * kVectorBytes);
    }

private:
    static constexpr std::size_t kVectorBytes = 4 * kLanes;
    HWY_INLINE Dwords Spread(Words words) const {
        return hn::BitCast(di, hn::TableLookupLanes(hn::BitCast(du, words), mTwice));
    }
    template <class Stores>
    HWY_INLINE void Half(Dwords chroma, Words lumaAlpha, std::uint8_t* out) const {
        const auto dwords = hn::BitCast(di, lumaAlpha);
        Quarter<Stores>(hn::BitCast(ds, hn::InterleaveLower(di, chroma, dwords)), out);
        Quarter<Stores>(hn::BitCast(ds, hn::InterleaveUpper(di, chroma, dwords)), out + 2 * kVectorBytes);
    }
    template <class Stores>
    HWY_INLINE void Quarter(Words words, std::uint8_t* out) const {
        const DHalfWords half;
        const auto convert = [&](hn::Vec<DHalfWords> part) HWY_ATTR {
            return hn::BitCast(dbytes, hn::Mul(hn::ConvertTo(df, hn::PromoteTo(di, part)), mScale));
        };
        Stores::Store(convert(hn::LowerHalf(half, words)), out);
        Stores::Store(convert(hn::UpperHalf(half, words)), out + kVectorBytes);
    }

    // Two rounds of interleaving the halves of blocks then give the pixels in order.
    static constexpr LaneTable kTwice = TableOf([](std::size_t i) { return i % 4 * kVectorGroups + i / 4; });
    alignas(16) static constexpr float kScale[4] = {1 / (kChromaSpan10 * 32), 1 / (kChromaSpan10 * 32), 1 / kLumaSpan10,
                                                    1};
    decltype(hn::SetTableIndices(du, kTwice.data())) mTwice;
    VF mScale;
    Words mLumaZero, mOpaque;
};

struct GroupsToFloatsOp {
    const std::uint16_t* luma;
    const std::int16_t* chroma;
    std::uint8_t* destination;
    std::size_t width;
    const FloatsOfCodes& floats;

    static HWY_INLINE std::size_t Step() { return kLanes; } // pairs
    HWY_INLINE void Fetch(std::size_t /*i*/, std::ptrdiff_t /*ahead*/) const {}
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        floats.Run<Stores>(luma + 2 * i, chroma + 2 * i, destination + 32 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[32 * kLanes];
        floats.Run<Ordinary>(luma + 2 * i, chroma + 2 * i, rest);
        std::memcpy(destination + 32 * i, rest, 16 * std::min(2 * count, width - 2 * i));
    }
};

void GroupsToFloats(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                    const Transfer& transfer) noexcept {
    const FloatsOfCodes floats;
    ForStrips(source, true, destination, 32, pixels, transfer,
              [&](std::size_t left, const std::uint16_t* luma, const std::int16_t* chroma, std::size_t right) HWY_ATTR {
                  std::uint8_t* const to = destination + 16 * left;
                  const std::size_t pairs = (right - left + 1) / 2;
                  const GroupsToFloatsOp op{luma, chroma, to, right - left, floats};
                  RunSteps(op, 0, (right - left) / 2, to, 32, {transfer.stream, 0});
                  if ((right - left) % 2 != 0) {
                      op.Rest(pairs - 1, 1);
                  }
              });
}

// Codes as JoinGroups wants them.
class CodesOfFloats {
public:
    CodesOfFloats()
        : mEven(kEven), mOdd(kOdd), mScale(hn::LoadDup128(df, kScale)), mOffset(hn::LoadDup128(df, kOffset)),
          mLower(hn::LoadDup128(dbytes, kLower)), mUpper(hn::LoadDup128(dbytes, kUpper)),
          mLift(hn::BitCast(ds, hn::Set(du, 1U | 1024U << 16))) {}

    // Of kLanes pixels. The one before them is read, too.
    HWY_INLINE hn::Vec<DU> operator()(const std::uint8_t* pixels) const {
        const Bytes a = hn::BitCast(dbytes, Vector(pixels));
        const Bytes b = hn::BitCast(dbytes, Vector(pixels + 8 * kLanes));
        const Bytes words = hn::Or(hn::TableLookupBytesOr0(a, mLower), hn::TableLookupBytesOr0(b, mUpper));
        const Words inOrder = hn::BitCast(ds, Pieces::Gather(words));
        return hn::BitCast(du, MulAddPairs(inOrder, mLift));
    }

private:
    // (V, U, luma, luma) of pairs, a block each.
    HWY_INLINE hn::Vec<DU> Vector(const std::uint8_t* pixels) const {
        constexpr std::size_t kBytes = 4 * kLanes;
        const auto load = [&](const std::uint8_t* at) HWY_ATTR { return hn::BitCast(du, hn::LoadU(dbytes, at)); };
        const auto first = load(pixels);
        const auto second = load(pixels + kBytes);
        const VF even = hn::BitCast(df, mEven(first, second));
        const VF odd = hn::BitCast(df, mOdd(first, second));
        const VF before = hn::BitCast(df, mEven(load(pixels - 16), load(pixels + kBytes - 16)));
        const VF chroma = hn::Add(hn::Add(before, odd), hn::Add(even, even));
        const VF luma = hn::OddEven(hn::Shuffle2301(odd), even);
        const hn::Repartition<double, DF> d64;
        const VF sums = hn::BitCast(df, hn::OddEven(hn::BitCast(d64, luma), hn::BitCast(d64, chroma)));
        const VF codes = hn::Add(hn::Mul(sums, mScale), mOffset);
        // Max before Min: NaN takes the second operand of Max, so it ends as code 0.
        const VF clamped = hn::Min(hn::Max(codes, hn::Zero(df)), hn::Set(df, kLargest10));
        return hn::BitCast(du, hn::Add(clamped, hn::Set(df, kMagic)));
    }

    // Blocks of even and of odd pixels.
    static constexpr LaneTable kEven = TableOf([](std::size_t i) { return i / 4 * 8 + i % 4; });
    static constexpr LaneTable kOdd = TableOf([](std::size_t i) { return i / 4 * 8 + 4 + i % 4; });
    // Adding 2^23 rounds halves to even; the smallest step of a code lifts them above.
    static constexpr float kLift = 0x1p-14F;
    alignas(16) static constexpr float kScale[4] = {kChromaSpan10 / 4, kChromaSpan10 / 4, kLumaSpan10, kLumaSpan10};
    alignas(16) static constexpr float kOffset[4] = {kChromaZero10 + kLift, kChromaZero10 + kLift, kLumaZero10 + kLift,
                                                     kLumaZero10 + kLift};
    // Words U Y V Y of a block's codes to its lower and its upper half.
    static constexpr std::uint8_t no = 0x80; // leaves the byte 0
    alignas(16) static constexpr std::uint8_t kLower[16] = {4, 5, 8, 9, 0, 1, 12, 13, no, no, no, no, no, no, no, no};
    alignas(16) static constexpr std::uint8_t kUpper[16] = {no, no, no, no, no, no, no, no, 4, 5, 8, 9, 0, 1, 12, 13};
    TwoTables mEven, mOdd;
    VF mScale, mOffset;
    Bytes mLower, mUpper;
    Words mLift;
};

void FloatsToGroups(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                    const Transfer& transfer) noexcept {
    const CodesOfFloats codesOf;
    JoinPixels<16>(source, destination, pixels, transfer, codesOf);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
