#include "Immortal.h"
#include "zyncore.h"

#include <exception>
#include <mutex>
#include <utility>

namespace zyncore::threads {
namespace {

struct Queue {
    std::mutex mutex;
    std::vector<boost::function<void()>> calls;

    static Queue& Instance() {
        static detail::Immortal<Queue> queue;
        return queue.Get();
    }
};

} // namespace

void AsyncCallFromMainThread(const boost::function<void()>& call) {
    boost::function<void()> copy = call; // outside the lock: copying runs the caller's code
    Queue& queue = Queue::Instance();
    const std::lock_guard lock(queue.mutex);
    queue.calls.push_back(std::move(copy));
}

std::size_t RunMainThreadCalls() {
    std::vector<boost::function<void()>> calls;
    {
        Queue& queue = Queue::Instance();
        const std::lock_guard lock(queue.mutex);
        calls.swap(queue.calls);
    }
    std::exception_ptr firstException;
    for (boost::function<void()>& call : calls) {
        try {
            call();
        } catch (...) {
            if (!firstException) {
                firstException = std::current_exception();
            }
        }
        call.clear(); // what the call holds dies before the next one runs
    }
    if (firstException) {
        std::rethrow_exception(firstException);
    }
    return calls.size();
}

} // namespace zyncore::threads
