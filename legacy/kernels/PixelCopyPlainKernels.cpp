// The same as ordinary loops.

#include "kernels/PixelCopyKernels.h"

#include <cstring>

namespace VF::Pixmaps {
namespace {

bool IsSet(const std::uint8_t* mask, std::size_t pixel) noexcept {
    return mask == nullptr || (mask[pixel / 8] >> (7 - pixel % 8) & 1) != 0;
}

void Copy(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
          const std::uint8_t* mask) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        if (IsSet(mask, i)) {
            std::memcpy(destination + 4 * i, source + 4 * i, 4);
        }
    }
}

void Blend(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
           std::uint8_t weight) noexcept {
    for (std::size_t i = 0; i < 4 * pixels; ++i) {
        if (IsSet(mask, i / 4)) {
            destination[i] = static_cast<std::uint8_t>((source[i] * weight + 127) / 255 +
                                                       (destination[i] * (255 - weight) + 127) / 255);
        }
    }
}

} // namespace

const PixelCopyKernels& PlainPixelCopyKernels() noexcept;
const PixelCopyKernels& PlainPixelCopyKernels() noexcept {
    static constexpr PixelCopyKernels table{.copy = Copy, .blend = Blend};
    return table;
}

} // namespace VF::Pixmaps
