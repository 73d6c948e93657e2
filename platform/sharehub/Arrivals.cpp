#include "Arrivals.h"

#include "Notification.h"

#include <sys/eventfd.h>

#include <algorithm>

namespace framebroker {

namespace {

/// Names come by creation (links and symbolic links), and an error that replaces another by a move.
constexpr std::uint32_t kArrivals = IN_CREATE | IN_MOVED_TO;

/// A process that waits again and again keeps its watch from one wait to the next. After a wait longer than this it is
/// given up, at a price that does not matter then, so that the queue of a process that has stopped waiting does not
/// fill up.
constexpr std::chrono::milliseconds kLongWait{10};

/// How long the leader sleeps before it has everybody look when the system gives no queue: too many processes of the
/// user have one. Short beside the time of one frame.
constexpr std::chrono::milliseconds kPauseWithoutQueue{4};

} // namespace

Arrivals::Arrivals(const std::shared_ptr<const Directory>& directory) noexcept
    : mDirectory(directory), mQueue(MakeNotificationQueue()), mEndBell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Arrivals::Waiter::Waiter(Arrivals& arrivals, const Guid& id)
    : mArrivals(arrivals), mBlock(Name::OfGuid(id)), mError(Name::OfError(id)), mSince(Clock::now()) {
    const std::lock_guard lock(arrivals.mMutex);
    arrivals.mWaiters.reserve(arrivals.mWaiters.size() + 1);
    // What is in the queue came before this wait.
    arrivals.ReadQueue();
    arrivals.BeginWatching();
    arrivals.mWaiters.push_back(this);
}

Arrivals::Waiter::~Waiter() {
    const std::lock_guard lock(mArrivals.mMutex);
    std::erase(mArrivals.mWaiters, this);
    if (mArrivals.mWaiters.empty() && mArrivals.mWatch >= 0 && Clock::now() - mSince > kLongWait) {
        ::inotify_rm_watch(mArrivals.mQueue.Get(), std::exchange(mArrivals.mWatch, -1));
    }
}

Arrival Arrivals::Waiter::Wait(Clock::time_point deadline) {
    std::unique_lock lock(mArrivals.mMutex);
    for (;;) {
        if (mArrivals.mEnded) {
            return Arrival::Ended;
        }
        if (std::exchange(mDataCame, false)) {
            return Arrival::Data;
        }
        if (std::exchange(mErrorCame, false)) {
            return Arrival::Error;
        }
        if (std::exchange(mSomethingCame, false)) {
            return Arrival::Something;
        }
        if (Clock::now() >= deadline) {
            return Arrival::TimedOut;
        }
        if (!mArrivals.mLed) {
            mArrivals.Lead(lock, deadline);
        } else if (deadline == Clock::time_point::max()) {
            mArrivals.mChanged.wait(lock);
        } else {
            mArrivals.mChanged.wait_until(lock, deadline);
        }
    }
}

void Arrivals::Lead(std::unique_lock<std::mutex>& lock, Clock::time_point deadline) {
    mLed = true;
    const bool watching = mWatch >= 0;
    const Clock::time_point until = watching ? deadline : std::min(deadline, Clock::now() + kPauseWithoutQueue);
    lock.unlock();
    SleepUntilReadable({watching ? mQueue.Get() : -1, mEndBell.Get()}, until);
    lock.lock();
    mLed = false;
    if (watching) {
        ReadQueue();
    } else {
        TellAllToLook();
        BeginWatching();
    }
    // Those whose name came go on, and one of the others leads.
    mChanged.notify_all();
}

void Arrivals::BeginWatching() {
    if (mWatch < 0 && mQueue) {
        mWatch = WatchDirectory(mQueue, *mDirectory, kArrivals);
    }
}

void Arrivals::ReadQueue() {
    if (!mQueue) {
        return;
    }
    ForEachNotification(mQueue, [&](const inotify_event& event, std::string_view name) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            TellAllToLook();
        } else if (event.wd == mWatch) {
            if ((event.mask & IN_IGNORED) != 0) {
                mWatch = -1; // somebody has removed the directory
                TellAllToLook();
            } else {
                Tell(name);
            }
        }
    });
}

void Arrivals::Tell(std::string_view name) {
    for (Waiter* const waiter : mWaiters) {
        waiter->mDataCame |= waiter->mBlock.Text() == name;
        waiter->mErrorCame |= waiter->mError.Text() == name;
    }
}

void Arrivals::TellAllToLook() {
    for (Waiter* const waiter : mWaiters) {
        waiter->mSomethingCame = true;
    }
}

void Arrivals::End() noexcept {
    const std::lock_guard lock(mMutex);
    mEnded = true;
    (void)::eventfd_write(mEndBell.Get(), 1);
    mChanged.notify_all();
}

void Arrivals::CloseInChild() noexcept {
    mQueue.Close();
    mEndBell.Close();
}

} // namespace framebroker
