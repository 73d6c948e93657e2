#include "DeviceKit.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace DK {

struct UserEvent::State {
    std::mutex mutex;
    std::condition_variable completed;
    int result = kResult_Success; // kResult_NotReady while it is not complete
    std::vector<boost::shared_ptr<void>> kept;
};

UserEvent::UserEvent() : mState(std::make_unique<State>()) {}

UserEvent::~UserEvent() = default;

int UserEvent::RecordOnStream(void* /*inStream*/) {
    const std::lock_guard lock(mState->mutex);
    mState->result = kResult_NotReady;
    return kResult_Success;
}

int UserEvent::Query() {
    const std::lock_guard lock(mState->mutex);
    return mState->result;
}

int UserEvent::Wait() {
    std::unique_lock lock(mState->mutex);
    mState->completed.wait(lock, [this] { return mState->result != kResult_NotReady; });
    return mState->result;
}

void UserEvent::Complete(int inResult) {
    std::vector<boost::shared_ptr<void>> kept; // dies after the lock
    const std::lock_guard lock(mState->mutex);
    mState->result = inResult == kResult_NotReady ? kResult_UnknownFailure : inResult;
    kept.swap(mState->kept);
    mState->completed.notify_all();
}

void UserEvent::KeepUntilComplete(const boost::shared_ptr<void>& inObject) {
    const std::lock_guard lock(mState->mutex);
    if (mState->result == kResult_NotReady) {
        mState->kept.push_back(inObject);
    }
}

} // namespace DK
