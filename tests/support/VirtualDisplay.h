#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace vftest {

/// An X server of its own without a monitor. DISPLAY names it while it lives.
class VirtualDisplay {
public:
    explicit VirtualDisplay(const std::string& screen, bool sharesMemory = true) {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        std::string line = "exec Xvfb -displayfd " + std::to_string(ends[1]) + " -screen 0 " + screen +
                           " -nolisten tcp -noreset" + (sharesMemory ? "" : " -extension MIT-SHM") +
                           " 2>/dev/null >/dev/null";
        std::string shell = "sh";
        std::string option = "-c";
        char* const words[] = {shell.data(), option.data(), line.data(), nullptr};
        const bool started = posix_spawn(&mProcess, "/bin/sh", nullptr, nullptr, words, environ) == 0;
        close(ends[1]);
        std::string number;
        for (char c = 0; started && read(ends[0], &c, 1) == 1 && c != '\n';) {
            number += c;
        }
        close(ends[0]);
        if (number.empty()) {
            Kill();
            throw std::runtime_error("Xvfb does not start");
        }
        setenv("DISPLAY", (":" + number).c_str(), 1);
    }
    ~VirtualDisplay() {
        Kill();
        unsetenv("DISPLAY");
    }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    void Kill() {
        if (mProcess > 0) {
            kill(mProcess, SIGKILL);
            waitpid(mProcess, nullptr, 0);
            mProcess = 0;
        }
    }

private:
    pid_t mProcess = 0;
};

} // namespace vftest
