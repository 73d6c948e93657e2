// Element types of four-component pixels: 8-bit, 16-bit words, float.
#if defined(PIXELBLITTER_DEPTH_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_DEPTH_KERNELS_INL_H
#undef PIXELBLITTER_DEPTH_KERNELS_INL_H
#else
#define PIXELBLITTER_DEPTH_KERNELS_INL_H
#endif

#include "DepthKernels.h"
#include "PairSums-inl.h"
#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// A ByteShuffle on vectors of any length.
template <class D>
class Move {
public:
    explicit Move(const ByteShuffle& move)
        : mOrder(Table(move.order)), mKeep(Table(move.keep)), mSet(Table(move.set)) {}
    HWY_INLINE hn::Vec<D> operator()(hn::Vec<D> bytes) const {
        return hn::Or(hn::And(hn::TableLookupBytes(bytes, mOrder), mKeep), mSet);
    }

private:
    static HWY_INLINE hn::Vec<D> Table(const std::uint8_t* table) { return hn::LoadDup128(D(), table); }
    hn::Vec<D> mOrder, mKeep, mSet;
};

// Codes in memory to a vector of values.
template <Element>
class ValuesFrom;

template <>
class ValuesFrom<Element::Byte> {
public:
    static constexpr std::size_t kBytes = 1;
    explicit ValuesFrom(const DepthChange& change)
        : mMove(change.codes), mZero(hn::Load(df, change.zero)), mScale(hn::Load(df, change.scale)) {}
    HWY_INLINE VF operator()(const std::uint8_t* source) const {
        const auto code = hn::ConvertTo(df, hn::PromoteTo(di, mMove(hn::LoadU(d8, source))));
        return hn::Mul(hn::Sub(code, mZero), mScale);
    }

private:
    Move<D8> mMove;
    VF mZero, mScale;
};

template <>
class ValuesFrom<Element::Word> {
public:
    static constexpr std::size_t kBytes = 2;
    explicit ValuesFrom(const DepthChange& change)
        : mMove(change.codes), mZero(hn::Load(df, change.zero)), mScale(hn::Load(df, change.scale)) {}
    HWY_INLINE VF operator()(const std::uint8_t* source) const {
        const auto words = hn::BitCast(d16, mMove(hn::LoadU(DWordBytes(), source)));
        return hn::Mul(hn::Sub(hn::ConvertTo(df, hn::PromoteTo(di, words)), mZero), mScale);
    }

private:
    using DWordBytes = hn::Repartition<std::uint8_t, D16>;
    Move<DWordBytes> mMove;
    VF mZero, mScale;
};

template <>
class ValuesFrom<Element::Float> {
public:
    static constexpr std::size_t kBytes = 4;
    explicit ValuesFrom(const DepthChange& /*change*/) {}
    HWY_INLINE VF operator()(const std::uint8_t* source) const { return hn::BitCast(df, hn::LoadU(dbytes, source)); }
};

// As many vectors of values as make one vector of elements in memory.
template <Element>
class ElementsOf;

template <>
class ElementsOf<Element::Float> {
public:
    static constexpr std::size_t kBytes = 4;
    explicit ElementsOf(const DepthChange& /*change*/) {}
    HWY_INLINE Bytes operator()(const VF values[1]) const { return hn::BitCast(dbytes, values[0]); }
};

// NaN becomes code 0: it takes the second operand of Max.
template <>
class ElementsOf<Element::Byte> {
public:
    static constexpr std::size_t kBytes = 1;
    explicit ElementsOf(const DepthChange& change)
        : mMove(change.codes), mZero(hn::Load(df, change.zero)), mScale(hn::Load(df, change.scale)) {}
    HWY_INLINE Bytes operator()(const VF values[4]) const {
        const Words low = PackToWords(Code(values[0]), Code(values[1]));
        const Words high = PackToWords(Code(values[2]), Code(values[3]));
        return mMove(Pieces::Transpose(PackToBytes(low, high)));
    }

private:
    // Beyond 2^23 no longer a code, but in any case one that the packs clip.
    HWY_INLINE Dwords Code(VF value) const {
        const VF code = hn::Max(hn::Add(hn::Mul(value, mScale), mZero), hn::Zero(df));
        const VF magic = hn::Add(code, hn::Set(df, kMagic));
        return hn::Sub(hn::BitCast(di, magic), hn::Set(di, static_cast<std::int32_t>(kMagicBits)));
    }
    Move<DBytes> mMove;
    VF mZero, mScale;
};

