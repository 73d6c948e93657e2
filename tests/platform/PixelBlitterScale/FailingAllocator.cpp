#include "FailingAllocator.h"

#include <cstdlib>
#include <new>

namespace scaletest {

thread_local int allocationsUntilFailure = -1;

static bool AllocationFails() noexcept {
    return allocationsUntilFailure >= 0 && allocationsUntilFailure-- == 0;
}

} // namespace scaletest

// The program's own allocation functions, so that memory can be made to run out.
void* operator new(std::size_t size) {
    void* const block = scaletest::AllocationFails() ? nullptr : std::malloc(size ? size : 1);
    if (!block)
        throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto unit = static_cast<std::size_t>(alignment);
    void* const block =
        scaletest::AllocationFails() ? nullptr : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
    if (!block)
        throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    std::free(block);
}
