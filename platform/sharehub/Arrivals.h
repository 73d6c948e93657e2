#pragma once

/// Waiting for names to come into the directory, by the system's own notification: nothing is lost when the process
/// that gave a name is killed the moment after, and nobody has to be told.

#include "Directory.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace framebroker {

/// What ended a wait.
enum class Arrival {
    Data,      ///< a block was given the name
    Error,     ///< a generation error was
    Something, ///< perhaps one of both: look
    TimedOut,
    Ended, ///< the client has ended
};

/// One notification queue of the process, on which any number of threads wait for names of their own. Systems allow few
/// queues to a user. One of the waiting threads, the leader, sleeps on the queue and wakes those whose name came; the
/// others sleep until they are woken or have to lead.
class Arrivals {
public:
    using Clock = std::chrono::steady_clock;

    /// Registers the caller for the names of a Guid: what comes from now on ends a Wait.
    class Waiter {
    public:
        Waiter(Arrivals& arrivals, const Guid& id);
        Waiter(const Waiter&) = delete;
        Waiter& operator=(const Waiter&) = delete;
        ~Waiter();

        /// Sleeps until something has come since the last call, or until the deadline. Not within an OperationScope.
        Arrival Wait(Clock::time_point deadline);

    private:
        friend class Arrivals;
        Arrivals& mArrivals;
        Name mBlock;
        Name mError;
        Clock::time_point mSince;
        bool mDataCame = false;
        bool mErrorCame = false;
        bool mSomethingCame = false;
    };

    explicit Arrivals(const std::shared_ptr<const Directory>& directory) noexcept;
    Arrivals(const Arrivals&) = delete;
    Arrivals& operator=(const Arrivals&) = delete;
    ~Arrivals() = default;

    /// Ends every wait, of now and later.
    void End() noexcept;

    /// For the child of a fork: closes what it shares with its parent.
    void CloseInChild() noexcept;

private:
    void Lead(std::unique_lock<std::mutex>& lock, Clock::time_point deadline);
    void BeginWatching();
    void ReadQueue();
    void Tell(std::string_view name);
    void TellAllToLook();

    std::shared_ptr<const Directory> mDirectory;
    FileDescriptor mQueue;   ///< invalid when the system gives no more queues
    FileDescriptor mEndBell; ///< wakes the leader at the end

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<Waiter*> mWaiters;
    int mWatch = -1; ///< of the directory; -1 while nobody has waited for a while
    bool mLed = false;
    bool mEnded = false;
};

} // namespace framebroker
