#include "Notification.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <ctime>

namespace framebroker {

FileDescriptor MakeNotificationQueue() noexcept {
    return FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
}

int WatchDirectory(const FileDescriptor& queue, const Directory& directory, std::uint32_t mask) noexcept {
    // By the descriptor, because the path may lead elsewhere by now.
    const std::string path = "/proc/self/fd/" + std::to_string(directory.Descriptor());
    return ::inotify_add_watch(queue.Get(), path.c_str(), mask | IN_ONLYDIR);
}

void ForEachNotification(const FileDescriptor& queue,
                         const std::function<void(const inotify_event&, std::string_view)>& visit) {
    constexpr std::size_t kLargest = sizeof(inotify_event) + NAME_MAX + 1;
    alignas(inotify_event) std::array<char, 8192> buffer;
    // What is read ends with the queue, or where the next one does not fit.
    for (bool more = true; more;) {
        const ssize_t bytes = ::read(queue.Get(), buffer.data(), buffer.size());
        if (bytes <= 0) {
            return;
        }
        more = static_cast<std::size_t>(bytes) + kLargest > buffer.size();
        for (std::size_t at = 0; at + sizeof(inotify_event) <= static_cast<std::size_t>(bytes);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof(event));
            const char* const name = buffer.data() + at + sizeof(event);
            visit(event, std::string_view(name, ::strnlen(name, event.len)));
            at += sizeof(event) + event.len;
        }
    }
}

void SleepUntilReadable(std::initializer_list<int> descriptors, std::chrono::steady_clock::time_point until) noexcept {
    using namespace std::chrono;
    std::array<pollfd, 4> polled{};
    std::size_t count = 0;
    for (const int descriptor : descriptors) {
        if (descriptor >= 0 && count < polled.size()) {
            polled[count++] = {descriptor, POLLIN, 0};
        }
    }
    timespec limit{};
    const bool forGood = until == steady_clock::time_point::max();
    if (!forGood) {
        const auto left = std::max(until - steady_clock::now(), steady_clock::duration::zero());
        limit = {static_cast<time_t>(duration_cast<seconds>(left).count()),
                 static_cast<long>((left % seconds(1)).count())};
    }
    (void)::ppoll(polled.data(), count, forGood ? nullptr : &limit, nullptr);
}

} // namespace framebroker
