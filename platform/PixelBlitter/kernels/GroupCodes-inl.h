// 10-bit 4:2:2 in groups to and from codes of 16 bits: 6 pixels in four little-endian words of three 10-bit codes,
// Cb0 Y0 Cr0 | Y1 Cb1 Y2 | Cr1 Y3 Cb2 | Y4 Cr2 Y5, lowest bits first.
#if defined(PIXELBLITTER_GROUP_CODES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_CODES_INL_H
#undef PIXELBLITTER_GROUP_CODES_INL_H
#else
#define PIXELBLITTER_GROUP_CODES_INL_H
#endif

#include "HalvedPixels-inl.h"
#include "RowStores-inl.h"
#include "TwoTables-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Groups in a vector.
constexpr std::size_t kVectorGroups = kLanes / 4;

// Of every block of four lanes the first three, one after the other; and whatever is left.
constexpr LaneTable kThreeOfFour =
    TableOf([](std::size_t i) { return i < 3 * kVectorGroups ? i / 3 * 4 + i % 3 : (i - 3 * kVectorGroups) * 4 + 3; });
// Three lanes to every block.
constexpr LaneTable kThreeToFour = TableOf([](std::size_t i) { return i / 4 * 3 + std::min<std::size_t>(i % 4, 2); });

// Pixels in a vector of groups, and four of six of them, from the first kLanes and the last kLanes.
constexpr std::size_t kVectorPixels = 6 * kVectorGroups;
template <std::size_t... ofSix>
constexpr LaneTable kFourOfSix = TableOf([](std::size_t i) {
    constexpr std::size_t kOfSix[] = {ofSix...};
    const std::size_t pixel = i / 4 * 6 + kOfSix[i % 4];
    return pixel < kLanes ? pixel : pixel + 2 * kLanes - kVectorPixels;
});

// A vector of groups to 16-bit codes, three lanes of 32 bits to a group: luma as columns 2k and 2k + 1, chroma as both
// samples of pair k.
class SplitGroups {
public:
    explicit SplitGroups(bool vFirst = false)
        : mLumaBytes(hn::LoadDup128(dbytes, kLumaBytes)),
          mChromaBytes(hn::LoadDup128(dbytes, vFirst ? kChromaBytesVU : kChromaBytesUV)),
          mLumaLift(hn::LoadDup128(dw, kLumaLift)),
          mChromaLift(hn::LoadDup128(dw, vFirst ? kChromaLiftVU : kChromaLiftUV)),
          mCompact(hn::SetTableIndices(du, kThreeOfFour.data())) {}

