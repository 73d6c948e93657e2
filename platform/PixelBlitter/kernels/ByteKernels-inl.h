// Moves of bytes.
#if defined(PIXELBLITTER_BYTE_KERNELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_BYTE_KERNELS_INL_H
#undef PIXELBLITTER_BYTE_KERNELS_INL_H
#else
#define PIXELBLITTER_BYTE_KERNELS_INL_H
#endif

#include "RowStores-inl.h"

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

void Shuffle(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes, const ByteShuffle& move,
             const Transfer& transfer) noexcept {
    const auto order = hn::LoadDup128(dbytes, move.order);
    const auto keep = hn::LoadDup128(dbytes, move.keep);
    const auto set = hn::LoadDup128(dbytes, move.set);
    const auto shuffle = [=](Bytes pixels)
                             HWY_ATTR { return hn::Or(hn::And(hn::TableLookupBytes(pixels, order), keep), set); };
    if (move.pixelBytes == 16) {
        RunPixels<16>(source, destination, bytes / 16, transfer, shuffle);
    } else if (move.pixelBytes == 8) {
        RunPixels<8>(source, destination, bytes / 8, transfer, shuffle);
    } else {
        RunPixels(source, destination, bytes / 4, transfer, shuffle);
    }
}

struct CopyOp {
    const std::uint8_t* source;
    std::uint8_t* destination;

    static HWY_INLINE std::size_t Step() { return hn::Lanes(dbytes); }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const { FetchVectors<1>(source + i, ahead); }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(hn::LoadU(dbytes, source + i), destination + i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const { std::memcpy(destination + i, source + i, count); }
};

void CopyAhead(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes,
               std::ptrdiff_t ahead) noexcept {
    RunSteps(CopyOp{source, destination}, 0, bytes, destination, 1, {true, ahead});
}

void StreamCopy(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept {
    CopyAhead(source, destination, bytes, 0);
}

void FinishStreaming() noexcept {
    hwy::FlushStream();
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
