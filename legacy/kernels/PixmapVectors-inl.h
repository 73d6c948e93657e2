// What the vector kernels of pixel maps share with those of the converter. Included once per CPU target.
#if defined(PIXMAP_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXMAP_VECTORS_INL_H
#undef PIXMAP_VECTORS_INL_H
#else
#define PIXMAP_VECTORS_INL_H
#endif

#include "PixelBlitter/kernels/PairSums-inl.h"
#include "PixelBlitter/kernels/RowStores-inl.h"
#include "PixelBlitter/kernels/TwoTables-inl.h"
#include "PixmapKernels.h"

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {

using namespace PixelBlitter::HWY_NAMESPACE;

namespace {

// The op of RunSteps for pixels whose size changes. A change takes some whole vectors to some others: it loads all of
// them before it stores the first, so that what lies in place is read in time.
template <class Change>
struct ChangeOp {
    const std::uint8_t* source;
    std::uint8_t* destination;
    const Change& change;

    static HWY_INLINE std::size_t Step() { return Change::kInVectors * hn::Lanes(dbytes) / Change::kInBytes; }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<Change::kInVectors>(source + Change::kInBytes * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        change.template Run<Stores>(source + Change::kInBytes * i, destination + Change::kOutBytes * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        constexpr std::size_t kVector = 4 * kMaxLanes;
        alignas(64) std::uint8_t in[Change::kInVectors * kVector] = {}, out[Change::kOutVectors * kVector];
        // Never more than a step, which g++ does not see behind the checks of a sanitizer.
        const std::size_t pixels = std::min(count, Step());
        std::memcpy(in, source + Change::kInBytes * i, std::min(Change::kInBytes * pixels, sizeof in));
        change.template Run<Ordinary>(in, out);
        std::memcpy(destination + Change::kOutBytes * i, out, std::min(Change::kOutBytes * pixels, sizeof out));
    }
};

template <class Change>
void ChangePixels(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                  const Transfer& transfer) noexcept {
    const Change change;
    RunSteps(ChangeOp<Change>{source, destination, change}, 0, pixels, destination, Change::kOutBytes, transfer);
}

HWY_INLINE hn::Vec<DU> PixelsOf(Bytes v) {
    return hn::BitCast(du, v);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#endif
