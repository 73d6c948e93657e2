// Conversions of depth.
#if defined(PIXMAP_DEPTH_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXMAP_DEPTH_INL_H
#undef PIXMAP_DEPTH_INL_H
#else
#define PIXMAP_DEPTH_INL_H
#endif

#include "PixmapVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {
namespace {

// Shuffles within blocks of 16 bytes; an index with its top bit set gives 0.
constexpr std::uint8_t kNone = 0x80;
alignas(16) constexpr std::uint8_t kDropAlpha[16] = {0,  1,  2,  4,  5,     6,     8,     9,
                                                     10, 12, 13, 14, kNone, kNone, kNone, kNone};
alignas(16) constexpr std::uint8_t kMakeAlpha[16] = {0, 1, 2, kNone, 3, 4, 5, kNone, 6, 7, 8, kNone, 9, 10, 11, kNone};
alignas(16) constexpr std::uint8_t kSpreadAlpha[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};

HWY_INLINE hn::Vec<DU> To555(hn::Vec<DU> pixels) {
    const auto blue = hn::And(hn::ShiftRight<3>(pixels), hn::Set(du, 0x1FU));
    const auto green = hn::And(hn::ShiftRight<6>(pixels), hn::Set(du, 0x3E0U));
    const auto red = hn::And(hn::ShiftRight<9>(pixels), hn::Set(du, 0x7C00U));
    return hn::Or(blue, hn::Or(green, red));
}

HWY_INLINE Bytes JoinWords(hn::Vec<DU> a, hn::Vec<DU> b) {
    return Pieces::Gather(hn::BitCast(dbytes, PackToWords(hn::BitCast(di, a), hn::BitCast(di, b))));
}

struct From32To555 {
    static constexpr std::size_t kInBytes = 4, kOutBytes = 2, kInVectors = 2, kOutVectors = 1;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        const auto a = To555(LoadPixels(in)), b = To555(LoadPixels(in + hn::Lanes(dbytes)));
        Stores::Store(JoinWords(a, b), out);
    }
};

constexpr std::size_t LaneOf24(std::size_t i) {
    return i / 4 * 3 + std::min<std::size_t>(i % 4, 2);
}

// Vectors of pixels of 32 bits out of three vectors of pixels of 24.
class Widen {
public:
    // Each block takes 12 bytes: three lanes. The last vector is loaded a quarter of a vector early, so that nothing
    // behind the third one is read.
    Widen()
        : mLanes(hn::SetTableIndices(du, kFirst.data())), mLastLanes(hn::SetTableIndices(du, kLast.data())),
          mOrder(hn::LoadDup128(dbytes, kMakeAlpha)) {}

    HWY_INLINE void operator()(const std::uint8_t* in, hn::Vec<DU> out[4]) const {
        const std::size_t vector = hn::Lanes(dbytes);
        for (std::size_t i = 0; i < 3; ++i) {
            out[i] = Spread(hn::TableLookupLanes(LoadPixels(in + 3 * vector / 4 * i), mLanes));
        }
        out[3] = Spread(hn::TableLookupLanes(LoadPixels(in + 2 * vector), mLastLanes));
    }

private:
    using Indices = decltype(hn::SetTableIndices(du, static_cast<const std::int32_t*>(nullptr)));
    HWY_INLINE hn::Vec<DU> Spread(hn::Vec<DU> lanes) const {
        return PixelsOf(hn::TableLookupBytes(hn::BitCast(dbytes, lanes), mOrder));
    }
    alignas(64) static constexpr LaneTable kFirst = TableOf([](std::size_t i) { return LaneOf24(i); });
    alignas(64) static constexpr LaneTable kLast = TableOf([](std::size_t i) { return LaneOf24(i) + kLanes / 4; });
    Indices mLanes, mLastLanes;
    Bytes mOrder;
};

struct From24To32 {
    static constexpr std::size_t kInBytes = 3, kOutBytes = 4, kInVectors = 3, kOutVectors = 4;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        const auto opaque = hn::Set(du, 0xFF000000U);
        hn::Vec<DU> pixels[4];
        mWiden(in, pixels);
        for (std::size_t i = 0; i < 4; ++i) {
            Stores::Store(hn::BitCast(dbytes, hn::Or(pixels[i], opaque)), out + i * hn::Lanes(dbytes));
        }
    }
    Widen mWiden;
};

struct From24To555 {
    static constexpr std::size_t kInBytes = 3, kOutBytes = 2, kInVectors = 3, kOutVectors = 2;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        hn::Vec<DU> pixels[4];
        mWiden(in, pixels);
        Stores::Store(JoinWords(To555(pixels[0]), To555(pixels[1])), out);
        Stores::Store(JoinWords(To555(pixels[2]), To555(pixels[3])), out + hn::Lanes(dbytes));
    }
    Widen mWiden;
};

