#pragma once

/// The system's notification queue for changes of a directory.

#include "Directory.h"

#include <sys/inotify.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <string_view>

namespace framebroker {

/// Empty when the system gives no more queues.
FileDescriptor MakeNotificationQueue() noexcept;

/// Has the queue told of the changes in mask; the number of the watch, or -1.
int WatchDirectory(const FileDescriptor& queue, const Directory& directory, std::uint32_t mask) noexcept;

/// Takes everything out of the queue without waiting. The name is the entry's, empty where there is none.
void ForEachNotification(const FileDescriptor& queue,
                         const std::function<void(const inotify_event&, std::string_view)>& visit);

/// Sleeps until one of the descriptors has something to read, a signal came, or the time is over; descriptors below 0
/// are left out. The largest time point waits for good.
void SleepUntilReadable(std::initializer_list<int> descriptors, std::chrono::steady_clock::time_point until) noexcept;

} // namespace framebroker
