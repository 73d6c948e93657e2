#include "PoolDispatch.h"
#include "zyncore.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <new>
#include <utility>

namespace zyncore::threads {
namespace {

/// One ExecuteCPUBoundTaskOnAllProcessors call. Runners draw numbers until none is left, which balances tasks of
/// unequal length. The counters also order memory: everything before the call is seen by all tasks, everything the
/// tasks did is seen after it. Tasks are not ordered among themselves, so that the thread sanitizer reports their
/// races.
class Job {
public:
    Job(const boost::function<void(std::uint64_t)>& task, std::uint64_t count) : mTask(task), mCount(count) {
        mNext.store(0, std::memory_order_release);
    }

    static void Run(void* job) noexcept { static_cast<Job*>(job)->DrawAndRun(); }

    void DrawAndRun() noexcept {
        // Read before drawing, so that numbers past the end stay few and the counter cannot wrap.
        while (mNext.load(std::memory_order_acquire) < mCount) {
            const std::uint64_t number = mNext.fetch_add(1, std::memory_order_relaxed);
            if (number >= mCount) {
                break;
            }
            try {
                mTask(number);
            } catch (...) {
                const std::lock_guard lock(mMutex);
                if (!mFirstException) {
                    mFirstException = std::current_exception();
                }
            }
        }
        mEndedRunners.fetch_add(1, std::memory_order_release);
    }

    /// To be called by the thread that made the job, when no runner is active any more.
    void Finish() {
        mEndedRunners.load(std::memory_order_acquire);
        if (mFirstException) {
            std::rethrow_exception(std::exchange(mFirstException, nullptr));
        }
    }

private:
    const boost::function<void(std::uint64_t)>& mTask;
    const std::uint64_t mCount;
    std::atomic<std::uint64_t> mNext{0};
    std::atomic<unsigned> mEndedRunners{0};
    std::mutex mMutex;
    std::exception_ptr mFirstException;
};

} // namespace

void ExecuteCPUBoundTaskOnAllProcessors(const boost::function<void(std::uint64_t)>& task, std::uint64_t count) {
    Job job(task, count);
    const auto runners = static_cast<unsigned>(std::min<std::uint64_t>(count, ProcessorCount()));
    if (runners > 1) {
        try {
            detail::DispatchToPool(runners, &Job::Run, &job);
        } catch (const std::bad_alloc&) {
            // The calling thread runs below what could not be handed out.
        }
    }
    job.DrawAndRun();
    job.Finish();
}

} // namespace zyncore::threads
