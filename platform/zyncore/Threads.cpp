#include "ControlGroups.h"
#include "zyncore.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <memory>
#include <thread>

namespace zyncore::threads {
namespace {

struct CpuSetDeleter {
    void operator()(cpu_set_t* set) const noexcept { CPU_FREE(set); }
};

/// Processors in the calling thread's affinity mask.
unsigned ProcessorsOfAffinity() {
    // The kernel refuses a mask shorter than its own, whose length it does not tell: grow until it fits.
    for (int capacity = CPU_SETSIZE; capacity <= CPU_SETSIZE * 64; capacity *= 2) {
        const std::unique_ptr<cpu_set_t, CpuSetDeleter> set(CPU_ALLOC(static_cast<std::size_t>(capacity)));
        const std::size_t sizeInBytes = CPU_ALLOC_SIZE(static_cast<std::size_t>(capacity));
        if (set && sched_getaffinity(0, sizeInBytes, set.get()) == 0) {
            return static_cast<unsigned>(CPU_COUNT_S(sizeInBytes, set.get()));
        }
    }
    return std::thread::hardware_concurrency();
}

/// Processors that the container's share of processor time amounts to, rounded up: the smallest quota of the control
/// groups (cgroup v2) around the process. No quota gives the largest number.
unsigned ProcessorsOfQuota() {
    unsigned processors = std::numeric_limits<unsigned>::max();
    for (const std::string& folder : detail::ControlGroupFolders("cpu")) {
        std::ifstream file(folder + "/cpu.max");
        double quotaInMicroseconds = 0;
        double periodInMicroseconds = 0;
        // Without a quota the first word is "max", which is no number.
        if (file >> quotaInMicroseconds >> periodInMicroseconds && periodInMicroseconds > 0) {
            const double share = quotaInMicroseconds / periodInMicroseconds;
            processors = std::min(processors, static_cast<unsigned>(std::clamp(share + 0.999, 1.0, 1e6)));
        }
    }
    return processors;
}

} // namespace

std::uint64_t GetCurrentThreadID() noexcept {
    return static_cast<std::uint64_t>(gettid());
}

unsigned ProcessorCount() noexcept {
    static const unsigned count = [] {
        try {
            return std::max(1u, std::min(ProcessorsOfAffinity(), ProcessorsOfQuota()));
        } catch (const std::exception&) {
            return std::max(1u, std::thread::hardware_concurrency());
        }
    }();
    return count;
}

} // namespace zyncore::threads
