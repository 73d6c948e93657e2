#pragma once

#include <cstdint>

namespace BRT::detail {

/// True for a size beyond all memory of the machine, swap included. Without this bound a system that promises more than
/// it has grants the buffer and ends the process when it is filled.
bool ExceedsAllMemory(std::uint64_t sizeInBytes) noexcept;

/// Takes memory for a buffer from the system, aligned to kBufferAlignmentInBytes; null when there is none. The size
/// must not exceed all memory. Large
/// buffers are mappings of their own, page-aligned, and from 2 MiB on aligned to and advised for huge pages.
void* TakeFromSystem(std::uint64_t sizeInBytes) noexcept;

/// Gives memory back that TakeFromSystem returned for the same size.
void ReturnToSystem(void* memory, std::uint64_t sizeInBytes) noexcept;

} // namespace BRT::detail
