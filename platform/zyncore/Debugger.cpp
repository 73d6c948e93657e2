#include "zyncore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace zyncore::debug {
namespace {

/// Reads the start of a file of the kernel without allocating. Empty when it cannot be read.
template <std::size_t Size>
std::string_view ReadStart(const char* path, std::array<char, Size>& buffer) noexcept {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return {};
    }
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t got = read(descriptor, buffer.data() + filled, buffer.size() - filled);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    close(descriptor);
    return {buffer.data(), filled};
}

} // namespace

bool IsDebuggerAttached() noexcept {
    // proc(5): "TracerPid" is the process that traces this one, 0 without one. It is among the first ten lines.
    constexpr std::string_view kKey = "\nTracerPid:";
    std::array<char, 4096> buffer;
    const std::string_view status = ReadStart("/proc/self/status", buffer);
    const std::size_t key = status.find(kKey);
    if (key == std::string_view::npos) {
        return false;
    }
    const std::size_t value = status.find_first_not_of(" \t", key + kKey.size());
    return value != std::string_view::npos && status[value] >= '1' && status[value] <= '9';
}

void BreakIntoDebugger() noexcept {
    std::raise(SIGTRAP);
}

} // namespace zyncore::debug
