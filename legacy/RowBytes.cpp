#include "TPix.h"
#include "VideoFrameGeometry.h"

#include <cstdint>

namespace {

// Rounded up to whole 32-bit words, of which the part before the rounding is kept to 16 bits: a rule of the record's
// age that its other readers follow, too.
std::int32_t WholeWords(std::int64_t bytes) noexcept {
    const auto kept = static_cast<std::int32_t>(bytes & 0xFFFC);
    return (bytes & 3) != 0 ? kept + 4 : kept;
}

} // namespace

std::int32_t CalcRowBytes(std::int32_t inWidth, std::int32_t inDepth) {
    const std::int64_t width = inWidth;
    switch (inDepth) {
    case 32:
        return VF::Details::WrappingProduct(inWidth, 4);
    case 24:
        return WholeWords(width * 3);
    case 16:
        return WholeWords(width * 2);
    case 8:
        return WholeWords(width);
    case 4:
        return WholeWords((width + 1) / 2);
    case 1:
        return WholeWords((width + 7) / 8);
    default:
        return 0;
    }
}
