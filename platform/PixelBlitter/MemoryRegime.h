#pragma once

/// The one policy that decides between ordinary stores and stores past the caches, for copies, fills and packers alike.

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// True when a job that reads and writes this many bytes in all should write past the caches.
bool StreamsStores(std::uint64_t bytesMoved) noexcept;

/// Bytes by which such a job fetches a source ahead that it reads without gaps. One that jumps from row to row fetches
/// the next row.
std::ptrdiff_t FetchDistance() noexcept;

} // namespace PixelBlitter
