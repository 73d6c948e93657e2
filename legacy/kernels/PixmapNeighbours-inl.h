// Kernels that look at a pixel's neighbours, and at palettes.
#if defined(PIXMAP_NEIGHBOURS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXMAP_NEIGHBOURS_INL_H
#undef PIXMAP_NEIGHBOURS_INL_H
#else
#define PIXMAP_NEIGHBOURS_INL_H
#endif

#include "PixmapVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {
namespace {

// Which pixels of a vector belong to a matte's fringe.
HWY_INLINE hn::Mask<DU> IsFringe(ThreeRows mask, std::size_t i) {
    const auto at = [](const std::uint8_t* place) HWY_ATTR { return hn::PromoteTo(du, hn::LoadU(d8, place)); };
    const std::uint8_t* const middle = mask[1] + i;
    const auto across = hn::Add(hn::Add(at(middle - 1), at(middle + 1)), at(middle));
    const auto sum = hn::BitCast(di, hn::Add(across, hn::Add(at(mask[0] + i), at(mask[2] + i))));
    return hn::RebindMask(du, hn::And(hn::Gt(sum, hn::Zero(di)), hn::Lt(sum, hn::Set(di, 128))));
}

HWY_INLINE Bytes HalfOf(Bytes v) {
    return hn::BitCast(dbytes, hn::And(hn::ShiftRight<1>(hn::BitCast(dw, v)), hn::Set(dw, std::uint16_t{0x7F7F})));
}

HWY_INLINE void StoreMarks(hn::Vec<DU> marks, std::uint8_t* to) {
    hn::StoreU(hn::TruncateTo(d8, marks), d8, to);
}

void SmoothFringe(ThreeRows mask, ThreeRows pixels, std::uint8_t* outMask, std::uint8_t* outPixels,
                  std::size_t count) noexcept {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto fringe = IsFringe(mask, i);
        if (hn::AllFalse(du, fringe)) {
            continue;
        }
        const auto half = [=](int row, std::ptrdiff_t offset)
                              HWY_ATTR { return HalfOf(hn::LoadU(dbytes, pixels[row] + 4 * i + offset)); };
        const auto vertical = HalfOf(hn::Add(half(2, 0), half(0, 0)));
        const auto horizontal = HalfOf(hn::Add(half(1, -4), half(1, 4)));
        const auto smooth = hn::Add(HalfOf(hn::Add(vertical, horizontal)), half(1, 0));
        StorePixels(hn::IfThenElse(fringe, PixelsOf(smooth), LoadPixels(outPixels + 4 * i)), outPixels + 4 * i);
        const auto marks = hn::PromoteTo(du, hn::LoadU(d8, outMask + i));
        StoreMarks(hn::IfThenElse(fringe, hn::Set(du, 255U), marks), outMask + i);
    }
    if (i < count) {
        const std::uint8_t* const restOfMask[3] = {mask[0] + i, mask[1] + i, mask[2] + i};
        const std::uint8_t* const rest[3] = {pixels[0] + 4 * i, pixels[1] + 4 * i, pixels[2] + 4 * i};
        PlainKernels().mattes.smoothFringe(restOfMask, rest, outMask + i, outPixels + 4 * i, count - i);
    }
}

void PaintFringe(ThreeRows mask, std::uint8_t* outMask, std::uint8_t* outPixels, std::size_t count,
                 std::uint32_t colour) noexcept {
    const std::size_t lanes = LaneCount();
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto fringe = IsFringe(mask, i);
        StoreMarks(hn::IfThenElseZero(fringe, hn::Set(du, 31U)), outMask + i);
        if (!hn::AllFalse(du, fringe)) {
            StorePixels(hn::IfThenElse(fringe, hn::Set(du, colour), LoadPixels(outPixels + 4 * i)), outPixels + 4 * i);
        }
    }
    if (i < count) {
        const std::uint8_t* const rest[3] = {mask[0] + i, mask[1] + i, mask[2] + i};
        PlainKernels().mattes.paintFringe(rest, outMask + i, outPixels + 4 * i, count - i, colour);
    }
}

// bytes[2i] * weights[2i] + bytes[2i + 1] * weights[2i + 1], unsigned by signed; sums fit words.
HWY_INLINE Words MulAddBytes(Bytes bytes, Bytes weights) {
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
    return Words{_mm512_maddubs_epi16(bytes.raw, weights.raw)};
#elif HWY_TARGET == HWY_AVX2
    return Words{_mm256_maddubs_epi16(bytes.raw, weights.raw)};
#elif HWY_ARCH_X86
    return Words{_mm_maddubs_epi16(bytes.raw, weights.raw)};
#else
    const auto even = hn::And(hn::BitCast(ds, bytes), hn::Set(ds, std::int16_t{0xFF}));
    const auto odd = hn::BitCast(ds, hn::ShiftRight<8>(hn::BitCast(dw, bytes)));
    const auto ofEven = hn::ShiftRight<8>(hn::ShiftLeft<8>(hn::BitCast(ds, weights)));
    return hn::Add(hn::Mul(even, ofEven), hn::Mul(odd, hn::ShiftRight<8>(hn::BitCast(ds, weights))));
#endif
}

