#include "ChildTool.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kThisProgram = "/proc/self/exe"; // a link, whose own name would become the process's
constexpr milliseconds kLookInterval{5};

// Closes both ends unless they are taken over.
struct Pipe {
    Pipe() {
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error(std::strerror(errno));
        }
    }
    ~Pipe() {
        for (const int end : ends) {
            if (end >= 0) {
                close(end);
            }
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    std::array<int, 2> ends{-1, -1}; // to read from and to write to
};

} // namespace

ChildTool::ChildTool(const std::vector<std::string>& arguments) {
    const std::string program = std::filesystem::read_symlink(kThisProgram).string();
    Pipe input;
    Pipe output;
    std::vector<std::string> words{"vf"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output.ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, output.ends[1], STDERR_FILENO);
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error = posix_spawn(&mProcess, program.c_str(), &files, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::runtime_error(std::string("no process can be started: ") + std::strerror(error));
    }
    mInput = std::exchange(input.ends[1], -1);
    mOutput = std::exchange(output.ends[0], -1);
    fcntl(mOutput, F_SETFL, O_NONBLOCK);
}

ChildTool::~ChildTool() {
    Wait(milliseconds(0));
    CloseInput();
    close(mOutput);
}

void ChildTool::Send(const std::string& line) {
    const std::string text = line + '\n';
    [[maybe_unused]] const auto written = write(mInput, text.data(), text.size());
}

void ChildTool::CloseInput() noexcept {
    if (mInput >= 0) {
        close(std::exchange(mInput, -1));
    }
}

std::optional<std::string> ChildTool::NextLine(milliseconds timeout) {
    const auto end = steady_clock::now() + timeout;
    for (;;) {
        const std::size_t length = mText.find('\n');
        if (length != std::string::npos) {
            std::string line = mText.substr(0, length);
            mText.erase(0, length + 1);
            return line;
        }
        std::array<char, 4096> bytes{};
        const auto got = read(mOutput, bytes.data(), bytes.size());
        if (got > 0) {
            mText.append(bytes.data(), static_cast<std::size_t>(got));
            continue;
        }
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (got == 0 || errno != EAGAIN || left <= milliseconds(0)) {
            return std::nullopt;
        }
        pollfd event{mOutput, POLLIN, 0};
        poll(&event, 1, static_cast<int>(left.count()));
    }
}

bool ChildTool::Runs() {
    return !Reap(false);
}

bool ChildTool::Reap(bool wait) {
    int status = 0;
    if (!mEnded && waitpid(mProcess, &status, wait ? 0 : WNOHANG) == mProcess) {
        mEnded = true;
        if (WIFEXITED(status)) {
            mExitStatus = WEXITSTATUS(status);
        }
    }
    return mEnded;
}

std::optional<int> ChildTool::Wait(milliseconds timeout) {
    const auto end = steady_clock::now() + timeout;
    while (!Reap(false) && steady_clock::now() < end) {
        std::this_thread::sleep_for(kLookInterval);
    }
    if (!mEnded) {
        kill(mProcess, SIGKILL);
        Reap(true);
    }
    return mExitStatus;
}

} // namespace tool
