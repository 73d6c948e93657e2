#pragma once

/// Where the limits are read that a container sets for this process.

#include "zyncore.h"

#include <string>
#include <vector>

namespace zyncore::detail {

/// Folders of the control groups around this process, its own first: those of the unified hierarchy (cgroup v2) and
/// those of one controller's hierarchy (cgroup v1). The top folder is always among them, because a container may see
/// its own group there while it is told a longer path. A folder need not exist, or need not have the limit looked for.
///
/// membership is the file that names the process's groups, root the folder that the hierarchies are mounted on.
ZYNCORE_API std::vector<std::string> ControlGroupFolders(const std::string& controller,
                                                         const std::string& membership = "/proc/self/cgroup",
                                                         const std::string& root = "/sys/fs/cgroup");

} // namespace zyncore::detail
