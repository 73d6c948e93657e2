#pragma once

#include "ToolProcess.h"

#include <spawn.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace tooltest {

/// Sleeps until a condition holds; the test run's own time limit ends a wait in vain.
template <class Condition>
void WaitUntil(Condition condition) {
    while (!condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

/// A `vf` that runs beside the test. Killed at the end of its scope unless it was waited for.
class BackgroundTool {
public:
    explicit BackgroundTool(const std::string& arguments) {
        const std::string line = std::string("exec '") + VF_TOOL_BINARY + "' " + arguments + " >'" +
                                 (mScratch / "output") + "' 2>'" + (mScratch / "errors") + "' </dev/null";
        std::string shell = "sh";
        std::string option = "-c";
        std::string command = line;
        char* const words[] = {shell.data(), option.data(), command.data(), nullptr};
        if (posix_spawn(&mProcess, "/bin/sh", nullptr, nullptr, words, environ) != 0) {
            throw std::runtime_error("no process");
        }
    }
    ~BackgroundTool() {
        if (mProcess > 0) {
            kill(mProcess, SIGKILL);
            Wait();
        }
    }
    BackgroundTool(const BackgroundTool&) = delete;
    BackgroundTool& operator=(const BackgroundTool&) = delete;

    pid_t Process() const { return mProcess; }
    std::string Output() const { return ReadFile(mScratch / "output"); }
    std::string Errors() const { return ReadFile(mScratch / "errors"); }

    /// Sends a signal and waits for the end. An exit code of -1 stands for an end by a signal.
    Result End(int signal) {
        kill(mProcess, signal);
        return Wait();
    }

    Result Wait() {
        int status = 0;
        waitpid(mProcess, &status, 0);
        mProcess = 0;
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Output(), Errors()};
    }

private:
    ScratchFolder mScratch;
    pid_t mProcess = 0;
};

} // namespace tooltest
