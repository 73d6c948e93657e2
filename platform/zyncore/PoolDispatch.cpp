// Compiled without the thread sanitizer (see CMakeLists.txt): the library's prebuilt half synchronises where the
// sanitizer cannot see it, so instrumenting only its header half reports races that do not exist.
#include "PoolDispatch.h"

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

namespace zyncore::detail {

void DispatchToPool(unsigned copies, void (*body)(void* context) noexcept, void* context) {
    // Isolated: a thread that waits in a nested call must not pick up an outer task, whose locks it may hold already.
    oneapi::tbb::this_task_arena::isolate([&] {
        // A context of its own: a host that cancels its own task group must not cancel these runs.
        oneapi::tbb::task_group_context group(oneapi::tbb::task_group_context::isolated);
        oneapi::tbb::parallel_for(
            oneapi::tbb::blocked_range<unsigned>(0, copies, 1),
            [&](const oneapi::tbb::blocked_range<unsigned>& range) {
                for (unsigned n = range.begin(); n != range.end(); ++n) {
                    body(context);
                }
            },
            oneapi::tbb::simple_partitioner(), group);
    });
}

} // namespace zyncore::detail
