#include "SystemMemory.h"

#include "SizeClasses.h"
#include "zyncore/Sanitizers.h"

#include <sys/mman.h>
#include <sys/sysinfo.h>

#include <cstddef>
#include <limits>
#include <new>

namespace BRT::detail {
namespace {

/// Above this size the classes are whole pages of 4 KiB, so that a mapping of its own wastes nothing. Smaller buffers
/// share the heap's pages.
constexpr std::uint64_t kLargestFromHeap = 32 * 1024;

constexpr std::uint64_t kHugePageInBytes = std::uint64_t{2} << 20;

/// Memory behind each mapping that the address sanitizer reports on access. The heap's own buffers have such a zone.
constexpr std::uint64_t kGuardInBytes = zyncore::detail::kAddressSanitizer ? 4096 : 0;

/// Maps fresh pages whose start is a multiple of alignment, a power of two; null when there are none.
std::byte* MapAligned(std::uint64_t sizeInBytes, std::uint64_t alignment) noexcept {
    constexpr std::uint64_t kPageInBytes = 4096; // what mmap aligns to by itself, at least
    const std::uint64_t slack = alignment > kPageInBytes ? alignment - kPageInBytes : 0;
    void* mapping = mmap(nullptr, sizeInBytes + slack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) {
        return nullptr;
    }
    auto* start = static_cast<std::byte*>(mapping);
    const std::uint64_t before = -reinterpret_cast<std::uintptr_t>(start) & (alignment - 1);
    if (before > 0) {
        munmap(start, before);
    }
    if (slack > before) {
        munmap(start + before + sizeInBytes, slack - before);
    }
    return start + before;
}

} // namespace

bool ExceedsAllMemory(std::uint64_t sizeInBytes) noexcept {
    static const std::uint64_t allMemoryInBytes = [] {
        struct sysinfo info {};
        return sysinfo(&info) == 0 ? (std::uint64_t{info.totalram} + info.totalswap) * info.mem_unit
                                   : std::numeric_limits<std::uint64_t>::max() >> 2;
    }();
    return sizeInBytes > allMemoryInBytes;
}

void* TakeFromSystem(std::uint64_t sizeInBytes) noexcept {
    if (sizeInBytes <= kLargestFromHeap) {
        return ::operator new (sizeInBytes, std::align_val_t{kBufferAlignmentInBytes}, std::nothrow);
    }
    const bool huge = sizeInBytes >= kHugePageInBytes;
    std::byte* memory = MapAligned(sizeInBytes + kGuardInBytes, huge ? kHugePageInBytes : kBufferAlignmentInBytes);
    if (!memory) {
        return nullptr;
    }
    if (huge) {
        madvise(memory, sizeInBytes, MADV_HUGEPAGE); // advice only: without it the pages are small
    }
    zyncore::detail::ForbidAccess(memory + sizeInBytes, kGuardInBytes);
    return memory;
}

void ReturnToSystem(void* memory, std::uint64_t sizeInBytes) noexcept {
    if (sizeInBytes <= kLargestFromHeap) {
        zyncore::detail::PermitAccess(memory, sizeInBytes);
        ::operator delete (memory, std::align_val_t{kBufferAlignmentInBytes});
        return;
    }
    zyncore::detail::PermitAccess(memory, sizeInBytes + kGuardInBytes);
    munmap(memory, sizeInBytes + kGuardInBytes);
}

} // namespace BRT::detail
