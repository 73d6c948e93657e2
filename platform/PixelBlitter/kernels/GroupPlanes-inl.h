// Planes of 8-bit 4:2:0 to 10-bit 4:2:2 in groups, with the same matrix.
#if defined(PIXELBLITTER_GROUP_PLANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_PLANES_INL_H
#undef PIXELBLITTER_GROUP_PLANES_INL_H
#else
#define PIXELBLITTER_GROUP_PLANES_INL_H
#endif

#include "GroupCodes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Codes as JoinGroups wants them, of columns i to i + kLanes.
template <bool centred>
HWY_INLINE hn::Vec<DU> CodesOfPlanes(const std::uint8_t* luma, const std::int16_t* chroma) {
    const auto load = [](const std::int16_t* from)
                          HWY_ATTR { return hn::PromoteTo(di, hn::LoadU(hn::Rebind<std::int16_t, DF>(), from)); };
    const auto y = hn::ShiftLeft<12>(hn::PromoteTo(du, hn::LoadU(d8, luma)));
    auto c = load(chroma);
    if constexpr (centred) {
        // Interpolation to full width and the triangle back add up to (5 10 1) / 16.
        const auto outer = hn::Add(load(chroma - 2), hn::Add(c, c));
        const auto sum = hn::Add(hn::Add(hn::ShiftLeft<2>(outer), outer), load(chroma + 2));
        c = hn::ShiftRight<8>(hn::Add(sum, hn::Set(di, 512 * 256 + 128)));
    } else {
        c = hn::ShiftRight<4>(hn::Add(c, hn::Set(di, 512 * 16 + 8)));
    }
    return hn::Or(y, hn::BitCast(du, c));
}

template <bool centred>
void PlanesToGroupsBy(const std::uint8_t* luma, const std::int16_t* chroma, std::uint8_t* destination,
                      std::size_t pixels, const Transfer& transfer) noexcept {
    JoinStrips(destination, pixels, transfer, [&](std::size_t left, std::size_t right, std::uint32_t* codes) HWY_ATTR {
        std::size_t x = left;
        for (; x + kLanes <= right; x += kLanes) {
            if (transfer.stream && x % hn::Lanes(dbytes) == 0) {
                FetchVectors<1>(luma + x, transfer.ahead);
            }
            hn::StoreU(CodesOfPlanes<centred>(luma + x, chroma + x), du, codes + x - left);
        }
        if (x < right) {
            std::uint8_t rest[kMaxLanes] = {};
            std::memcpy(rest, luma + x, right - x);
            hn::StoreU(CodesOfPlanes<centred>(rest, chroma + x), du, codes + x - left);
        }
    });
}

void PlanesToGroups(const std::uint8_t* luma, std::int16_t* chroma, bool centred, std::uint8_t* destination,
                    std::size_t pixels, const Transfer& transfer) noexcept {
    if (!centred) {
        PlanesToGroupsBy<false>(luma, chroma, destination, pixels, transfer);
        return;
    }
    if (pixels % 2 != 0) {
        // The triangle sees the last column twice, which comes to the sample before the last one taking the place of
        // the one behind it.
        std::memcpy(chroma + pixels + 1, chroma + pixels - 3, 2 * sizeof(std::int16_t));
    }
    PlanesToGroupsBy<true>(luma, chroma, destination, pixels, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
