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
             bool stream) noexcept {
    const auto order = hn::LoadDup128(dbytes, move.order);
    const auto keep = hn::LoadDup128(dbytes, move.keep);
    const auto set = hn::LoadDup128(dbytes, move.set);
    RunPixels(source, destination, bytes / 4, stream,
              [=](Bytes pixels) HWY_ATTR { return hn::Or(hn::And(hn::TableLookupBytes(pixels, order), keep), set); });
}

void StreamCopy(const std::uint8_t* source, std::uint8_t* destination, std::size_t bytes) noexcept {
    const std::size_t step = hn::Lanes(dbytes);
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(destination) % step;
    const std::size_t head = misaligned == 0 ? 0 : step - misaligned;
    if (bytes < head + step) {
        std::memcpy(destination, source, bytes);
        return;
    }
    std::memcpy(destination, source, head);
    std::size_t i = head;
    for (; i + step <= bytes; i += step) {
        hn::Stream(hn::LoadU(dbytes, source + i), dbytes, destination + i);
    }
    std::memcpy(destination + i, source + i, bytes - i);
}

void FinishStreaming() noexcept {
    hwy::FlushStream();
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
