#pragma once

namespace zyncore::detail {

/// Runs body(context) copies times, concurrently on the worker threads of the process and on the calling thread, and
/// returns when every run has ended. body must not throw. Throws std::bad_alloc when the runs cannot be scheduled; some
/// may have been made then, none is still going on.
///
/// Gives no ordering that the thread sanitizer can see: context must order its own data with atomics.
void DispatchToPool(unsigned copies, void (*body)(void* context) noexcept, void* context);

} // namespace zyncore::detail
