// Mixes of two rows of one format, the complement of alpha, and products with it.
#if defined(PIXELBLITTER_MIX_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_MIX_KERNELS_INL_H
#undef PIXELBLITTER_MIX_KERNELS_INL_H
#else
#define PIXELBLITTER_MIX_KERNELS_INL_H
#endif

#include "MixKernels.h"
#include "PairSums-inl.h"
#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// The op of RunSteps for two rows that give a third, one vector at once.
template <class Mix>
struct MixOp {
    const std::uint8_t* a;
    const std::uint8_t* b;
    std::uint8_t* destination;
    const Mix& mix;

    static HWY_INLINE std::size_t Step() { return hn::Lanes(dbytes) / Mix::kUnit; }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<1>(a + Mix::kUnit * i, ahead);
        FetchVectors<1>(b + Mix::kUnit * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        const std::size_t at = Mix::kUnit * i;
        Stores::Store(mix(hn::LoadU(dbytes, a + at), hn::LoadU(dbytes, b + at)), destination + at);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        const std::size_t at = Mix::kUnit * i, bytes = Mix::kUnit * count;
        alignas(64) std::uint8_t restOfA[4 * kMaxLanes] = {}, restOfB[4 * kMaxLanes] = {};
        std::memcpy(restOfA, a + at, bytes);
        std::memcpy(restOfB, b + at, bytes);
        hn::Store(mix(hn::Load(dbytes, restOfA), hn::Load(dbytes, restOfB)), dbytes, restOfA);
        std::memcpy(destination + at, restOfA, bytes);
    }
};

template <class Mix>
void MixRows(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::size_t bytes,
             const MixShare& share, const Transfer& transfer) noexcept {
    const Mix mix(share);
    RunSteps(MixOp<Mix>{a, b, destination, mix}, 0, bytes / Mix::kUnit, destination, Mix::kUnit, transfer);
}

struct AverageBytes {
    static constexpr std::size_t kUnit = 1;
    explicit AverageBytes(const MixShare& /*a half*/) {}
    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const { return hn::AverageRound(a, b); }
};

struct AverageWords {
    static constexpr std::size_t kUnit = 2;
    explicit AverageWords(const MixShare& /*a half*/) {}
    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        return hn::BitCast(dbytes, hn::AverageRound(hn::BitCast(dw, a), hn::BitCast(dw, b)));
    }
};

// a | b is what both have plus what one has; half of the latter too much. No code borrows from its neighbour.
struct AverageGroups {
    static constexpr std::size_t kUnit = 4;
    explicit AverageGroups(const MixShare& /*a half*/) {}
    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        constexpr std::uint32_t kCodes = 0x3FFFFFFF;
        constexpr std::uint32_t kHalves = 0x1FF | 0x1FF << 10 | 0x1FF << 20;
        const auto half = hn::And(hn::ShiftRight<1>(hn::BitCast(du, hn::Xor(a, b))), hn::Set(du, kHalves));
        const auto either = hn::And(hn::BitCast(du, hn::Or(a, b)), hn::Set(du, kCodes));
        return hn::BitCast(dbytes, hn::Sub(either, half));
    }
};

// Codes have 7 bits behind the point, even and odd ones apart. Together with the error of the share that leaves every
// code within 0.508 of the exact mix, and exact where the share is.
class MixBytes {
public:
    static constexpr std::size_t kUnit = 1;
    explicit MixBytes(const MixShare& share) : mShare(hn::Set(ds, share.ofBytes)) {}

    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        const auto even = Sum(hn::ShiftLeft<7>(hn::BitCast(dw, a)), hn::ShiftLeft<7>(hn::BitCast(dw, b)));
        const auto odd = Sum(hn::ShiftRight<1>(hn::BitCast(dw, a)), hn::ShiftRight<1>(hn::BitCast(dw, b)));
        const auto upper = hn::Set(dw, std::uint16_t{0xFF00});
        return hn::BitCast(dbytes, hn::OrAnd(hn::ShiftRight<7>(even), hn::ShiftLeft<1>(odd), upper));
    }

private:
    // The half that rounds stands below the codes of both, where their difference loses it.
    HWY_INLINE hn::Vec<DW> Sum(hn::Vec<DW> a, hn::Vec<DW> b) const {
        const auto code = hn::Set(dw, std::uint16_t{0xFF << 7});
        const auto half = hn::Set(dw, std::uint16_t{1 << 6});
        const Words from = hn::BitCast(ds, hn::OrAnd(half, a, code));
        const Words to = hn::BitCast(ds, hn::OrAnd(half, b, code));
        return hn::BitCast(dw, hn::Add(from, hn::MulFixedPoint15(hn::Sub(to, from), mShare)));
    }
    Words mShare;
};

// A product and a sum of floats, the latter rounded to an integer by standing above 2^23.
class MixWords {
public:
    static constexpr std::size_t kUnit = 2;
    explicit MixWords(const MixShare& share) : mShare(hn::Set(df, share.value)) {}

    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        const auto low = hn::Set(du, 0xFFFFU);
        const auto x = hn::BitCast(du, a), y = hn::BitCast(du, b);
        const auto even = Sum(ToMagic(x, low), ToMagic(y, low));
        const auto odd = Sum(ToMagic(hn::ShiftRight<16>(x)), ToMagic(hn::ShiftRight<16>(y)));
        return hn::BitCast(dbytes, hn::OrAnd(hn::ShiftLeft<16>(odd), even, low));
    }

private:
    HWY_INLINE hn::Vec<DU> Sum(hn::Vec<DU> a, hn::Vec<DU> b) const {
        const VF from = hn::BitCast(df, a);
        const VF difference = hn::Mul(hn::Sub(hn::BitCast(df, b), from), mShare);
        return hn::BitCast(du, hn::Add(from, difference));
    }
    VF mShare;
};

