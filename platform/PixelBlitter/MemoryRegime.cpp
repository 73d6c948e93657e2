#include "MemoryRegime.h"

namespace PixelBlitter {
namespace {

// Up to here the destination is worth keeping in the caches for whoever reads it next, beyond it is not: a 1080p copy
// of 8-bit pixels moves 16 MiB and a reader that follows is a third slower after streaming stores than the copy gained;
// 8-bit to float moves 40 MiB and takes half the time with them, a UHD frame likewise.
constexpr std::uint64_t kStreamingThreshold = std::uint64_t{6} << 20;

} // namespace

bool StreamsStores(std::uint64_t bytesMoved) noexcept {
    return bytesMoved > kStreamingThreshold;
}

} // namespace PixelBlitter
