#include "Client.h"
#include "Deadline.h"
#include "Notification.h"

#include <boost/make_shared.hpp>

namespace framebroker {

namespace {

constexpr std::uint32_t kChanges = IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM;

class DirectoryChangeWatch final : public ChangeWatch {
public:
    explicit DirectoryChangeWatch(FileDescriptor queue) noexcept : mQueue(std::move(queue)) {}

    bool Wait(std::chrono::milliseconds timeout) noexcept override try {
        const auto deadline = DeadlineAfter(timeout);
        for (bool changed = false;;) {
            ForEachNotification(mQueue, [&](const inotify_event&, std::string_view) { changed = true; });
            if (changed || std::chrono::steady_clock::now() >= deadline) {
                return changed;
            }
            SleepUntilReadable({mQueue.Get()}, deadline);
        }
    } catch (...) {
        return true; // look, to be sure
    }

private:
    FileDescriptor mQueue;
};

} // namespace

ChangeWatch::~ChangeWatch() = default;

boost::shared_ptr<ChangeWatch> ChangeWatch::Create() noexcept try {
    const OperationScope scope;
    const auto directory = Client::Instance().CurrentDirectory();
    FileDescriptor queue = MakeNotificationQueue();
    if (!directory || !queue || WatchDirectory(queue, *directory, kChanges) < 0) {
        return nullptr;
    }
    return boost::make_shared<DirectoryChangeWatch>(std::move(queue));
} catch (...) {
    return nullptr;
}

} // namespace framebroker