    HWY_INLINE hn::Vec<DW> Luma(Bytes groups) const {
        return Compact(hn::ShiftRight<6>(Lifted(groups, mLumaBytes, mLumaLift)));
    }
    HWY_INLINE hn::Vec<DW> Chroma(Bytes groups) const {
        return Compact(hn::ShiftRight<6>(Lifted(groups, mChromaBytes, mChromaLift)));
    }
    // (code - 512) * 16.
    HWY_INLINE hn::Vec<DW> SignedChroma(Bytes groups) const {
        const auto codes = hn::And(Lifted(groups, mChromaBytes, mChromaLift), hn::Set(dw, std::uint16_t{0xFFC0}));
        const auto centred = hn::BitCast(DSigned(), hn::Xor(codes, hn::Set(dw, std::uint16_t{0x8000})));
        return Compact(hn::BitCast(dw, hn::ShiftRight<2>(centred)));
    }

private:
    using DSigned = hn::RebindToSigned<DW>;
    // Two bytes hold each code: a product moves it to the top of 16 bits.
    static HWY_INLINE hn::Vec<DW> Lifted(Bytes groups, Bytes bytes, hn::Vec<DW> lift) {
        return hn::Mul(hn::BitCast(dw, hn::TableLookupBytes(groups, bytes)), lift);
    }
    HWY_INLINE hn::Vec<DW> Compact(hn::Vec<DW> words) const {
        return hn::BitCast(dw, hn::TableLookupLanes(hn::BitCast(du, words), mCompact));
    }
    alignas(16) static constexpr std::uint8_t kLumaBytes[16] = {1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kLumaLift[8] = {16, 64, 4, 16, 64, 4, 0, 0};
    alignas(16) static constexpr std::uint8_t kChromaBytesUV[16] = {0, 1, 2, 3, 5, 6, 8, 9, 10, 11, 13, 14, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kChromaLiftUV[8] = {64, 4, 16, 64, 4, 16, 0, 0};
    alignas(16) static constexpr std::uint8_t kChromaBytesVU[16] = {2, 3, 0, 1, 8, 9, 5, 6, 13, 14, 10, 11, 0, 0, 0, 0};
    alignas(16) static constexpr std::uint16_t kChromaLiftVU[8] = {4, 64, 64, 16, 16, 4, 0, 0};
    Bytes mLumaBytes, mChromaBytes;
    hn::Vec<DW> mLumaLift, mChromaLift;
    decltype(hn::SetTableIndices(du, kThreeOfFour.data())) mCompact;
};

// Pixels of a strip, which starts at a group in every packed layout. Long enough to hide what a strip costs, short
// enough to leave most of the first-level cache to what is fetched.
constexpr std::size_t kStripPixels = 480;
// More pixels, so that strips end where the destination is aligned; the groups that they begin and end in; a vector.
constexpr std::size_t kStripSlack = 2 * kMaxLanes + 12 + 2 * kMaxLanes;

// Calls take(vector of groups, index of its first one). What is streamed is fetched ahead.
template <class Take>
HWY_INLINE void ForGroups(const std::uint8_t* groups, std::size_t count, const Transfer& transfer, const Take& take) {
    std::size_t g = 0;
    for (; g + kVectorGroups <= count; g += kVectorGroups) {
        if (transfer.stream) {
            FetchVectors<1>(groups + 16 * g, transfer.ahead);
        }
        take(hn::LoadU(dbytes, groups + 16 * g), g);
    }
    if (g < count) {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        std::memcpy(rest, groups + 16 * g, 16 * (count - g));
        take(hn::Load(dbytes, rest), g);
    }
}

// Luma codes and chroma, (code - 512) * 16, of some groups.
struct SplitStrip {
    alignas(64) std::uint16_t luma[kStripPixels + kStripSlack];
    alignas(64) std::int16_t chroma[kStripPixels + kStripSlack];

    HWY_INLINE void Read(const SplitGroups& split, const std::uint8_t* groups, std::size_t count,
                         const Transfer& transfer) {
        ForGroups(groups, count, transfer, [&](Bytes vector, std::size_t g) HWY_ATTR {
            hn::StoreU(split.Luma(vector), dw, luma + 6 * g);
            hn::StoreU(split.SignedChroma(vector), dw, reinterpret_cast<std::uint16_t*>(chroma + 6 * g));
        });
    }
};

// Calls run(first, split luma and chroma of pixel `first`, pixel behind the last) for strips of a row of groups. The
// chroma of one more pair follows; the row's end repeats. All strips but the first begin where a destination of so many
// bytes a pair is aligned, if it can be.
template <class Run>
HWY_INLINE void ForStrips(const std::uint8_t* source, bool vFirst, const std::uint8_t* destination,
                          std::size_t pairBytes, std::size_t pixels, const Transfer& transfer, const Run& run) {
    const SplitGroups split(vFirst);
    const std::size_t head = transfer.stream ? UnitsToAlignment(destination, pairBytes) : 0;
    const std::size_t groups = (pixels + 5) / 6;
    SplitStrip strip;
    std::size_t right = kStripPixels + (head <= kMaxLanes ? 2 * head : 0);
    for (std::size_t left = 0; left < pixels; left = right, right += kStripPixels) {
        right = std::min(right, pixels);
        const std::size_t first = left / 6;
        strip.Read(split, source + 16 * first, std::min(groups, right / 6 + 1) - first, transfer);
        if (right == pixels) {
            std::int16_t* const behind = strip.chroma + (pixels + 1) / 2 * 2 - 6 * first;
            std::memcpy(behind, behind - 2, 2 * sizeof(std::int16_t));
        }
        run(left, strip.luma + left - 6 * first, strip.chroma + left - 6 * first, right);
    }
}

// Groups from codes of 32 bits for each pixel: luma << 10 | chroma, U of even columns, V of odd ones.
class JoinGroups {
public:
    JoinGroups()
        : mLower(kFourOfSix<0, 1, 3, 4>), mUpper(kFourOfSix<1, 2, 4, 5>), mDown(hn::LoadDup128(du, kDown)),
          mUp(hn::LoadDup128(du, kUp)) {}

    // Of the six pixels' 20 bits each, word 0 holds the first and 10 bits of the second, word 1 the others of the
    // second and the third; words 2 and 3 likewise.
    HWY_INLINE Bytes operator()(const std::uint32_t* codes) const {
        const auto a = hn::LoadU(du, codes);
        const auto b = hn::LoadU(du, codes + kVectorPixels - kLanes);
        const auto low = hn::Shr(mLower(a, b), mDown);
        const auto high = hn::Shl(mUpper(a, b), mUp);
        return hn::BitCast(dbytes, hn::And(hn::Or(low, high), hn::Set(du, 0x3FFFFFFFU)));
    }

private:
    alignas(16) static constexpr std::uint32_t kDown[4] = {0, 10, 0, 10};
    alignas(16) static constexpr std::uint32_t kUp[4] = {20, 10, 20, 10};
    TwoTables mLower, mUpper;
    hn::Vec<DU> mDown, mUp;
};

struct JoinGroupsOp {
    const std::uint32_t* codes;
    std::uint8_t* destination;
    const JoinGroups& join;

    static HWY_INLINE std::size_t Step() { return kVectorGroups; }
    HWY_INLINE void Fetch(std::size_t /*i*/, std::ptrdiff_t /*ahead*/) const {}
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(join(codes + 6 * i), destination + 16 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint32_t rest[6 * kVectorGroups] = {};
        alignas(64) std::uint8_t bytes[4 * kMaxLanes];
        const std::size_t groups = std::min(count, Step());
        std::memcpy(rest, codes + 6 * i, 24 * groups);
        hn::Store(join(rest), dbytes, bytes);
        std::memcpy(destination + 16 * i, bytes, 16 * groups);
    }
};

struct JoinedStrip {
    alignas(64) std::uint32_t codes[kStripPixels + 6];

    // What the last group holds beyond the row's last pixel, which is so many pixels into the strip, repeats it.
    HWY_INLINE void RepeatLast(std::size_t pixels) {
        const std::uint32_t* const pair = codes + (pixels - 1) / 2 * 2;
        const std::uint32_t luma = codes[pixels - 1] & ~0x3FFU;
        const std::uint32_t chroma[2] = {pair[0] & 0x3FFU, pair[1] & 0x3FFU};
        for (std::size_t x = pixels; x % 6 != 0; ++x) {
            codes[x] = luma | chroma[x % 2];
        }
    }
};

// Calls fill(first, pixel behind the last, codes) for strips of a row, and makes groups of the codes. An odd last pixel
// comes with the V of its pair.
template <class Fill>
HWY_INLINE void JoinStrips(std::uint8_t* destination, std::size_t pixels, const Transfer& transfer, const Fill& fill) {
    const JoinGroups join;
    JoinedStrip strip;
    for (std::size_t left = 0; left < pixels; left += kStripPixels) {
        const std::size_t right = std::min(pixels, left + kStripPixels);
        fill(left, right, strip.codes);
        strip.RepeatLast(right - left);
        std::uint8_t* const at = destination + left / 6 * 16;
        RunSteps(JoinGroupsOp{strip.codes, at, join}, 0, (right - left + 5) / 6, at, 16, {transfer.stream, 0});
    }
}

// Makes groups of a row of pixels of so many bytes. codesOf(pixels) gives a vector of what JoinGroups wants, of kLanes
// pixels, and may look at the pixel before them.
template <std::size_t pixelBytes, class CodesOf>
HWY_INLINE void JoinPixels(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                           const Transfer& transfer, const CodesOf& codesOf) {
    JoinStrips(destination, pixels, transfer, [&](std::size_t left, std::size_t right, std::uint32_t* codes) HWY_ATTR {
        // At the ends of the row, where pixels are missing. A pair whose second one is counts as whole.
        const auto rest = [&](std::size_t x, std::size_t count) HWY_ATTR {
            const PaddedPixels<kMaxLanes, pixelBytes> padded(source, pixels, x, count);
            alignas(64) std::uint32_t vector[kMaxLanes];
            hn::Store(codesOf(padded.get()), du, vector);
            std::memcpy(codes + x - left, vector, 4 * count);
        };
        std::size_t x = left;
        if (x == 0) {
            x = std::min(kLanes, right + right % 2);
            rest(0, x);
        }
        for (; x + kLanes <= right; x += kLanes) {
            if (transfer.stream) {
                FetchVectors<pixelBytes / 4>(source + pixelBytes * x, transfer.ahead);
            }
            hn::StoreU(codesOf(source + pixelBytes * x), du, codes + x - left);
        }
        if (x < right) {
            rest(x, right + right % 2 - x);
        }
    });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
