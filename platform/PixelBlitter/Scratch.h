#pragma once

/// Temporary memory of one call. Taken before the first pixel is written.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

namespace PixelBlitter {

struct FreeBlock {
    void operator()(void* block) const noexcept { std::free(block); }
};
using ScratchBlock = std::unique_ptr<void, FreeBlock>;

/// bytes of memory aligned to 64; an empty block for 0 bytes; nothing when memory is exhausted.
inline std::optional<ScratchBlock> TakeScratch(std::uint64_t bytes) noexcept {
    if (bytes == 0) {
        return ScratchBlock{};
    }
    constexpr std::uint64_t kAlignment = 64;
    if (bytes > PTRDIFF_MAX - kAlignment) {
        return std::nullopt;
    }
    ScratchBlock block(std::aligned_alloc(kAlignment, (bytes + kAlignment - 1) / kAlignment * kAlignment));
    if (!block) {
        return std::nullopt;
    }
    return block;
}

} // namespace PixelBlitter
