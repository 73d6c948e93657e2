#pragma once

/// What `vf` tells its caller when it ends.

#include <stdexcept>
#include <string>

namespace tool {

/// Exit status of the process. The figures are part of the interface (docs/tool.md): scripts test them.
enum class ExitCode : int {
    Success = 0,
    Unexpected = 1,        ///< a fault inside the tool, or memory exhausted
    Usage = 2,             ///< unknown option, format or output kind, a size of zero, a range that selects nothing
    InputMissing = 3,      ///< the input does not exist or may not be opened
    InputBroken = 4,       ///< the input is no media file, or none of its pictures decodes
    WriteFailed = 5,       ///< the output cannot be created or written
    ConversionRefused = 6, ///< the library makes no such frame or does not convert to it
};

/// Ends a command with an exit code and a message for the user, which does not repeat the program's name.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& message) : std::runtime_error(message), mCode(code) {}
    ExitCode Code() const noexcept { return mCode; }

private:
    ExitCode mCode;
};

} // namespace tool
