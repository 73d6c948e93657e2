#pragma once

#include <chrono>

namespace tool {

/// Makes Ctrl-C and the system's request to end (SIGINT, SIGTERM, SIGHUP) a question, so that a command can give back
/// what it shares and finish its files. The second one ends the process at once. One object at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool Requested() const noexcept;

    /// Sleeps until the time has come or the user interrupts; true for the latter.
    bool SleepUntil(std::chrono::steady_clock::time_point time) const noexcept;
};

} // namespace tool
