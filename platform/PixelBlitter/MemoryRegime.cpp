#include "MemoryRegime.h"

namespace PixelBlitter {
namespace {

// Where source and destination no longer fit the second-level cache of a core together (2 MiB today) they come from the
// shared cache or from memory, and there a copy past the caches took 0.65 of the time of an ordinary one when the
// pictures were in memory and 0.78 when they were in the shared cache. A reader that follows finds the result in memory
// instead of in the shared cache; counting its time, too, 16 MiB (a 1080p frame of 8-bit pixels copied) took 0.77 and
// 1.0 of the time, 8 MiB 0.78 and 1.13, 4 MiB 0.89 and 1.3. Whether a caller's pictures are cached cannot be known, so
// the line is where the gain from memory outweighs the loss in the cache.
constexpr std::uint64_t kStreamingThreshold = std::uint64_t{6} << 20;

// Far enough for memory's latency at the speed of the fastest kernels, near enough to stay in the first-level cache.
constexpr std::ptrdiff_t kFetchDistance = 2048;

} // namespace

bool StreamsStores(std::uint64_t bytesMoved) noexcept {
    return bytesMoved > kStreamingThreshold;
}

std::ptrdiff_t FetchDistance() noexcept {
    return kFetchDistance;
}

} // namespace PixelBlitter
