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
    ConversionRefused = 6, ///< the library makes no such frame, does not convert to it, or a block holds no frame
    NotShared = 7,         ///< nothing is shared under the Guid or name, or it came not in time, or will not come
    SharingFailed = 8,     ///< the user's shared memory cannot be used or is full, or the clip's name is taken
    NoDisplay = 9,         ///< there is no display that a window can be opened on
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
