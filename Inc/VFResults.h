#pragma once

#include <cstdint>

namespace VF {

/// Result codes of the exported functions: signed 32-bit, returned as int, negative for every failure.
inline constexpr std::int32_t kResult_Success = 0;
inline constexpr std::int32_t kResult_NoSuchInterface = static_cast<std::int32_t>(0xA00A0001U);
inline constexpr std::int32_t kResult_Failed = static_cast<std::int32_t>(0xA00F0001U);
inline constexpr std::int32_t kResult_BufferTooSmall =
    static_cast<std::int32_t>(0xA00F0006U); ///< also: converter out of memory
inline constexpr std::int32_t kResult_NoPixelAccess =
    static_cast<std::int32_t>(0xA0060002U); ///< pixels cannot be reached or converted
inline constexpr std::int32_t kResult_MemoryExhausted =
    static_cast<std::int32_t>(0xA0060003U); ///< while creating a frame

} // namespace VF
