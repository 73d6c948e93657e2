#pragma once

#include <cstdint>

/// Memory of the calling thread from operator new, aligned_alloc and posix_memalign.
namespace scaletest {

/// The allocation that fails next: 0 is the first from now on. Negative: none.
extern constinit thread_local int allocationsUntilFailure;

/// Bytes asked for and not given back to operator delete (free counts for nothing), and the most of that; both may be
/// set.
extern constinit thread_local std::int64_t bytesHeld;
extern constinit thread_local std::int64_t mostBytesHeld;

} // namespace scaletest
