#pragma once

/// The one policy that decides between ordinary stores and stores past the caches, for copies, fills and packers alike.

#include <cstdint>

namespace PixelBlitter {

/// True when a job that reads and writes this many bytes in all should write past the caches.
bool StreamsStores(std::uint64_t bytesMoved) noexcept;

} // namespace PixelBlitter
