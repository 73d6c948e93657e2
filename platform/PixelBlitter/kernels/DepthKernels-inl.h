// Element types of four-component pixels: 8-bit, 16-bit words, float.
#if defined(PIXELBLITTER_DEPTH_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_DEPTH_KERNELS_INL_H
#undef PIXELBLITTER_DEPTH_KERNELS_INL_H
#else
#define PIXELBLITTER_DEPTH_KERNELS_INL_H
#endif

#include "DepthKernels.h"
#include "LightTables.h"
#include "PairSums-inl.h"
#include "RowStores-inl.h"
#include "TransferKernels-inl.h"

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

// Elements in memory to a vector of values.
template <Element>
class ValuesFrom;

template <>
class ValuesFrom<Element::Byte> {
public:
    static constexpr std::size_t kBytes = 1;
    explicit ValuesFrom(const DepthChange& change)
        : mMove(change.in.order), mZero(hn::Load(df, change.in.zero)), mScale(hn::Load(df, change.in.scale)) {}
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
        : mMove(change.in.order), mZero(hn::Load(df, change.in.zero)), mScale(hn::Load(df, change.in.scale)) {}
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

class LinearOfBytes {
public:
    static constexpr std::size_t kBytes = 1;
    explicit LinearOfBytes(const DepthChange& change)
        : mMove(change.in.order), mTable(hn::And(hn::BitCast(di, hn::Load(du, change.alphaLanes)),
                                                 hn::Set(di, static_cast<std::int32_t>(kAlphaOfTable)))) {}
    HWY_INLINE VF operator()(const std::uint8_t* source) const {
        const auto code = hn::PromoteTo(di, mMove(hn::LoadU(d8, source)));
        return hn::GatherIndex(df, kLightOfCodes.data(), hn::Or(code, mTable));
    }

private:
    Move<D8> mMove;
    hn::Vec<DI> mTable;
};

class ReorderedFloats {
public:
    static constexpr std::size_t kBytes = 4;
    explicit ReorderedFloats(const DepthChange& change) : mMove(change.in.order) {}
    HWY_INLINE VF operator()(const std::uint8_t* source) const {
        return hn::BitCast(df, mMove(hn::LoadU(dbytes, source)));
    }

private:
    Move<DBytes> mMove;
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

// Of four vectors of codes below 2^22 in size: as bytes, clipped.
HWY_INLINE Bytes JoinCodes(VF a, VF b, VF c, VF d) {
    const auto code = [](VF value) HWY_ATTR {
        const auto bits = hn::BitCast(di, hn::Add(value, hn::Set(df, kMagic)));
        return hn::Sub(bits, hn::Set(di, static_cast<std::int32_t>(kMagicBits)));
    };
    return Pieces::Transpose(PackToBytes(PackToWords(code(a), code(b)), PackToWords(code(c), code(d))));
}

// NaN becomes code 0: it takes the second operand of Max.
template <>
class ElementsOf<Element::Byte> {
public:
    static constexpr std::size_t kBytes = 1;
    explicit ElementsOf(const DepthChange& change)
        : mMove(change.out.order), mZero(hn::Load(df, change.out.zero)), mScale(hn::Load(df, change.out.scale)) {}
    HWY_INLINE Bytes operator()(const VF values[4]) const {
        return mMove(JoinCodes(Code(values[0]), Code(values[1]), Code(values[2]), Code(values[3])));
    }

private:
    HWY_INLINE VF Code(VF value) const { return hn::Max(hn::Add(hn::Mul(value, mScale), mZero), hn::Zero(df)); }
    Move<DBytes> mMove;
    VF mZero, mScale;
};

// One of 32 floats for every lane, by the lowest five bits of its index.
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
class Table32 {
public:
    explicit Table32(const float table[32]) : mLow(hn::Load(df, table)), mHigh(hn::Load(df, table + 16)) {}
    HWY_INLINE VF operator[](hn::Vec<DI> index) const {
        return VF{_mm512_permutex2var_ps(mLow.raw, index.raw, mHigh.raw)};
    }

private:
    VF mLow, mHigh;
};
#else
class Table32 {
public:
    explicit Table32(const float table[32]) : mTable(table) {}
    HWY_INLINE VF operator[](hn::Vec<DI> index) const {
        return hn::GatherIndex(df, mTable, hn::And(index, hn::Set(di, 31)));
    }

private:
    const float* mTable;
};
#endif

class BytesOfLinear {
public:
    static constexpr std::size_t kBytes = 1;
    explicit BytesOfLinear(const DepthChange& change)
        : mMove(change.out.order), mAlphaLanes(hn::BitCast(df, hn::Load(du, change.alphaLanes))),
          mLargest(hn::IfThenElse(AlphaLanes(), hn::Set(df, 1.0F), hn::Set(df, CodesOfLight::kLargest))),
          mSquare(kCodesOfLight.square), mLinear(kCodesOfLight.linear), mConstant(kCodesOfLight.constant) {}
    HWY_INLINE Bytes operator()(const VF values[4]) const {
        return mMove(JoinCodes(Code(values[0]), Code(values[1]), Code(values[2]), Code(values[3])));
    }

private:
    HWY_INLINE hn::Mask<DF> AlphaLanes() const { return hn::MaskFromVec(mAlphaLanes); }
    HWY_INLINE VF Code(VF linear) const {
        const VF value = hn::Min(hn::Max(linear, hn::Zero(df)), mLargest);
        const auto lifted = hn::BitCast(di, hn::Add(value, hn::Set(df, CodesOfLight::kLift)));
        const auto piece = hn::ShiftRight<CodesOfLight::kShift>(lifted);
        const VF curve =
            hn::Add(hn::Mul(hn::Add(hn::Mul(mSquare[piece], value), mLinear[piece]), value), mConstant[piece]);
        // A little more than the product lifts halves, as in every other quantiser.
        const VF alpha = hn::Add(hn::Mul(value, hn::Set(df, 255.0F)), hn::Set(df, 0x1p-16F));
        return hn::IfThenElse(AlphaLanes(), alpha, curve);
    }
    Move<DBytes> mMove;
    VF mAlphaLanes, mLargest;
    Table32 mSquare, mLinear, mConstant;
};

template <>
class ElementsOf<Element::Word> {
public:
    static constexpr std::size_t kBytes = 2;
    explicit ElementsOf(const DepthChange& change)
        : mMove(change.out.order), mZero(hn::Load(df, change.out.zero)), mScale(hn::Load(df, change.out.scale)),
          mLargest(hn::Set(df, change.out.largest)) {}
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

struct NoSteps {
    explicit NoSteps(const DepthChange& /*change*/) {}
    HWY_INLINE VF operator()(VF values) const { return values; }
};

// Steps between values whose kind is known when the kernel is compiled, or looked up.
class AlphaSteps {
public:
    explicit AlphaSteps(const DepthChange& change)
        : mSpread(hn::LoadDup128(dbytes, change.spreadAlpha)),
          mAlphaLanes(hn::BitCast(df, hn::Load(du, change.alphaLanes))) {}
    HWY_INLINE auto AlphaLanes() const { return hn::MaskFromVec(mAlphaLanes); }
    HWY_INLINE VF Premultiplied(VF values) const {
        const VF alpha = Alpha(values);
        return hn::Mul(values, hn::IfThenElse(AlphaLanes(), hn::Set(df, 1.0F), alpha));
    }
    HWY_INLINE VF Unpremultiplied(VF values) const {
        const VF alpha = Alpha(values);
        const auto transparent = hn::Eq(alpha, hn::Zero(df));
        const VF divisor = hn::IfThenElse(hn::Or(transparent, AlphaLanes()), hn::Set(df, 1.0F), alpha);
        return hn::IfThenZeroElse(transparent, hn::Div(values, divisor));
    }

private:
    HWY_INLINE VF Alpha(VF values) const {
        return hn::BitCast(df, hn::TableLookupBytes(hn::BitCast(dbytes, values), mSpread));
    }
    Bytes mSpread;
    VF mAlphaLanes;
};

class AnySteps {
public:
    explicit AnySteps(const DepthChange& change) : mAlpha(change), mChange(change) {}
    HWY_INLINE VF operator()(VF values) const {
        if (mChange.unpremultiply) {
            values = mAlpha.Unpremultiplied(values);
        }
        if (mChange.fromLinear) {
            values = hn::IfThenElse(mAlpha.AlphaLanes(), values, EncodedOf(values));
        }
        if (mChange.toLinear) {
            values = hn::IfThenElse(mAlpha.AlphaLanes(), values, LinearOf(values));
        }
        return mChange.premultiply ? mAlpha.Premultiplied(values) : values;
    }

private:
    AlphaSteps mAlpha;
    const DepthChange& mChange;
};

class PremultiplyIfNeedBe {
public:
    explicit PremultiplyIfNeedBe(const DepthChange& change) : mAlpha(change), mNeeded(change.premultiply) {}
    HWY_INLINE VF operator()(VF values) const { return mNeeded ? mAlpha.Premultiplied(values) : values; }

private:
    AlphaSteps mAlpha;
    bool mNeeded;
};

class UnpremultiplyIfNeedBe {
public:
    explicit UnpremultiplyIfNeedBe(const DepthChange& change) : mAlpha(change), mNeeded(change.unpremultiply) {}
    HWY_INLINE VF operator()(VF values) const { return mNeeded ? mAlpha.Unpremultiplied(values) : values; }

private:
    AlphaSteps mAlpha;
    bool mNeeded;
};

template <class In, class Steps, class Out>
class ThroughFloats {
public:
    static constexpr std::size_t kInBytes = In::kBytes;
    static constexpr std::size_t kOutBytes = Out::kBytes;
    explicit ThroughFloats(const DepthChange& change) : mIn(change), mSteps(change), mOut(change) {}

    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* source, std::uint8_t* destination) const {
        const std::size_t lanes = LaneCount();
        const auto value = [&](std::size_t i) HWY_ATTR { return mSteps(mIn(source + i * lanes * kInBytes)); };
        const VF values[4] = {value(0), value(1), value(2), value(3)};
        for (std::size_t i = 0; i < 4; i += 4 / kOutBytes) {
            Stores::Store(mOut(values + i), destination + i * lanes * kOutBytes);
        }
    }

private:
    In mIn;
    Steps mSteps;
    Out mOut;
};

class BytesToWords {
public:
    static constexpr std::size_t kInBytes = 1;
    static constexpr std::size_t kOutBytes = 2;
    explicit BytesToWords(const DepthChange& change) : mMove(change.in.order) {}

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
    explicit WordsToBytes(const DepthChange& change) : mMove(change.out.order) {}

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
        const std::size_t pixels = std::min(count, kMaxLanes); // which g++ does not see behind a sanitizer's checks
        std::memcpy(in, source + kIn * i, kIn * pixels);
        change.template Run<Ordinary>(in, out);
        std::memcpy(destination + kOut * i, out, kOut * pixels);
    }
};

template <class Change>
void ChangeDepth(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const DepthChange& change,
                 const Transfer& transfer) noexcept {
    const Change prepared(change);
    RunSteps(DepthOp<Change>{source, destination, prepared}, 0, pixels, destination, 4 * Change::kOutBytes, transfer);
}

template <Element from, Element to>
using Plain = ThroughFloats<ValuesFrom<from>, NoSteps, ElementsOf<to>>;
using BytesToLinear = ThroughFloats<LinearOfBytes, PremultiplyIfNeedBe, ElementsOf<Element::Float>>;
using LinearToBytes = ThroughFloats<ValuesFrom<Element::Float>, UnpremultiplyIfNeedBe, BytesOfLinear>;
template <Element from, Element to>
using Stepwise = ThroughFloats<ValuesFrom<from>, AnySteps, ElementsOf<to>>;

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
