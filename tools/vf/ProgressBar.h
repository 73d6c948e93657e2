#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

/// A bar on the error output while it is a terminal, nothing otherwise.
class ProgressBar {
public:
    /// total: pictures expected, 0 when nobody knows.
    explicit ProgressBar(std::int64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Update(std::int64_t done);

    /// Prints a line to the error output without disturbing the bar.
    void Note(const std::string& line);

private:
    void Clear();

    std::int64_t mTotal;
    bool mTerminal;
    bool mDrawn = false;
    std::chrono::steady_clock::time_point mStart;
    std::chrono::steady_clock::time_point mLastDrawn{};
};

} // namespace tool
