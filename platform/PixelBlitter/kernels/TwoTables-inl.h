// Moves of 32-bit lanes out of two vectors.
#if defined(PIXELBLITTER_TWO_TABLES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_TWO_TABLES_INL_H
#undef PIXELBLITTER_TWO_TABLES_INL_H
#else
#define PIXELBLITTER_TWO_TABLES_INL_H
#endif

#include "Vectors-inl.h"

#include <array>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

constexpr std::size_t kLanes = hn::MaxLanes(DF());
using LaneTable = std::array<std::int32_t, kLanes>;

template <class Entry>
constexpr LaneTable TableOf(const Entry& entry) {
    LaneTable table{};
    for (std::size_t i = 0; i < kLanes; ++i) {
        table[i] = static_cast<std::int32_t>(entry(i));
    }
    return table;
}

// The lanes of a vector b that follow those of a vector a are numbered from kLanes on.
class TwoTables {
public:
    explicit TwoTables(const LaneTable& table) {
        alignas(64) LaneTable lanes;
        for (std::size_t i = 0; i < kLanes; ++i) {
            lanes[i] = table[i] % static_cast<std::int32_t>(kLanes);
        }
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
        mLanes = hn::LoadU(di, table.data());
#else
        mLanes = hn::SetTableIndices(du, lanes.data());
        mFromB = hn::Gt(hn::LoadU(di, table.data()), hn::Set(di, static_cast<std::int32_t>(kLanes) - 1));
#endif
    }

    HWY_INLINE hn::Vec<DU> operator()(hn::Vec<DU> a, hn::Vec<DU> b) const {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
        return hn::Vec<DU>{_mm512_permutex2var_epi32(a.raw, mLanes.raw, b.raw)};
#else
        return hn::IfThenElse(hn::RebindMask(du, mFromB), hn::TableLookupLanes(b, mLanes),
                              hn::TableLookupLanes(a, mLanes));
#endif
    }

private:
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
    hn::Vec<DI> mLanes;
#else
    decltype(hn::SetTableIndices(du, static_cast<const std::int32_t*>(nullptr))) mLanes;
    hn::Mask<DI> mFromB;
#endif
};

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
