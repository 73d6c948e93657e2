// Rows from bytes to bytes, with ordinary stores or with stores past the caches.
#if defined(PIXELBLITTER_ROW_STORES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef PIXELBLITTER_ROW_STORES_INL_H
#undef PIXELBLITTER_ROW_STORES_INL_H
#else
#define PIXELBLITTER_ROW_STORES_INL_H
#endif

#include "FusedKernels.h"
#include "Vectors-inl.h"

#include <hwy/cache_control.h>

HWY_BEFORE_NAMESPACE();
namespace PixelBlitter {
namespace HWY_NAMESPACE {
namespace {

// Stores of whole vectors. Streamed ones want an aligned address.
struct Ordinary {
    static HWY_INLINE void Store(Bytes v, std::uint8_t* at) { hn::StoreU(v, dbytes, at); }
};
struct Streaming {
    static HWY_INLINE void Store(Bytes v, std::uint8_t* at) { hn::Stream(v, dbytes, at); }
};

// Units of so many bytes from here to an aligned address; SIZE_MAX when there is none.
HWY_INLINE std::size_t UnitsToAlignment(const std::uint8_t* at, std::size_t unitBytes) {
    const std::size_t vector = hn::Lanes(dbytes);
    const std::size_t missing = (vector - reinterpret_cast<std::uintptr_t>(at) % vector) % vector;
    return missing % unitBytes == 0 ? missing / unitBytes : SIZE_MAX;
}

// So many vectors from the address on.
template <std::size_t vectors>
HWY_INLINE void FetchVectors(const std::uint8_t* at, std::ptrdiff_t ahead) {
    // The address may lie beyond the picture, where a prefetch does nothing but a pointer must not be formed.
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(at) + static_cast<std::uintptr_t>(ahead);
    for (std::size_t i = 0; i < vectors; ++i) {
        hwy::Prefetch(reinterpret_cast<const std::uint8_t*>(address + i * hn::Lanes(dbytes)));
    }
}

// Runs op on a row, op.Step() units at once. Whole steps go straight to the destination, in streamed rows from its
// first aligned address on; op.Rest(first, count) does the others, at most op.Step() at once. op.Fetch(i, ahead)
// prefetches what a step reads so many bytes later.
template <class Op>
HWY_INLINE void RunSteps(const Op& op, std::size_t first, std::size_t units, const std::uint8_t* destination,
                         std::size_t unitBytes, const Transfer& transfer) {
    const std::size_t step = op.Step();
    std::size_t i = first;
    if (transfer.stream && i < units) {
        const std::size_t head = UnitsToAlignment(destination + i * unitBytes, unitBytes);
        if (head <= std::min(units - i, step)) {
            if (head > 0) {
                op.Rest(i, head);
                i += head;
            }
            for (; i + step <= units; i += step) {
                op.Fetch(i, transfer.ahead);
                op.template Run<Streaming>(i);
            }
        }
    }
    for (; i + step <= units; i += step) {
        op.template Run<Ordinary>(i);
    }
    if (i < units) {
        op.Rest(i, units - i);
    }
}

// The op of RunSteps for pixels of so many bytes each on both sides, one vector at once. pixels gives the vector of
// results for a vector of pixels, which always starts with a whole one.
template <class Pixels, std::size_t pixelBytes>
struct PixelOp {
    const std::uint8_t* source;
    std::uint8_t* destination;
    const Pixels& pixels;

    static HWY_INLINE std::size_t Step() { return hn::Lanes(dbytes) / pixelBytes; }
    HWY_INLINE void Fetch(std::size_t i, std::ptrdiff_t ahead) const {
        FetchVectors<1>(source + pixelBytes * i, ahead);
    }
    template <class Stores>
    HWY_INLINE void Run(std::size_t i) const {
        Stores::Store(pixels(hn::LoadU(dbytes, source + pixelBytes * i)), destination + pixelBytes * i);
    }
    HWY_INLINE void Rest(std::size_t i, std::size_t count) const {
        alignas(64) std::uint8_t rest[4 * kMaxLanes] = {};
        // Never more than a step, which g++ does not see behind the checks of a sanitizer.
        const std::size_t bytes = pixelBytes * std::min(count, Step());
        std::memcpy(rest, source + pixelBytes * i, bytes);
        hn::Store(pixels(hn::Load(dbytes, rest)), dbytes, rest);
        std::memcpy(destination + pixelBytes * i, rest, bytes);
    }
};

template <std::size_t pixelBytes = 4, class Pixels>
HWY_INLINE void RunPixels(const std::uint8_t* source, std::uint8_t* destination, std::size_t count,
                          const Transfer& transfer, const Pixels& pixels) {
    RunSteps(PixelOp<Pixels, pixelBytes>{source, destination, pixels}, 0, count, destination, pixelBytes, transfer);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace PixelBlitter
HWY_AFTER_NAMESPACE();

#endif
