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

// Byte k of the 3 x 3 neighbourhood of the bytes from i on.
HWY_INLINE Bytes Neighbour(ThreeRows rows, std::size_t i, int k) {
    return hn::LoadU(dbytes, rows[k / 3] + i + 4 * (k % 3) - 4);
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
    HWY_INLINE Bytes operator()(ThreeRows rows, std::size_t i) const {
        Words low = mBias, high = mBias;
        for (int pair = 0; pair < 5; ++pair) {
            const Bytes a = Neighbour(rows, i, 2 * pair);
            const Bytes b = pair < 4 ? Neighbour(rows, i, 2 * pair + 1) : hn::Zero(dbytes);
            low = hn::Add(low, MulAddBytes(hn::InterleaveLower(dbytes, a, b), mWeights[pair]));
            high = hn::Add(high, MulAddBytes(hn::InterleaveUpper(dbytes, a, b), mWeights[pair]));
        }
        return PackToBytes(Scaled(low), Scaled(high));
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

class ConvolveDwords {
public:
    explicit ConvolveDwords(const Convolution& c) : mScale(hn::Set(df, c.scale)) {
        for (int pair = 0; pair < 5; ++pair) {
            mWeights[pair] = SetWords(c.weights[2 * pair], pair < 4 ? c.weights[2 * pair + 1] : c.bias);
        }
    }
    HWY_INLINE Bytes operator()(ThreeRows rows, std::size_t i) const {
        const auto zero = hn::Zero(dbytes);
        Dwords sums[4] = {hn::Zero(di), hn::Zero(di), hn::Zero(di), hn::Zero(di)};
        for (int pair = 0; pair < 5; ++pair) {
            const Bytes a = Neighbour(rows, i, 2 * pair);
            const Bytes b = pair < 4 ? Neighbour(rows, i, 2 * pair + 1) : hn::Set(dbytes, std::uint8_t{1});
            const Bytes low = hn::InterleaveLower(dbytes, a, b), high = hn::InterleaveUpper(dbytes, a, b);
            const Bytes parts[4] = {hn::InterleaveLower(dbytes, low, zero), hn::InterleaveUpper(dbytes, low, zero),
                                    hn::InterleaveLower(dbytes, high, zero), hn::InterleaveUpper(dbytes, high, zero)};
            for (int part = 0; part < 4; ++part) {
                sums[part] = hn::Add(sums[part], MulAddPairs(hn::BitCast(ds, parts[part]), mWeights[pair]));
            }
        }
        return PackToBytes(PackToWords(Scaled(sums[0]), Scaled(sums[1])),
                           PackToWords(Scaled(sums[2]), Scaled(sums[3])));
    }

private:
    HWY_INLINE Dwords Scaled(Dwords sum) const { return hn::ConvertTo(di, hn::Mul(hn::ConvertTo(df, sum), mScale)); }
    hn::Vec<DF> mScale;
    Words mWeights[5];
};

class ConvolveFloats {
public:
    explicit ConvolveFloats(const Convolution& c)
        : mBias(hn::Set(df, static_cast<float>(c.bias))), mScale(hn::Set(df, c.scale)), mConvolution(c) {}
    HWY_INLINE Bytes operator()(ThreeRows rows, std::size_t i) const {
        alignas(64) std::uint8_t result[4 * kMaxLanes];
        for (std::size_t part = 0; part < 4; ++part) {
            auto sum = hn::Zero(df);
            for (int k = 0; k < 9; ++k) {
                const auto* const at = rows[k / 3] + i + part * LaneCount() + 4 * (k % 3) - 4;
                const auto value = hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, at)));
                sum = hn::Add(sum, hn::Mul(value, hn::Set(df, static_cast<float>(mConvolution.weights[k]))));
            }
            const auto scaled = hn::ConvertTo(di, hn::Mul(hn::Add(sum, mBias), mScale));
            // Clipped first: Highway narrows what is above 32767 to its remainder.
            const auto clipped = hn::Min(hn::Max(scaled, hn::Zero(di)), hn::Set(di, 255));
            hn::StoreU(hn::DemoteTo(d8, clipped), d8, result + part * LaneCount());
        }
        return hn::Load(dbytes, result);
    }

private:
    hn::Vec<DF> mBias, mScale;
    const Convolution& mConvolution;
};

template <class Sums>
void Convolve(ThreeRows rows, std::uint8_t* destination, std::size_t bytes, const Convolution& convolution) noexcept {
    const Sums sums(convolution);
    const std::size_t vector = hn::Lanes(dbytes);
    std::size_t i = 0;
    for (; i + vector <= bytes; i += vector) {
        hn::StoreU(sums(rows, i), dbytes, destination + i);
    }
    if (i < bytes) { // rows go on behind their ends
        alignas(64) std::uint8_t rest[4 * kMaxLanes];
        hn::Store(sums(rows, i), dbytes, rest);
        std::memcpy(destination + i, rest, std::min(bytes - i, sizeof rest));
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
