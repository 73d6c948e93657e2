// Look-ups of bytes in tables of 256, for processors that look up whole vectors of them. Elsewhere nothing is faster
// than ordinary loops, gathers of 32-bit entries included.

#include "PixelBlitter/kernels/VectorTargets.h"

// One target beside the baseline, which all of the library has.
#undef HWY_DISABLED_TARGETS
#define HWY_DISABLED_TARGETS                                                                                           \
    (HWY_SSE4 | HWY_AVX2 | HWY_AVX3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#define HWY_WANT_AVX3_DL

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/VectorLookUps.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "PixmapVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_AVX3_DL
namespace {

// One instruction looks into half a table, and leaves the bytes that it is not to change.
class ByteTable {
public:
    explicit ByteTable(const std::uint8_t table[256]) {
        for (std::size_t i = 0; i < 4; ++i) {
            mQuarters[i] = hn::LoadU(dbytes, table + 64 * i);
        }
    }
    // The entries of 0 to 127, and of 128 to 255, for the low seven bits of some bytes.
    HWY_INLINE Bytes Lower(Bytes v, __mmask64 which) const { return Look(0, v, which); }
    HWY_INLINE Bytes Upper(Bytes v, __mmask64 which) const { return Look(2, v, which); }

private:
    HWY_INLINE Bytes Look(int half, Bytes v, __mmask64 which) const {
        return Bytes{_mm512_mask2_permutex2var_epi8(mQuarters[half].raw, v.raw, which, mQuarters[half + 1].raw)};
    }
    Bytes mQuarters[4];
};

HWY_INLINE __mmask64 IsUpper(Bytes indexes) {
    return _mm512_movepi8_mask(indexes.raw);
}

struct FromPalette {
    static constexpr std::size_t kInBytes = 1, kOutBytes = 4, kInVectors = 1, kOutVectors = 4;
    explicit FromPalette(const PaletteTables& palette)
        : mComponents{ByteTable(palette.components[0]), ByteTable(palette.components[1]),
                      ByteTable(palette.components[2]), ByteTable(palette.components[3])} {}

    template <class Stores>
    HWY_INLINE void Run(const std::uint8_t* in, std::uint8_t* out) const {
        // Undoes beforehand the order in which blocks are interleaved.
        const Bytes indexes = Pieces::Transpose(hn::LoadU(dbytes, in));
        const __mmask64 upper = IsUpper(indexes);
        const auto component = [=, this](std::size_t i) HWY_ATTR {
            return mComponents[i].Upper(mComponents[i].Lower(indexes, ~upper), upper);
        };
        const Bytes b = component(0), g = component(1), r = component(2), a = component(3);
        const auto words = [](Bytes v) HWY_ATTR { return hn::BitCast(dw, v); };
        const auto store = [=](std::size_t i, hn::Vec<DW> pixels)
                               HWY_ATTR { Stores::Store(hn::BitCast(dbytes, pixels), out + i * hn::Lanes(dbytes)); };
        const auto lowBlueGreen = words(hn::InterleaveLower(dbytes, b, g));
        const auto lowRedAlpha = words(hn::InterleaveLower(dbytes, r, a));
        store(0, hn::InterleaveLower(dw, lowBlueGreen, lowRedAlpha));
        store(1, hn::InterleaveUpper(dw, lowBlueGreen, lowRedAlpha));
        const auto highBlueGreen = words(hn::InterleaveUpper(dbytes, b, g));
        const auto highRedAlpha = words(hn::InterleaveUpper(dbytes, r, a));
        store(2, hn::InterleaveLower(dw, highBlueGreen, highRedAlpha));
        store(3, hn::InterleaveUpper(dw, highBlueGreen, highRedAlpha));
    }

private:
    ByteTable mComponents[4];
};

void From8To32(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const PaletteTables& palette,
               const Transfer& transfer) noexcept {
    const FromPalette change(palette);
    RunSteps(ChangeOp<FromPalette>{source, destination, change}, 0, pixels, destination, 4, transfer);
}

void MapColours(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t red[256],
                const std::uint8_t green[256], const std::uint8_t blue[256], const Transfer& transfer) noexcept {
    constexpr __mmask64 kBlue = 0x1111111111111111U, kGreen = kBlue << 1, kRed = kBlue << 2;
    const ByteTable ofBlue(blue), ofGreen(green), ofRed(red);
    RunPixels(source, destination, pixels, transfer, [=](Bytes v) HWY_ATTR {
        const Bytes lower = ofRed.Lower(ofGreen.Lower(ofBlue.Lower(v, kBlue), kGreen), kRed);
        const Bytes upper = ofRed.Upper(ofGreen.Upper(ofBlue.Upper(v, kBlue), kGreen), kRed);
        return hn::IfThenElse(hn::Mask<DBytes>{IsUpper(v)}, upper, lower);
    });
}

} // namespace
#endif

const LookUpKernels* LookUpTable() {
#if HWY_TARGET == HWY_AVX3_DL
    static constexpr LookUpKernels table{.from8To32 = From8To32, .mapColours = MapColours};
    return &table;
#else
    return &PlainLookUps();
#endif
}

} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace VF::Pixmaps {

HWY_EXPORT(LookUpTable);

const LookUpKernels& LookUpsOfThisMachine() noexcept {
    hwy::ChosenTarget& chosen = hwy::GetChosenTarget();
    if (!chosen.IsInitialized()) {
        chosen.Update(hwy::SupportedTargets());
    }
    // Beyond the last vector target lies the fallback.
    return chosen.GetIndex() > HWY_MAX_DYNAMIC_TARGETS ? PlainLookUps() : *HWY_DYNAMIC_DISPATCH(LookUpTable)();
}

} // namespace VF::Pixmaps
#endif
