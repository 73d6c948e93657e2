#pragma once

/// Which sanitizers this translation unit is compiled with, for both compilers' ways of telling, and the marks for
/// memory that must not be touched.

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZYNCORE_ADDRESS_SANITIZER 1
#endif
#if __has_feature(thread_sanitizer)
#define ZYNCORE_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) && !defined(ZYNCORE_ADDRESS_SANITIZER)
#define ZYNCORE_ADDRESS_SANITIZER 1
#endif
#if defined(__SANITIZE_THREAD__) && !defined(ZYNCORE_THREAD_SANITIZER)
#define ZYNCORE_THREAD_SANITIZER 1
#endif

#if defined(ZYNCORE_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

#include <cstddef>

namespace zyncore::detail {

#if defined(ZYNCORE_ADDRESS_SANITIZER)
inline constexpr bool kAddressSanitizer = true;
inline void ForbidAccess(const void* memory, std::size_t sizeInBytes) noexcept {
    __asan_poison_memory_region(memory, sizeInBytes);
}
inline void PermitAccess(const void* memory, std::size_t sizeInBytes) noexcept {
    __asan_unpoison_memory_region(memory, sizeInBytes);
}
#else
inline constexpr bool kAddressSanitizer = false;
inline void ForbidAccess(const void*, std::size_t) noexcept {}
inline void PermitAccess(const void*, std::size_t) noexcept {}
#endif

#if defined(ZYNCORE_THREAD_SANITIZER)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif

} // namespace zyncore::detail
