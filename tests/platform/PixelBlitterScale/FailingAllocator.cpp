#include "FailingAllocator.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <new>

namespace scaletest {

constinit thread_local int allocationsUntilFailure = -1;
constinit thread_local std::int64_t bytesHeld = 0;
constinit thread_local std::int64_t mostBytesHeld = 0;

// Counts an allocation that is about to be made.
static bool AllocationFails(std::size_t size) noexcept {
    if (allocationsUntilFailure >= 0 && allocationsUntilFailure-- == 0)
        return true;
    bytesHeld += static_cast<std::int64_t>(size);
    mostBytesHeld = std::max(mostBytesHeld, bytesHeld);
    return false;
}

// The function that a program without this file would call.
template <class Function>
static Function* Next(const char* name) noexcept {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace scaletest

// The program's own allocation functions, so that memory can be made to run out; seen by libraries, too.
#pragma GCC visibility push(default)
extern "C" {
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    static const auto next = scaletest::Next<void*(std::size_t, std::size_t)>("aligned_alloc");
    return scaletest::AllocationFails(size) ? nullptr : next(alignment, size);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept {
    static const auto next = scaletest::Next<int(void**, std::size_t, std::size_t)>("posix_memalign");
    return scaletest::AllocationFails(size) ? ENOMEM : next(out, alignment, size);
}
}
#pragma GCC visibility pop
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return scaletest::AllocationFails(size) ? nullptr : std::malloc(size ? size : 1);
}
void* operator new(std::size_t size) {
    void* const block = ::operator new(size, std::nothrow);
    if (!block)
        throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    const auto unit = static_cast<std::size_t>(alignment);
    return std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    void* const block = ::operator new(size, alignment, std::nothrow);
    if (!block)
        throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t size) noexcept {
    scaletest::bytesHeld -= static_cast<std::int64_t>(size);
    std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t size, std::align_val_t) noexcept {
    scaletest::bytesHeld -= static_cast<std::int64_t>(size);
    std::free(block);
}
