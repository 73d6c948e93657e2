#pragma once

#include "Directory.h"
#include "sharehub.h"

namespace framebroker {

/// Looks at every entry of the directory and at the kernel's list of locks. Within an OperationScope. May throw
/// std::bad_alloc.
void ListDirectory(const Directory& directory, DirectoryContents& outContents);

} // namespace framebroker
