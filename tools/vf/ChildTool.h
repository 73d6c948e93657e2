#pragma once

/// Another process of this tool, which takes lines and answers with lines.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Runs `vf` with other arguments in a process that ends with this one. What it writes to its output and its error
/// output comes back as lines. It is in a process group of its own, so that Ctrl-C reaches this process alone.
class ChildTool {
public:
    /// Throws std::runtime_error when the system starts no process.
    explicit ChildTool(const std::vector<std::string>& arguments);
    /// Kills it unless it has ended.
    ~ChildTool();
    ChildTool(const ChildTool&) = delete;
    ChildTool& operator=(const ChildTool&) = delete;

    /// Writes a line to its input; to a process that has ended, in vain. SIGPIPE must be ignored.
    void Send(const std::string& line);

    /// Closes its input, which asks it to end.
    void CloseInput() noexcept;

    /// The next line that it has written, waiting for one until the time is over.
    std::optional<std::string> NextLine(std::chrono::milliseconds timeout);

    /// Whether it has not ended. What it has written can still be read after its end.
    bool Runs();

    /// Waits for its end; kills it when the time is over. Its exit status, or nothing for an end by a signal.
    std::optional<int> Wait(std::chrono::milliseconds timeout);

private:
    bool Reap(bool wait);

    int mProcess = 0;
    int mInput = -1;
    int mOutput = -1;
    bool mEnded = false;
    std::optional<int> mExitStatus;
    std::string mText; // read and not handed over yet
};

} // namespace tool
