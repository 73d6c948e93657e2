#pragma once

#include <cstdint>
#include <string>

namespace RK::Details {

/// Bytes of memory that this process may use: the machine's, or the smallest limit of the control groups around it
/// (both versions) if that is less. The arguments are those of zyncore::detail::ControlGroupFolders.
std::uint64_t MemoryLimitInBytes(const std::string& membership = "/proc/self/cgroup",
                                 const std::string& root = "/sys/fs/cgroup");

} // namespace RK::Details
