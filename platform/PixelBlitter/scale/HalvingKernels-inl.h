// Half the width and half the height in one step.
#if defined(PIXELBLITTER_HALVING_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_HALVING_KERNELS_INL_H
#undef PIXELBLITTER_HALVING_KERNELS_INL_H
#else
#define PIXELBLITTER_HALVING_KERNELS_INL_H
#endif

#include "scale/SeparableKernels-inl.h"

#include <functional>
#include <numeric>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

constexpr DQ dq;

HWY_INLINE Bytes SetPixels(std::uint32_t bits) {
    return hn::BitCast(dbytes, hn::Set(du, bits));
}

std::uint32_t BitsOfAll(Bytes pixels) noexcept {
    alignas(64) std::uint32_t lanes[kMaxLanes];
    hn::Store(hn::BitCast(du, pixels), du, lanes);
    return std::accumulate(lanes, lanes + LaneCount(), ~0U, std::bit_and<>());
}

bool HasAllBits(const std::uint8_t* row, std::size_t pixels, std::uint32_t bits) noexcept {
    const std::size_t lanes = LaneCount();
    const auto wanted = hn::Set(du, bits);
    constexpr std::size_t kVectors = 16; // between two looks at the result
    std::size_t i = 0;
    while (i + lanes <= pixels) {
        auto all = wanted;
        const std::size_t end = std::min(pixels, i + kVectors * lanes);
        for (; i + lanes <= end; i += lanes) {
            all = hn::And(all, LoadPixels(row + 4 * i));
        }
        if (!hn::AllTrue(du, hn::Eq(all, wanted))) {
            return false;
        }
    }
    for (; i < pixels; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, row + 4 * i, sizeof pixel);
        if ((pixel & bits) != bits) {
            return false;
        }
    }
    return true;
}

// The op of RunSteps that makes a vector of pixels out of twice as many of two rows. pixels(upper, lower) takes the
// addresses of what it reads.
template <class Pixels>
struct HalvingOp {
    const std::uint8_t* const* rows;
    std::uint8_t* destination;
    Pixels& pixels;

