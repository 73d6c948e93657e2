#include "ByteMoves.h"

#include "Colour.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace PixelBlitter {
namespace {

// The bytes of one opaque alpha component.
void StoreOpaque(Packing packing, std::uint8_t* component) noexcept {
    if (packing == Packing::Bytes) {
        *component = 255;
    } else if (packing == Packing::Words) {
        const std::uint16_t white = 32768;
        std::memcpy(component, &white, sizeof white);
    } else {
        const float white = 1;
        std::memcpy(component, &white, sizeof white);
    }
}

} // namespace

ByteShuffle ShuffleBetween(Packing packing, const Format& from, const Format& to) noexcept {
    ByteShuffle move{};
    std::fill(std::begin(move.keep), std::end(move.keep), std::uint8_t{0xFF});
    const bool reorders = from.alphaFirst != to.alphaFirst;
    move.pixelBytes = 4;
    if (packing == Packing::Pairs) {
        for (unsigned i = 0; i < 16; ++i) {
            move.order[i] = static_cast<std::uint8_t>(reorders ? i ^ 1U : i);
        }
        return move;
    }
    const unsigned componentBytes = packing == Packing::Bytes ? 1 : packing == Packing::Words ? 2 : 4;
    const unsigned pixelBytes = 4 * componentBytes;
    move.pixelBytes = pixelBytes;
    for (unsigned i = 0; i < 16; ++i) {
        const unsigned component = i % pixelBytes / componentBytes;
        const unsigned from4 = reorders ? 3 - component : component;
        move.order[i] =
            static_cast<std::uint8_t>(i / pixelBytes * pixelBytes + from4 * componentBytes + i % componentBytes);
    }
    if (AlphaStepBetween(from.alpha, to.alpha) == AlphaStep::Opaque) {
        for (unsigned pixel = 0; pixel < 16; pixel += pixelBytes) {
            const unsigned alpha = pixel + (to.alphaFirst ? 0 : 3 * componentBytes);
            std::fill_n(move.keep + alpha, componentBytes, std::uint8_t{0});
            StoreOpaque(packing, move.set + alpha);
        }
    }
    return move;
}

} // namespace PixelBlitter