class MixGroups {
public:
    static constexpr std::size_t kUnit = 4;
    explicit MixGroups(const MixShare& share)
        : mShare(hn::And(hn::Set(ds, share.ofGroups), hn::BitCast(ds, hn::Set(di, 0xFFFF)))) {}

    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        const auto x = hn::BitCast(di, a), y = hn::BitCast(di, b);
        const auto code0 = Sum(x, y);
        const auto code1 = Sum(hn::ShiftRight<10>(x), hn::ShiftRight<10>(y));
        const auto code2 = Sum(hn::ShiftRight<20>(x), hn::ShiftRight<20>(y));
        return hn::BitCast(dbytes, hn::Or(code0, hn::Or(hn::ShiftLeft<10>(code1), hn::ShiftLeft<20>(code2))));
    }

private:
    HWY_INLINE Dwords Sum(Dwords a, Dwords b) const {
        const auto code = hn::Set(di, 0x3FF);
        const Dwords from = hn::And(a, code);
        const Dwords difference = hn::Sub(hn::And(b, code), from); // the lower word is all that counts
        const Dwords whole = hn::Add(hn::ShiftLeft<16>(from), hn::Set(di, 1 << 15));
        return hn::ShiftRight<16>(hn::Sub(whole, MulAddPairs(hn::BitCast(ds, difference), mShare)));
    }
    Words mShare; // in lower words, 0 in upper ones
};

class MixFloats {
public:
    static constexpr std::size_t kUnit = 4;
    explicit MixFloats(const MixShare& share) : mOfA(hn::Set(df, 1 - share.value)), mOfB(hn::Set(df, share.value)) {}

    HWY_INLINE Bytes operator()(Bytes a, Bytes b) const {
        const VF sum = hn::Add(hn::Mul(hn::BitCast(df, a), mOfA), hn::Mul(hn::BitCast(df, b), mOfB));
        return hn::BitCast(dbytes, sum);
    }

private:
    VF mOfA, mOfB;
};

struct InvertBytes {
    static constexpr std::size_t kPixelBytes = 4;
    static HWY_INLINE Bytes Alpha(Bytes pixels, Bytes /*value*/) { return hn::Not(pixels); }
};

struct InvertWords {
    static constexpr std::size_t kPixelBytes = 8;
    static HWY_INLINE Bytes Alpha(Bytes pixels, Bytes /*value*/) {
        const auto white = hn::Set(dw, std::uint16_t{32768});
        return hn::BitCast(dbytes, hn::SaturatedSub(white, hn::BitCast(dw, pixels)));
    }
};

struct InvertFloats {
    static constexpr std::size_t kPixelBytes = 16;
    static HWY_INLINE Bytes Alpha(Bytes pixels, Bytes /*value*/) {
        return hn::BitCast(dbytes, hn::Sub(hn::Set(df, 1.0F), hn::BitCast(df, pixels)));
    }
};

template <std::size_t pixelBytes>
struct SetTo {
    static constexpr std::size_t kPixelBytes = pixelBytes;
    static HWY_INLINE Bytes Alpha(Bytes /*pixels*/, Bytes value) { return value; }
};

struct MultiplyWords {
    static constexpr std::size_t kPixelBytes = 8;
    static HWY_INLINE Bytes Product(Bytes pixels, Bytes alphas) {
        const auto code = hn::BitCast(dw, pixels), alpha = hn::BitCast(dw, alphas);
        const auto white = hn::Set(dw, std::uint16_t{32768});
        // The 32 bits of the product, times 2: its upper word, below which the next two bits give 0, 1, or 2.
        const auto upper = hn::Min(hn::MulHigh(code, alpha), hn::ShiftRight<1>(white));
        const auto rounded = hn::AverageRound(hn::ShiftRight<14>(hn::Mul(code, alpha)), hn::Zero(dw));
        return hn::BitCast(dbytes, hn::Min(hn::Add(hn::Add(upper, upper), rounded), white));
    }
};

struct MultiplyFloats {
    static constexpr std::size_t kPixelBytes = 16;
    static HWY_INLINE Bytes Product(Bytes pixels, Bytes alphas) {
        return hn::BitCast(dbytes, hn::Mul(hn::BitCast(df, pixels), hn::BitCast(df, alphas)));
    }
};

template <class Replacement>
void ReplaceAlpha(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes, const AlphaBytes& alpha,
                  const Transfer& transfer) noexcept {
    constexpr std::size_t kPixelBytes = Replacement::kPixelBytes;
    const auto mask = hn::LoadDup128(dbytes, alpha.mask);
    const auto value = hn::LoadDup128(dbytes, alpha.value);
    RunPixels<kPixelBytes>(source, destination, bytes / kPixelBytes, transfer, [=](Bytes pixels) HWY_ATTR {
        return hn::OrAnd(hn::AndNot(mask, pixels), Replacement::Alpha(pixels, value), mask);
    });
}

template <class Elements>
void MultiplyByAlpha(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes, const AlphaBytes& alpha,
                     const Transfer& transfer) noexcept {
    constexpr std::size_t kPixelBytes = Elements::kPixelBytes;
    const auto mask = hn::LoadDup128(dbytes, alpha.mask);
    const auto value = hn::LoadDup128(dbytes, alpha.value);
    const auto spread = hn::LoadDup128(dbytes, alpha.spread);
    RunPixels<kPixelBytes>(source, destination, bytes / kPixelBytes, transfer, [=](Bytes pixels) HWY_ATTR {
        const Bytes product = Elements::Product(pixels, hn::TableLookupBytes(pixels, spread));
        return hn::Or(hn::AndNot(mask, product), value);
    });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
