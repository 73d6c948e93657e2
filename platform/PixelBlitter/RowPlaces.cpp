#include "RowPlaces.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace PixelBlitter {

bool Collide(const RowPlaces& source, const RowPlaces& destination, const RowExtent& extent) noexcept {
    if (source == destination) {
        return false;
    }
    const auto range = [&](const RowPlaces& rows) {
        const auto first = reinterpret_cast<std::uintptr_t>(rows.base);
        const auto last = first + static_cast<std::uintptr_t>((extent.count - 1) * rows.stride);
        return AddressRange{std::min(first, last), std::max(first, last) + extent.bytes};
    };
    const AddressRange read = range(source);
    const AddressRange written = range(destination);
    if (read.first >= written.end || written.first >= read.end) {
        return false;
    }
    if (source.stride != destination.stride || source.stride == 0) {
        return true;
    }
    // Rows repeat with the stride, so one distance tells where all of them lie.
    const auto period = static_cast<std::uintptr_t>(std::abs(source.stride));
    const std::uintptr_t apart = written.first >= read.first ? (written.first - read.first) % period
                                                             : period - 1 - (read.first - written.first - 1) % period;
    return apart < extent.bytes || apart + extent.bytes > period;
}

std::optional<ScratchBlock> MoveApart(RowPlaces& source, const RowPlaces& destination,
                                      const RowExtent& extent) noexcept {
    if (!Collide(source, destination, extent)) {
        return ScratchBlock{};
    }
    std::optional<ScratchBlock> copy = TakeScratch(extent.Total());
    if (copy) {
        auto* const bytes = static_cast<std::uint8_t*>(copy->get());
        for (int row = 0; row < extent.count; ++row) {
            std::memcpy(bytes + static_cast<std::size_t>(row) * extent.bytes, source[row], extent.bytes);
        }
        source = {bytes, extent.count > 1 ? static_cast<std::ptrdiff_t>(extent.bytes) : 0};
    }
    return copy;
}

} // namespace PixelBlitter
