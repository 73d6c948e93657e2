// 10-bit 4:2:2 in groups to and from 8-bit pixels of four components.
#if defined(PIXELBLITTER_GROUP_PIXELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_GROUP_PIXELS_INL_H
#undef PIXELBLITTER_GROUP_PIXELS_INL_H
#else
#define PIXELBLITTER_GROUP_PIXELS_INL_H
#endif

#include "GroupCodes-inl.h"
#include "HalvedPixels-inl.h"
#include "WidenedPixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

template <bool reorder>
void GroupsToPixelsBy(const std::uint8_t* source, const PixelWidening& widening, std::uint8_t* destination,
                      std::size_t pixels, const Transfer& transfer) noexcept {
    const WidenedPixels<LumaLayout::Codes, false, reorder> widened(widening);
    ForStrips(source, false, destination, 8, pixels, transfer,
              [&](std::size_t left, const std::uint16_t* luma, const std::int16_t* chroma, std::size_t right) HWY_ATTR {
                  std::uint8_t* const to = destination + 4 * left;
                  const ChromaToPixelsOp<LumaLayout::Codes, false, reorder> op{
                      reinterpret_cast<const std::uint8_t*>(luma), chroma, to, right - left, widened};
                  RunSteps(op, 0, (right - left) / 2, to, 8, {transfer.stream, 0});
                  if ((right - left) % 2 != 0) {
                      op.Rest((right - left) / 2, 1);
                  }
              });
}

void GroupsToPixels(const std::uint8_t* source, const PixelWidening& widening, std::uint8_t* destination,
                    std::size_t pixels, const Transfer& transfer) noexcept {
    const auto run = widening.reorder ? GroupsToPixelsBy<true> : GroupsToPixelsBy<false>;
    run(source, widening, destination, pixels, transfer);
}

template <WeightScale scale>
class PixelCodes {
public:
    explicit PixelCodes(const PixelHalving& halving) : mPixels(halving, 0), mChroma(halving, BitsOf(scale) + 2) {}

    // As JoinGroups wants them. No colour of 8 bits lies outside the range of 10.
    HWY_INLINE hn::Vec<DU> operator()(const std::uint8_t* pixels) const {
        const Bytes in = hn::LoadU(dbytes, pixels);
        const Dwords chroma = hn::ShiftRight<BitsOf(scale) + 2>(mChroma(mPixels.template Sums<false>(pixels, in)));
        const Dwords luma = hn::ShiftRight<BitsOf(scale) - 10>(mPixels.Luma(in));
        return hn::BitCast(du, hn::OrAnd(chroma, luma, hn::Set(di, ~0x3FF)));
    }

private:
    HalvedPixels<scale> mPixels;
    ChromaOfSums mChroma;
};

template <WeightScale scale>
void PixelsToGroupsAt(const std::uint8_t* source, const PixelHalving& halving, std::uint8_t* destination,
                      std::size_t pixels, const Transfer& transfer) noexcept {
    const PixelCodes<scale> codesOf(halving);
    JoinPixels<4>(source, destination, pixels, transfer, codesOf);
}

void PixelsToGroups(const std::uint8_t* source, const PixelHalving& halving, std::uint8_t* destination,
                    std::size_t pixels, const Transfer& transfer) noexcept {
    const auto run = halving.scale == WeightScale::Broad ? PixelsToGroupsAt<WeightScale::Broad>
                                                         : PixelsToGroupsAt<WeightScale::Coarse>;
    run(source, halving, destination, pixels, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
