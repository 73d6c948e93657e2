#pragma once

#include <chrono>

namespace framebroker {

/// The moment after which a wait of this length is over; the largest time point when it never is.
inline std::chrono::steady_clock::time_point DeadlineAfter(std::chrono::milliseconds timeout) noexcept {
    using Clock = std::chrono::steady_clock;
    const auto now = Clock::now();
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
    return timeout >= left ? Clock::time_point::max() : now + timeout;
}

} // namespace framebroker
