#include "Peer.h"

#include <libyuv.h>

namespace {

void Dissolve(const Pictures& p, float weight) {
    libyuv::ARGBInterpolate(p.a, p.rowBytes, p.b, p.rowBytes, p.destination, p.rowBytes, p.rowBytes / 4, p.height,
                            static_cast<int>(weight * 256 + 0.5F));
}

void Deinterlace(const Pictures& p) {
    std::uint8_t* const row = p.destination;
    libyuv::InterpolatePlane(row, 2 * p.rowBytes, row + 2 * p.rowBytes, 2 * p.rowBytes, row + p.rowBytes,
                             2 * p.rowBytes, p.rowBytes, p.height / 2 - 1, 128);
}

void Blur(const Pictures& p) {
    const auto mean = [&](const std::uint8_t* x, const std::uint8_t* y, std::uint8_t* to) {
        libyuv::InterpolatePlane(x, p.rowBytes, y, p.rowBytes, to, p.rowBytes, p.rowBytes, 1, 128);
    };
    alignas(64) static std::uint8_t scratch[1 << 16];
    for (int row = p.height - 2; row > 0; --row) {
        const std::uint8_t* const at = p.a + row * p.rowBytes;
        mean(at + p.rowBytes, at - p.rowBytes, scratch);
        mean(scratch, at, p.destination + row * p.rowBytes);
    }
}

} // namespace

const Peer kLibyuvPeer{"libyuv", Dissolve, Deinterlace, Blur, nullptr, nullptr};