    static HWY_INLINE std::size_t Step() { return LaneCount(); }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<2>(rows[0] + 8 * i, ahead);
        FetchVectors<2>(rows[1] + 8 * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(pixels(rows[0] + 8 * i, rows[1] + 8 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[2][8 * kMaxLanes];
        for (int row = 0; row < 2; ++row) {
            std::memset(rest[row], 0xFF, sizeof rest[row]);
            std::memcpy(rest[row], rows[row] + 8 * i, 8 * count);
        }
        hn::Store(pixels(rest[0], rest[1]), dbytes, rest[0]);
        std::memcpy(destination + 4 * i, rest[0], 4 * count);
    }
};

class BoxPixels {
public:
    explicit BoxPixels(const PixelOrder& order)
        : mPairs(hn::LoadDup128(dbytes, order.pairs)), mOpaque(SetPixels(order.opaque)), mAll(SetPixels(~0U)) {}

    HWY_INLINE Bytes operator()(const std::uint8_t* upper, const std::uint8_t* lower) {
        const std::size_t half = hn::Lanes(dbytes);
        const Words first = Average(upper, lower);
        const Words second = Average(upper + half, lower + half);
        return hn::Or(Pieces::Gather(PackToBytes(first, second)), mOpaque);
    }
    std::uint32_t BitsOfAllPixels() const { return BitsOfAll(mAll); }

private:
    HWY_INLINE Words Average(const std::uint8_t* upper, const std::uint8_t* lower) {
        const Bytes a = hn::LoadU(dbytes, upper);
        const Bytes b = hn::LoadU(dbytes, lower);
        mAll = hn::And(mAll, hn::And(a, b));
        const Words sum =
            hn::Add(AddBytePairs(hn::TableLookupBytes(a, mPairs)), AddBytePairs(hn::TableLookupBytes(b, mPairs)));
        return hn::ShiftRight<2>(hn::Add(sum, hn::Set(ds, std::int16_t{2})));
    }

    Bytes mPairs, mOpaque, mAll;
};

std::uint32_t HalveByBox(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                         const PixelOrder& order, const Transfer& transfer) noexcept {
    BoxPixels box(order);
    RunSteps(HalvingOp<BoxPixels>{rows, destination, box}, 0, pixels, destination, 4, transfer);
    return box.BitsOfAllPixels();
}

// Colours are sums of colour * alpha, below 2^18, divided by the sum of the alphas; where that is 0, the code of 0.
class StraightBoxPixels {
public:
    explicit StraightBoxPixels(const PixelOrder& order)
        : mPairs(hn::LoadDup128(dbytes, order.straightPairs)), mAlphas(hn::LoadDup128(dbytes, order.alphaPairs)),
          mOnes(hn::BitCast(dbytes, hn::Set(dq, std::uint64_t{0x0101} << 48))), mZero(hn::LoadDup128(df, order.zero)),
          mOrder(hn::LoadDup128(dbytes, order.fromAlphaLast)) {}

    HWY_INLINE Bytes operator()(const std::uint8_t* upper, const std::uint8_t* lower) const {
        const std::size_t half = hn::Lanes(dbytes);
        Dwords sum0, sum1, sum2, sum3;
        Products(upper, lower, sum0, sum1);
        Products(upper + half, lower + half, sum2, sum3);
        const auto outer = [](Dwords a, Dwords b) HWY_ATTR { return hn::BitCast(dq, hn::InterleaveUpper(di, a, b)); };
        const VF alphas =
            hn::ConvertTo(df, hn::BitCast(di, hn::InterleaveUpper(dq, outer(sum0, sum1), outer(sum2, sum3))));
        // 0 where alpha is 0.
        const VF one = hn::Set(df, 1.0F);
        const VF factors = hn::IfThenZeroElse(hn::Lt(alphas, one), hn::Div(one, hn::Max(alphas, one)));
        const Words first =
            PackToWords(Quotient(sum0, hn::Broadcast<0>(factors)), Quotient(sum1, hn::Broadcast<1>(factors)));
        const Words second =
            PackToWords(Quotient(sum2, hn::Broadcast<2>(factors)), Quotient(sum3, hn::Broadcast<3>(factors)));
        return hn::TableLookupBytes(Pieces::Gather(PackToBytes(first, second)), mOrder);
    }

private:
    // Of the first and of the second pixel in each block of 16 bytes: three sums of products, and of alphas.
    HWY_INLINE void Products(const std::uint8_t* upper, const std::uint8_t* lower, Dwords& first,
                             Dwords& second) const {
        const Bytes a = hn::LoadU(dbytes, upper);
        const Bytes b = hn::LoadU(dbytes, lower);
        const auto low = [](Bytes v)
                             HWY_ATTR { return hn::BitCast(ds, hn::InterleaveLower(dbytes, v, hn::Zero(dbytes))); };
        const auto high = [](Bytes v)
                              HWY_ATTR { return hn::BitCast(ds, hn::InterleaveUpper(dbytes, v, hn::Zero(dbytes))); };
        const Bytes colourA = hn::TableLookupBytes(a, mPairs), colourB = hn::TableLookupBytes(b, mPairs);
        const Bytes alphaA = Alphas(a), alphaB = Alphas(b);
        first = hn::Add(MulAddPairs(low(colourA), low(alphaA)), MulAddPairs(low(colourB), low(alphaB)));
        second = hn::Add(MulAddPairs(high(colourA), high(alphaA)), MulAddPairs(high(colourB), high(alphaB)));
    }
    HWY_INLINE Bytes Alphas(Bytes v) const { return hn::Or(hn::TableLookupBytesOr0(v, mAlphas), mOnes); }

    // Halves go up: quotients are at least 1 / 2040 away from a half that they do not reach, and the factor is off by
    // less than that.
    HWY_INLINE Dwords Quotient(Dwords sum, VF factor) const {
        const auto isAlpha = hn::Gt(hn::LoadDup128(df, kAlphaLane), hn::Zero(df));
        const VF zero = hn::IfThenElseZero(hn::Eq(factor, hn::Zero(df)), mZero);
        const VF scale = hn::IfThenElse(isAlpha, hn::Set(df, 0.25F), factor);
        const VF quotient = hn::Add(hn::Mul(hn::ConvertTo(df, sum), scale), zero);
        return hn::ConvertTo(di, hn::Add(quotient, hn::Set(df, 0.5F + 0x1p-12F)));
    }

    alignas(16) static constexpr float kAlphaLane[4] = {0, 0, 0, 1};

    Bytes mPairs, mAlphas, mOnes;
    VF mZero;
    Bytes mOrder;
};

void HalveStraightByBox(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                        const PixelOrder& order, const Transfer& transfer) noexcept {
    const StraightBoxPixels box(order);
    RunSteps(HalvingOp<const StraightBoxPixels>{rows, destination, box}, 0, pixels, destination, 4, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
