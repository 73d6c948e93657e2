#include "BRTFoundation.h"

namespace BRT {

// Frame objects are small and of few sizes, which is what the small-block pools are for.
void* Allocator::Allocate(std::size_t sizeInBytes) {
    return zyncore::utility::SmallBlockAllocator::Allocate(sizeInBytes);
}

void Allocator::Dispose(void* block, std::size_t sizeInBytes) noexcept {
    zyncore::utility::SmallBlockAllocator::Dispose(block, sizeInBytes);
}

} // namespace BRT