// Of what is left of four vectors, three lanes of each block: lane i of output number n, which starts in vector n.
constexpr std::size_t LaneOf32(std::size_t n, std::size_t i) {
    constexpr std::size_t kLeft = 3 * kLanes / 4;
    const std::size_t lane = n * kLanes + i, rest = lane % kLeft;
    return (lane / kLeft - n) * kLanes + rest / 3 * 4 + rest % 3;
}

struct From32To24 {
    static constexpr std::size_t kInBytes = 4, kOutBytes = 3, kInVectors = 4, kOutVectors = 3;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        const auto order = hn::LoadDup128(dbytes, kDropAlpha);
        const std::size_t vector = hn::Lanes(dbytes);
        const auto a = Packed(in, order), b = Packed(in + vector, order);
        const auto c = Packed(in + 2 * vector, order), d = Packed(in + 3 * vector, order);
        Stores::Store(hn::BitCast(dbytes, mFirst(a, b)), out);
        Stores::Store(hn::BitCast(dbytes, mSecond(b, c)), out + vector);
        Stores::Store(hn::BitCast(dbytes, mThird(c, d)), out + 2 * vector);
    }

private:
    static HWY_INLINE hn::Vec<DU> Packed(const std::uint8_t* in, Bytes order) {
        return PixelsOf(hn::TableLookupBytes(hn::LoadU(dbytes, in), order));
    }
    TwoTables mFirst{TableOf([](std::size_t i) { return LaneOf32(0, i); })};
    TwoTables mSecond{TableOf([](std::size_t i) { return LaneOf32(1, i); })};
    TwoTables mThird{TableOf([](std::size_t i) { return LaneOf32(2, i); })};
};

struct From555To32 {
    static constexpr std::size_t kInBytes = 2, kOutBytes = 4, kInVectors = 1, kOutVectors = 2;
    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        const auto word = [](unsigned value) HWY_ATTR { return hn::Set(dw, static_cast<std::uint16_t>(value)); };
        const auto words = hn::BitCast(dw, Pieces::Spread(hn::LoadU(dbytes, in)));
        const auto blueGreen =
            hn::Or(hn::And(hn::ShiftLeft<3>(words), word(0xF8)), hn::And(hn::ShiftLeft<6>(words), word(0xF800)));
        const auto redAlpha = hn::Or(hn::And(hn::ShiftRight<7>(words), word(0xF8)), word(0xFF00));
        Stores::Store(hn::BitCast(dbytes, hn::InterleaveLower(dw, blueGreen, redAlpha)), out);
        Stores::Store(hn::BitCast(dbytes, hn::InterleaveUpper(dw, blueGreen, redAlpha)), out + hn::Lanes(dbytes));
    }
};

template <bool inverse>
void AlphaToColour(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                   const Transfer& transfer) noexcept {
    const auto spread = hn::LoadDup128(dbytes, kSpreadAlpha);
    const auto flip = hn::BitCast(dbytes, hn::Set(du, inverse ? 0x00FFFFFFU : 0U));
    RunPixels(source, destination, pixels, transfer,
              [=](Bytes v) HWY_ATTR { return hn::Xor(hn::TableLookupBytes(v, spread), flip); });
}

std::uint8_t LargestByte(const std::uint8_t* bytes, std::size_t count) noexcept {
    const std::size_t vector = hn::Lanes(dbytes);
    auto largest = hn::Zero(dbytes);
    std::size_t i = 0;
    for (; i + vector <= count; i += vector) {
        largest = hn::Max(largest, hn::LoadU(dbytes, bytes + i));
    }
    alignas(64) std::uint8_t lanes[4 * kMaxLanes];
    hn::Store(largest, dbytes, lanes);
    std::uint8_t result = *std::max_element(lanes, lanes + vector);
    for (; i < count; ++i) {
        result = std::max(result, bytes[i]);
    }
    return result;
}

constexpr DepthKernels kDepthTable{
    .from32To555 = ChangePixels<From32To555>,
    .from24To555 = ChangePixels<From24To555>,
    .from32To24 = ChangePixels<From32To24>,
    .from24To32 = ChangePixels<From24To32>,
    .from555To32 = ChangePixels<From555To32>,
    .alphaToColour = AlphaToColour<false>,
    .alphaToInverseColour = AlphaToColour<true>,
    .largestByte = LargestByte,
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#endif
