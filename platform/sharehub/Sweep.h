#pragma once

#include "Directory.h"

namespace framebroker {

/// Removes the blocks that nobody holds, with their names. Answers how many names of blocks were removed. Within an
/// OperationScope. What is none of ours stays untouched.
std::uint64_t Sweep(const Directory& directory);

} // namespace framebroker