static_assert(kConvolveStep % (4 * kMaxLanes) == 0); // whole vectors

// Both kinds of sums give the bytes from i on of so many rows. Loops are unrolled so that their vectors are registers.
class ConvolveWords {
public:
    explicit ConvolveWords(const Convolution& c)
        : mBias(hn::Set(ds, c.bias)), mLimit(hn::Set(ds, c.wordLimit)), mScale(hn::Set(dw, c.wordScale)) {
        for (int pair = 0; pair < 5; ++pair) {
            const auto weight = [&](int k) { return k < 9 ? static_cast<std::uint8_t>(c.weights[k]) : 0U; };
            mWeights[pair] = hn::BitCast(
                dbytes, hn::Set(dw, static_cast<std::uint16_t>(weight(2 * pair) | weight(2 * pair + 1) << 8)));
        }
    }
    template <std::size_t kRows>
    HWY_INLINE void Run(const std::uint8_t* const* rows, std::size_t i, Bytes results[kRows]) const {
        HWY_UNROLL(8)
        for (std::size_t row = 0; row < kRows; ++row) {
            const auto neighbour = [=](int k)
                                       HWY_ATTR { return hn::LoadU(dbytes, rows[row + k / 3] + i + 4 * (k % 3) - 4); };
            Words low = mBias, high = mBias;
            HWY_UNROLL(8)
            for (int pair = 0; pair < 5; ++pair) {
                const Bytes a = neighbour(2 * pair), b = pair < 4 ? neighbour(2 * pair + 1) : hn::Zero(dbytes);
                low = hn::Add(low, MulAddBytes(hn::InterleaveLower(dbytes, a, b), mWeights[pair]));
                high = hn::Add(high, MulAddBytes(hn::InterleaveUpper(dbytes, a, b), mWeights[pair]));
            }
            results[row] = PackToBytes(Scaled(low), Scaled(high));
        }
    }

private:
    HWY_INLINE Words Scaled(Words sum) const {
        const auto clipped = hn::BitCast(dw, hn::Min(hn::Max(sum, hn::Zero(ds)), mLimit));
        return hn::BitCast(ds, hn::MulHigh(hn::Add(clipped, clipped), mScale));
    }
    Words mBias, mLimit;
    hn::Vec<DW> mScale;
    Bytes mWeights[5];
};

using Floats = hn::Vec<DF>;

// A pixel's four floats are a block of a vector. The last block of a and all of b but its last one; all of a but its
// first one and the first block of b; and floats that fit integers, cut off.
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
HWY_INLINE Floats BehindLast(Floats a, Floats b) {
    return Floats{_mm512_castsi512_ps(_mm512_alignr_epi32(_mm512_castps_si512(b.raw), _mm512_castps_si512(a.raw), 12))};
}
HWY_INLINE Floats BehindFirst(Floats a, Floats b) {
    return Floats{_mm512_castsi512_ps(_mm512_alignr_epi32(_mm512_castps_si512(b.raw), _mm512_castps_si512(a.raw), 4))};
}
HWY_INLINE Dwords CutOff(Floats v) {
    return Dwords{_mm512_cvttps_epi32(v.raw)};
}
#elif HWY_TARGET == HWY_AVX2
HWY_INLINE Floats BehindLast(Floats a, Floats b) {
    return Floats{_mm256_permute2f128_ps(a.raw, b.raw, 0x21)};
}
HWY_INLINE Floats BehindFirst(Floats a, Floats b) {
    return BehindLast(a, b);
}
HWY_INLINE Dwords CutOff(Floats v) {
    return Dwords{_mm256_cvttps_epi32(v.raw)};
}
#else // vectors of one block
HWY_INLINE Floats BehindLast(Floats a, Floats /*b*/) {
    return a;
}
HWY_INLINE Floats BehindFirst(Floats /*a*/, Floats b) {
    return b;
}
HWY_INLINE Dwords CutOff(Floats v) {
    return hn::ConvertTo(di, v);
}
#endif

