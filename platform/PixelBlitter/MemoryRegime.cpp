#include "MemoryRegime.h"

namespace PixelBlitter {
namespace {

constexpr std::uint64_t kStreamingThreshold = std::uint64_t{64} << 20;

} // namespace

bool StreamsStores(std::uint64_t bytesMoved) noexcept {
    return bytesMoved > kStreamingThreshold;
}

} // namespace PixelBlitter
