#include "SharedMemoryFormat.h"

#include <algorithm>

namespace VF {
namespace {

// The alignment that the placement values ask for, 0 for none. The sign is looked at before the choice falls back to
// the block size: a negative alignment turns alignment off altogether.
std::uint64_t PlacementAlignment(int alignment, int blockSize) noexcept {
    const int chosen = alignment != 0 ? alignment : blockSize;
    return static_cast<std::uint64_t>(std::max(chosen, 0));
}

} // namespace

int GetRequiredSharedMemorySizeForVideoFrame(zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight,
                                             int inAlignment, int inBlockSize, int inPrefixBytes,
                                             std::uint64_t& outSize) {
    std::uint64_t size = zynmediatypes::PixelFormatSize(inFormat, inWidth, inHeight) + kSharedMemoryHeaderSize;
    size += static_cast<std::uint64_t>(std::max(inPrefixBytes, 0));
    if (inBlockSize > 0) {
        const auto unit = static_cast<std::uint64_t>(inBlockSize);
        size = (size + unit - 1) / unit * unit;
    }
    if (const std::uint64_t alignment = PlacementAlignment(inAlignment, inBlockSize); alignment > 0) {
        size += alignment - 1;
    }
    outSize = size;
    return 0;
}

int DeterminePixelOffsetForVideoFrame(const void* inBlockStart, int inAlignment, int inBlockSize, int inPrefixBytes) {
    const std::uint64_t start = reinterpret_cast<std::uintptr_t>(inBlockStart) + kSharedMemoryHeaderSize;
    std::uint64_t aligned = start;
    if (const std::uint64_t alignment = PlacementAlignment(inAlignment, inBlockSize); alignment > 0) {
        aligned = (start + alignment - 1) & (~alignment + 1);
    }
    aligned += static_cast<std::uint64_t>(std::max(inPrefixBytes, 0));
    return static_cast<int>(aligned - start);
}

} // namespace VF
