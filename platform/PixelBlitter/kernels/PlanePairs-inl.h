// Planes of 8-bit 4:2:0 to 4:2:2 of the same codes.
#if defined(PIXELBLITTER_PLANE_PAIRS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_PLANE_PAIRS_INL_H
#undef PIXELBLITTER_PLANE_PAIRS_INL_H
#else
#define PIXELBLITTER_PLANE_PAIRS_INL_H
#endif

#include "FusedWidening-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Chroma codes, U and V in turn, of as many pairs as two vectors of 4:2:2 hold.
class MixedChroma {
public:
    explicit MixedChroma(const ChromaMix& mix) : mMix(mix), mMixed(mix.weights) {}
    HWY_INLINE Bytes operator()(std::size_t i) const { return Codes(mMix.u, mMix.v, i); }
    HWY_INLINE Bytes Rest(std::size_t i, std::size_t count) const {
        const MixFrom rest(mMix, i, count);
        return Codes(rest.u, rest.v, 0);
    }

private:
    HWY_INLINE Bytes Codes(const std::uint8_t* const u[2], const std::uint8_t* const v[2], std::size_t i) const {
        const Words half = hn::Set(ds, std::int16_t{4});
        const Words codeU = hn::ShiftRight<3>(hn::Add(mMixed(u[0] + i, u[1] + i), half));
        const Words codeV = hn::ShiftRight<3>(hn::Add(mMixed(v[0] + i, v[1] + i), half));
        return hn::BitCast(dbytes, hn::Or(codeU, hn::ShiftLeft<8>(codeV)));
    }
    ChromaMix mMix;
    MixedRows mMixed;
};

// The same of a row of chroma as chromaOfPlanes leaves it, moved from between two columns to the first one:
// interpolation to full width and the triangle back add up to (5 10 1) / 16.
class RecentredChroma {
public:
    explicit RecentredChroma(const std::int16_t* chroma) : mChroma(chroma) {}
    HWY_INLINE Bytes operator()(std::size_t i) const {
        const std::int16_t* const at = mChroma + 2 * i;
        return Pieces::Gather(PackToBytes(Codes(at), Codes(at + 2 * LaneCount())));
    }
    HWY_INLINE Bytes Rest(std::size_t i, std::size_t /*count*/) const { return (*this)(i); }

private:
    static HWY_INLINE Words Codes(const std::int16_t* at) {
        const auto eighths = [](const std::int16_t* from) HWY_ATTR { return hn::ShiftRight<3>(hn::LoadU(ds, from)); };
        const Words before = hn::Mul(eighths(at - 2), hn::Set(ds, std::int16_t{5}));
        const Words here = hn::Mul(eighths(at), hn::Set(ds, std::int16_t{10}));
        const Words sum = hn::Add(hn::Add(before, here), eighths(at + 2));
        return hn::ShiftRight<7>(hn::Add(sum, hn::Set(ds, std::int16_t{128 * 128 + 64})));
    }
    const std::int16_t* mChroma;
};

template <bool lumaFirst, class Chroma>
struct PlanesToPairsOp {
    const std::uint8_t* luma;
    std::uint8_t* destination;
    std::size_t width;
    Chroma chroma;

    static HWY_INLINE std::size_t Step() { return 2 * LaneCount(); } // pairs: two vectors
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<1>(luma + 2 * i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Join<Stores>(hn::LoadU(dbytes, luma + 2 * i), chroma(i), destination + 4 * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[8 * kMaxLanes] = {};
        const std::size_t columns = std::min(2 * count, width - 2 * i);
        std::memcpy(rest, luma + 2 * i, columns);
        if (columns < 2 * count) { // the second pixel of a pair that only one pixel uses
            rest[columns] = rest[columns - 1];
        }
        Join<Ordinary>(hn::Load(dbytes, rest), chroma.Rest(i, count), rest);
        std::memcpy(destination + 4 * i, rest, 4 * count);
    }

    template <class Stores>
    static HWY_INLINE void Join(Bytes lumaCodes, Bytes chromaCodes, std::uint8_t* to) {
        const Bytes y = Pieces::Spread(lumaCodes);
        const Bytes c = Pieces::Spread(chromaCodes);
        Stores::Store(hn::InterleaveLower(dbytes, lumaFirst ? y : c, lumaFirst ? c : y), to);
        Stores::Store(hn::InterleaveUpper(dbytes, lumaFirst ? y : c, lumaFirst ? c : y), to + 4 * LaneCount());
    }
};

template <class Chroma>
void JoinPlanes(const std::uint8_t* luma, const Chroma& chroma, bool lumaFirst, std::uint8_t* destination,
                std::size_t pixels, const Transfer& transfer) noexcept {
    const auto run = [&](const auto& op) HWY_ATTR {
        RunSteps(op, 0, pixels / 2, destination, 4, transfer);
        if (pixels % 2 != 0) {
            op.Rest(pixels / 2, 1);
        }
    };
    if (lumaFirst) {
        run(PlanesToPairsOp<true, Chroma>{luma, destination, pixels, chroma});
    } else {
        run(PlanesToPairsOp<false, Chroma>{luma, destination, pixels, chroma});
    }
}

void PlanesToPairs(const std::uint8_t* luma, const ChromaMix& mix, bool lumaFirst, std::uint8_t* destination,
                   std::size_t pixels, const Transfer& transfer) noexcept {
    JoinPlanes(luma, MixedChroma(mix), lumaFirst, destination, pixels, transfer);
}

void CentredPlanesToPairs(const std::uint8_t* luma, const ChromaMix& mix, std::int16_t* chroma, bool lumaFirst,
                          std::uint8_t* destination, std::size_t pixels, const Transfer& transfer) noexcept {
    const std::size_t pairs = (pixels + 1) / 2;
    ChromaOfPlanes(mix, chroma, pairs);
    if (pixels % 2 != 0) {
        // The picture ends on the first column of a pair; the triangle then sees that column twice, which comes to the
        // sample before the last one taking the place of the one behind it.
        std::memcpy(chroma + 2 * pairs, chroma + 2 * pairs - 4, 2 * sizeof(std::int16_t));
    }
    JoinPlanes(luma, RecentredChroma(chroma), lumaFirst, destination, pixels, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