template <>
class ElementsOf<Element::Word> {
public:
    static constexpr std::size_t kBytes = 2;
    explicit ElementsOf(const DepthChange& change)
        : mMove(change.codes), mZero(hn::Load(df, change.zero)), mScale(hn::Load(df, change.scale)),
          mLargest(hn::Set(df, change.largest)) {}
    HWY_INLINE Bytes operator()(const VF values[2]) const {
        const Words signedCodes = PackToWords(Code(values[0]), Code(values[1]));
        const Words codes = hn::Xor(signedCodes, hn::Set(ds, std::int16_t{-32768}));
        return mMove(Pieces::Gather(hn::BitCast(dbytes, codes)));
    }

private:
    // 32768 below the code, which makes the pack lossless.
    HWY_INLINE Dwords Code(VF value) const {
        const VF sum = hn::Add(hn::Mul(value, mScale), mZero);
        const VF magic = hn::Add(hn::Min(hn::Max(sum, hn::Zero(df)), mLargest), hn::Set(df, kMagic));
        return hn::Sub(hn::BitCast(di, magic), hn::Set(di, static_cast<std::int32_t>(kMagicBits) + 32768));
    }
    Move<DBytes> mMove;
    VF mZero, mScale, mLargest;
};

// Changes work on LaneCount() pixels at once: four vectors of values.

template <class In, class Out>
class ThroughFloats {
public:
    static constexpr std::size_t kInBytes = In::kBytes;
    static constexpr std::size_t kOutBytes = Out::kBytes;
    explicit ThroughFloats(const DepthChange& change) : mIn(change), mOut(change) {}

    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* source, std::uint8_t* destination) const {
        const std::size_t lanes = LaneCount();
        const VF values[4] = {mIn(source), mIn(source + lanes * kInBytes), mIn(source + 2 * lanes * kInBytes),
                              mIn(source + 3 * lanes * kInBytes)};
        for (std::size_t i = 0; i < 4; i += 4 / kOutBytes) {
            Stores::Store(mOut(values + i), destination + i * lanes * kOutBytes);
        }
    }

private:
    In mIn;
    Out mOut;
};

class BytesToWords {
public:
    static constexpr std::size_t kInBytes = 1;
    static constexpr std::size_t kOutBytes = 2;
    explicit BytesToWords(const DepthChange& change) : mMove(change.codes) {}

    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* source, std::uint8_t* destination) const {
        const Bytes codes = Pieces::Spread(mMove(hn::LoadU(dbytes, source)));
        Stores::Store(White32768(hn::InterleaveLower(dbytes, codes, codes)), destination);
        Stores::Store(White32768(hn::InterleaveUpper(dbytes, codes, codes)), destination + 4 * LaneCount());
    }

private:
    // Of the words 257 * code: code * 32768 / 255 = 128 * code + code / 2 + code / 510, where the last term turns
    // halves up and does no more.
    static HWY_INLINE Bytes White32768(Bytes doubled) {
        return hn::BitCast(dbytes, hn::AverageRound(hn::BitCast(dw, doubled), hn::Zero(dw)));
    }
    Move<DBytes> mMove;
};

class WordsToBytes {
public:
    static constexpr std::size_t kInBytes = 2;
    static constexpr std::size_t kOutBytes = 1;
    explicit WordsToBytes(const DepthChange& change) : mMove(change.codes) {}

    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* source, std::uint8_t* destination) const {
        const Bytes codes = PackToBytes(White255(source), White255(source + 4 * LaneCount()));
        Stores::Store(mMove(Pieces::Gather(codes)), destination);
    }

private:
    // (word * 255 + 2^14) / 2^15. 32767 gives what white and everything above it does.
    static HWY_INLINE Words White255(const std::uint8_t* source) {
        const auto words = hn::Min(hn::BitCast(dw, hn::LoadU(dbytes, source)), hn::Set(dw, std::uint16_t{32767}));
        return hn::MulFixedPoint15(hn::BitCast(ds, words), hn::Set(ds, std::int16_t{255}));
    }
    Move<DBytes> mMove;
};

template <class Change>
struct DepthOp {
    const std::uint8_t* source;
    std::uint8_t* destination;
    const Change& change;
    static constexpr std::size_t kIn = 4 * Change::kInBytes; // bytes of a pixel
    static constexpr std::size_t kOut = 4 * Change::kOutBytes;

    static HWY_INLINE std::size_t Step() { return LaneCount(); }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<Change::kInBytes>(source + kIn * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        change.template Run<Stores>(source + kIn * i, destination + kOut * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t in[kIn * kMaxLanes] = {};
        alignas(64) std::uint8_t out[kOut * kMaxLanes];
        std::memcpy(in, source + kIn * i, kIn * count);
        change.template Run<Ordinary>(in, out);
        std::memcpy(destination + kOut * i, out, kOut * count);
    }
};

template <class Change>
void ChangeDepth(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const DepthChange& change,
                 const Transfer& transfer) noexcept {
    const Change prepared(change);
    RunSteps(DepthOp<Change>{source, destination, prepared}, 0, pixels, destination, 4 * Change::kOutBytes, transfer);
}

template <Element from, Element to>
using Through = ThroughFloats<ValuesFrom<from>, ElementsOf<to>>;

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
