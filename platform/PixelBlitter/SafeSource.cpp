#include "SafeSource.h"

#include <cstdlib>

namespace PixelBlitter {

bool InPlace(const SourcePicture& source, const DestinationPicture& destination) noexcept {
    return source.base == destination.base && source.stride == destination.stride;
}

bool Collides(const SourcePicture& source, const DestinationPicture& destination) noexcept {
    if (InPlace(source, destination) || !Overlap(source, ReadOnly(destination))) {
        return false;
    }
    if (source.stride != destination.stride || source.stride == 0) {
        return true;
    }
    // Rows repeat with the stride, so one distance tells where all of them lie.
    const std::ptrdiff_t period = std::abs(source.stride);
    const auto rowBytes = static_cast<std::ptrdiff_t>(UsedRowBytes(source.format, source.width));
    const auto apart = static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(destination.base) -
                                                   reinterpret_cast<std::uintptr_t>(source.base));
    const std::ptrdiff_t within = (apart % period + period) % period;
    return within < rowBytes || within + rowBytes > period;
}

SafeSource::SafeSource(const SourcePicture& source, const DestinationPicture& destination,
                       const Kernels& kernels) noexcept
    : mPicture(source) {
    const bool collides = Collides(source, destination);
    mCopy = TakeScratch(collides ? PixelBytes(source) : 0);
    if (collides && mCopy) {
        mPicture = CopyInto(source, mCopy->get(), kernels);
    }
}

} // namespace PixelBlitter