// A product of a byte and a weight is a float without rounding, so that fused operations round as separate ones do. A
// row's floats serve all sums that they are part of.
class ConvolveFloats {
public:
    explicit ConvolveFloats(const Convolution& c)
        : mBias(hn::Set(df, static_cast<float>(c.bias))), mScale(hn::Set(df, c.scale)) {
        for (int k = 0; k < 9; ++k) {
            mWeights[k] = hn::Set(df, static_cast<float>(c.weights[k]));
        }
    }
    template <std::size_t kRows>
    HWY_INLINE void Run(const std::uint8_t* const* rows, std::size_t i, Bytes results[kRows]) const {
        const auto floats = [](const std::uint8_t* at)
                                HWY_ATTR { return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, at))); };
        Floats left[kRows + 2], centre[kRows + 2];
        HWY_UNROLL(8)
        for (std::size_t row = 0; row < kRows + 2; ++row) {
            left[row] = floats(rows[row] + i - 4);
            centre[row] = floats(rows[row] + i);
        }
        Dwords parts[kRows][4];
        HWY_UNROLL(8)
        for (std::size_t part = 0; part < 4; ++part) {
            Floats sums[kRows];
            HWY_UNROLL(8)
            for (std::size_t row = 0; row < kRows + 2; ++row) {
                const std::uint8_t* const end = rows[row] + i + (part + 1) * LaneCount();
                const Floats next = floats(part < 3 ? end : end + 4 - LaneCount());
                const Floats right = part < 3 ? BehindFirst(centre[row], next) : next;
                HWY_UNROLL(8)
                for (std::size_t above = 0; above < 3; ++above) {
                    if (row >= above && row - above < kRows) {
                        Floats& sum = sums[row - above];
                        const Floats* const weights = mWeights + 3 * above;
                        sum = above == 0 ? hn::Mul(left[row], weights[0]) : hn::MulAdd(left[row], weights[0], sum);
                        sum = hn::MulAdd(right, weights[2], hn::MulAdd(centre[row], weights[1], sum));
                    }
                }
                left[row] = BehindLast(centre[row], next);
                centre[row] = next;
            }
            HWY_UNROLL(8)
            for (std::size_t row = 0; row < kRows; ++row) {
                parts[row][part] = CutOff(hn::Mul(hn::Add(sums[row], mBias), mScale));
            }
        }
        HWY_UNROLL(8)
        for (std::size_t row = 0; row < kRows; ++row) {
            results[row] = Pieces::Transpose(
                PackToBytes(PackToWords(parts[row][0], parts[row][1]), PackToWords(parts[row][2], parts[row][3])));
        }
    }

private:
    Floats mBias, mScale;
    Floats mWeights[9];
};

template <std::size_t kRows, class Sums>
HWY_INLINE void ConvolveTogether(const Sums& sums, const std::uint8_t* const* rows, std::uint8_t* destination,
                                 std::ptrdiff_t step, std::size_t bytes, std::ptrdiff_t ahead) {
    const std::size_t vector = hn::Lanes(dbytes);
    Bytes results[kRows];
    std::size_t i = 0;
    for (; i + vector <= bytes; i += vector) {
        for (std::size_t row = 2; row < kRows + 2; ++row) {
            FetchVectors<1>(rows[row] + i, ahead);
        }
        sums.template Run<kRows>(rows, i, results);
        HWY_UNROLL(8)
        for (std::size_t row = 0; row < kRows; ++row) {
            hn::StoreU(results[row], dbytes, destination + static_cast<std::ptrdiff_t>(row) * step + i);
        }
    }
    if (i < bytes) { // rows go on behind their ends
        sums.template Run<kRows>(rows, i, results);
        for (std::size_t row = 0; row < kRows; ++row) {
            alignas(64) std::uint8_t rest[4 * kMaxLanes];
            hn::Store(results[row], dbytes, rest);
            std::memcpy(destination + static_cast<std::ptrdiff_t>(row) * step + i, rest,
                        std::min(bytes - i, sizeof rest));
        }
    }
}

template <class Sums>
void Convolve(const std::uint8_t* const* rows, std::size_t count, std::uint8_t* destination, std::ptrdiff_t step,
              std::size_t bytes, const Convolution& convolution) noexcept {
    const Sums sums(convolution);
    std::size_t row = 0;
    for (; row + kConvolvedTogether <= count; row += kConvolvedTogether) {
        ConvolveTogether<kConvolvedTogether>(sums, rows + row, destination + static_cast<std::ptrdiff_t>(row) * step,
                                             step, bytes, convolution.ahead);
    }
    for (; row < count; ++row) {
        ConvolveTogether<1>(sums, rows + row, destination + static_cast<std::ptrdiff_t>(row) * step, step, bytes,
                            convolution.ahead);
    }
}

void Nearest(const std::int32_t distances[256], const std::int32_t blue[32][256], std::uint8_t* entries) noexcept {
    for (std::size_t b = 0; b < 32; ++b) {
        auto least = hn::Set(di, INT32_MAX);
        for (std::size_t i = 0; i < 256; i += LaneCount()) {
            least = hn::Min(least, hn::Add(hn::LoadU(di, distances + i), hn::LoadU(di, blue[b] + i)));
        }
        entries[b] = static_cast<std::uint8_t>(hn::GetLane(hn::MinOfLanes(di, least)));
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#endif
