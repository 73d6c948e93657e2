#include "MemoryLimit.h"

#include "zyncore/ControlGroups.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <fstream>
#include <limits>

namespace RK::Details {

std::uint64_t MemoryLimitInBytes(const std::string& membership, const std::string& root) {
    std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
    struct sysinfo machine {};
    if (sysinfo(&machine) == 0) {
        limit = std::uint64_t{machine.totalram} * machine.mem_unit;
    }
    for (const std::string& folder : zyncore::detail::ControlGroupFolders("memory", membership, root)) {
        for (const char* file : {"/memory.max", "/memory.limit_in_bytes"}) {
            std::ifstream text(folder + file);
            std::uint64_t bytes = 0;
            if (text >> bytes) { // without a limit: "max", or a number beyond any machine
                limit = std::min(limit, bytes);
            }
        }
    }
    return limit;
}

} // namespace RK::Details
