// 8-bit 4:2:2 to pixels of half the width and half the height.
#if defined(PIXELBLITTER_PAIR_HALVING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PAIR_HALVING_INL_H
#undef PIXELBLITTER_PAIR_HALVING_INL_H
#else
#define PIXELBLITTER_PAIR_HALVING_INL_H
#endif

#include "kernels/PairSums-inl.h"
#include "kernels/RowStores-inl.h"
#include "scale/PixelKernels.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

HWY_INLINE Words WordPairs(std::int16_t even, std::int16_t odd) {
    const auto bits = static_cast<std::uint32_t>(static_cast<std::uint16_t>(even)) |
                      static_cast<std::uint32_t>(static_cast<std::uint16_t>(odd)) << 16;
    return hn::BitCast(ds, hn::Set(du, bits));
}

// A pixel of the destination is made of one pair of pixels, four bytes in every row, and of the pairs beside it.
template <bool triangle>
struct PairHalvingOp {
    static constexpr int kRows = triangle ? 4 : 2;

    const std::uint8_t* const* rows;
    std::uint8_t* destination;
    std::size_t pixels;
    bool lumaFirst;
    Words luma[3];
    Words chroma[3];
    Dwords offset[3];
    Bytes order;

    PairHalvingOp(const std::uint8_t* const* inRows, std::uint8_t* inDestination, std::size_t inPixels,
                  const PairMatrix& m)
        : rows(inRows), destination(inDestination), pixels(inPixels),
          lumaFirst(m.lumaFirst), luma{WordPairs(m.luma[0], m.luma[0]), WordPairs(m.luma[1], m.luma[1]),
                                       WordPairs(m.luma[2], m.luma[2])},
          chroma{WordPairs(m.u[0], m.v[0]), WordPairs(m.u[1], m.v[1]), WordPairs(m.u[2], m.v[2])},
          offset{hn::Set(di, m.offset[0]), hn::Set(di, m.offset[1]), hn::Set(di, m.offset[2])},
          order(hn::LoadDup128(dbytes, m.order)) {}

    static HWY_INLINE std::size_t Step() { return LaneCount(); }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<1>(rows[kRows - 2] + 4 * i, ahead);
        FetchVectors<1>(rows[kRows - 1] + 4 * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Pixels(rows, 4 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[kRows][4 * kMaxLanes + 8] = {};
        const std::uint8_t* from[kRows];
        for (int row = 0; row < kRows; ++row) {
            // Beyond the ends the row continues as its mirror image.
            const std::uint8_t* const bytes = rows[row] + 4 * i;
            std::memcpy(rest[row] + 4, bytes, 4 * count);
            const auto mirror = [&](const std::uint8_t* pair, std::uint8_t* to) {
                const std::size_t first = lumaFirst ? 0 : 1;
                std::memcpy(to, pair, 4);
                std::swap(to[first], to[first + 2]);
            };
            if (i == 0) {
                mirror(bytes, rest[row]);
            } else {
                std::memcpy(rest[row], bytes - 4, 4);
            }
            if (i + count == pixels) {
                mirror(bytes + 4 * count - 4, rest[row] + 4 * count + 4);
            } else {
                std::memcpy(rest[row] + 4 * count + 4, bytes + 4 * count, 4);
            }
            from[row] = rest[row] + 4;
        }
        alignas(64) std::uint8_t out[4 * kMaxLanes];
        hn::Store(Pixels(from, 0), dbytes, out);
        std::memcpy(destination + 4 * i, out, 4 * count);
    }

private:
    // Luma and chroma of pairs, added up down the columns.
    struct Columns {
        Words luma, chroma;
    };
    HWY_INLINE Columns SumColumns(const std::uint8_t* const* from, std::size_t at) const {
        const auto mask = hn::Set(dw, std::uint16_t{0xFF});
        const auto load = [&](int row) HWY_ATTR { return hn::BitCast(dw, hn::LoadU(dbytes, from[row] + at)); };
        const auto even = [&](hn::Vec<DW> v) HWY_ATTR { return hn::And(v, mask); };
        const auto odd = [](hn::Vec<DW> v) HWY_ATTR { return hn::ShiftRight<8>(v); };
        const auto inner0 = load(triangle ? 1 : 0), inner1 = load(triangle ? 2 : 1);
        auto evens = hn::Add(even(inner0), even(inner1));
        auto odds = hn::Add(odd(inner0), odd(inner1));
        if constexpr (triangle) {
            const auto outer0 = load(0), outer1 = load(3);
            evens = hn::Add(hn::Add(hn::Add(evens, evens), evens), hn::Add(even(outer0), even(outer1)));
            odds = hn::Add(hn::Add(hn::Add(odds, odds), odds), hn::Add(odd(outer0), odd(outer1)));
        }
        const Words first = hn::BitCast(ds, evens), second = hn::BitCast(ds, odds);
        return lumaFirst ? Columns{first, second} : Columns{second, first};
    }

    HWY_INLINE Bytes Pixels(const std::uint8_t* const* from, std::size_t at) const {
        const Columns here = SumColumns(from, at);
        const Columns behind = SumColumns(from, at + 4);
        Words y, uv;
        if constexpr (triangle) {
            // Luma (1 3 3 1) / 8, and for chroma (1 10 5) / 16, the same after interpolation.
            const std::uint8_t* before[kRows];
            for (int row = 0; row < kRows; ++row) {
                before[row] = from[row] - 4;
            }
            const Columns ahead = SumColumns(before, at);
            const Words outer = hn::OddEven(ahead.luma, behind.luma);
            y = hn::ShiftLeft<1>(hn::Add(hn::Add(hn::Add(here.luma, here.luma), here.luma), outer));
            const Words five = hn::Add(behind.chroma, hn::Add(here.chroma, here.chroma));
            uv = hn::Add(ahead.chroma, hn::Add(hn::ShiftLeft<2>(five), five));
        } else {
            // Chroma (3 1) / 4.
            y = hn::ShiftLeft<5>(here.luma);
            uv = hn::ShiftLeft<4>(hn::Add(hn::Add(hn::Add(here.chroma, here.chroma), here.chroma), behind.chroma));
        }
        constexpr int kShift = kMatrixBits + kMatrixFraction;
        const auto component = [&](int i) HWY_ATTR {
            return hn::ShiftRight<kShift>(
                hn::Add(hn::Add(MulAddPairs(uv, chroma[i]), MulAddPairs(y, luma[i])), offset[i]));
        };
        const Words low = PackToWords(component(0), component(1));
        const Words high = PackToWords(component(2), hn::Set(di, 255));
        return hn::TableLookupBytes(PackToBytes(low, high), order);
    }
};

template <bool triangle>
void HalvePairs(const std::uint8_t* const* rows, std::uint8_t* destination, std::size_t pixels,
                const PairMatrix& matrix, const Transfer& transfer) noexcept {
    const PairHalvingOp<triangle> op(rows, destination, pixels, matrix);
    op.Rest(0, 1);
    if (pixels > 1) {
        RunSteps(op, 1, pixels - 1, destination, 4, transfer);
        op.Rest(pixels - 1, 1);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
