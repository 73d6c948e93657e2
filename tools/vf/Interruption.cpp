#include "Interruption.h"

#include <sys/eventfd.h>
#include <sys/poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace tool {
namespace {

using std::chrono::steady_clock;

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
constexpr std::chrono::hours kLongestSleep{1}; // poll counts milliseconds in an int

volatile std::sig_atomic_t requested = 0;
int wakeup = -1; // an event counter that a handler may write to

extern "C" void NoteSignal(int) {
    const int error = errno;
    requested = 1;
    constexpr std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeup, &one, sizeof(one));
    errno = error;
}

} // namespace

Interruption::Interruption() {
    requested = 0;
    wakeup = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeup < 0) {
        throw std::runtime_error(std::strerror(errno));
    }
    struct sigaction action {};
    action.sa_handler = &NoteSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : kSignals) {
        struct sigaction before {};
        sigaction(signal, &action, &before);
        if (signal == SIGHUP && before.sa_handler == SIG_IGN) { // as nohup wants it
            sigaction(signal, &before, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (const int signal : kSignals) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler == &NoteSignal) {
            std::signal(signal, SIG_DFL);
        }
    }
    close(wakeup);
    wakeup = -1;
}

bool Interruption::Requested() const noexcept {
    return requested != 0;
}

bool Interruption::SleepUntil(steady_clock::time_point time) const noexcept {
    while (!Requested()) {
        const auto left = time - steady_clock::now();
        if (left <= steady_clock::duration::zero()) {
            break;
        }
        const auto sleep = std::min<steady_clock::duration>(left, kLongestSleep);
        pollfd event{wakeup, POLLIN, 0};
        poll(&event, 1, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(sleep).count()));
    }
    return Requested();
}

} // namespace tool
