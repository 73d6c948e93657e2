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

// A pixel of the destination is made of one pair of pixels, four bytes in both rows, and of the pair behind it.
struct PairHalvingOp {
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
        FetchVectors<1>(rows[0] + 4 * i, ahead);
        FetchVectors<1>(rows[1] + 4 * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(Pixels(rows, 4 * i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[2][4 * kMaxLanes + 4] = {};
        const std::uint8_t* from[2];
        for (int row = 0; row < 2; ++row) {
            // Beyond its end the row repeats its last chroma.
            const std::uint8_t* const bytes = rows[row] + 4 * i;
            std::memcpy(rest[row], bytes, 4 * count);
            std::memcpy(rest[row] + 4 * count, i + count == pixels ? bytes + 4 * count - 4 : bytes + 4 * count, 4);
            from[row] = rest[row];
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
        const auto upper = load(0), lower = load(1);
        const Words first = hn::BitCast(ds, hn::Add(even(upper), even(lower)));
        const Words second = hn::BitCast(ds, hn::Add(odd(upper), odd(lower)));
        return lumaFirst ? Columns{first, second} : Columns{second, first};
    }

    HWY_INLINE Bytes Pixels(const std::uint8_t* const* from, std::size_t at) const {
        const Columns here = SumColumns(from, at);
        const Columns behind = SumColumns(from, at + 4);
        // Chroma (3 1) / 4.
        const Words y = hn::ShiftLeft<5>(here.luma);
        const Words uv =
            hn::ShiftLeft<4>(hn::Add(hn::Add(hn::Add(here.chroma, here.chroma), here.chroma), behind.chroma));
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

void HalvePairsByBox(const std::uint8_t* const rows[2], std::uint8_t* destination, std::size_t pixels,
                     const PairMatrix& matrix, const Transfer& transfer) noexcept {
    const PairHalvingOp op(rows, destination, pixels, matrix);
    RunSteps(op, 0, pixels - 1, destination, 4, transfer);
    op.Rest(pixels - 1, 1);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
