#pragma once

#include "Directory.h"

namespace framebroker {

/// Removes the blocks that nobody holds, with their names, except memory that a living maker keeps. Answers how many
/// blocks were removed or freed. Within an OperationScope. What is none of ours stays untouched.
std::uint64_t Sweep(const Directory& directory);

/// Takes away the memory that makers of all processes keep idle, for when there is no other left. Within an
/// OperationScope.
void ReclaimIdle(const Directory& directory);

} // namespace framebroker
