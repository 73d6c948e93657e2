#pragma once

/// For finding leaks: the calls that led to a handle.

#include <array>
#include <cstddef>
#include <memory>

namespace HandleMemory {

struct Origin {
    /// Enough to leave the library and a plug-in's own layers behind.
    static constexpr std::size_t kMostCalls = 24;

    std::array<void*, kMostCalls> returnAddresses;
    std::size_t count;
};

/// See KxRecordHandleOrigins.
void RecordOrigins(bool record) noexcept;

/// The calls that led here from outside this library; null when none are recorded.
std::unique_ptr<Origin> RecordOrigin() noexcept;

/// See KxDescribeHandleOrigin.
std::size_t DescribeOrigin(const Origin& origin, const void* insideModule, char* text, std::size_t textBytes) noexcept;

} // namespace HandleMemory
