#include "Presence.h"

#include "GenerationErrors.h"

#include <sys/file.h>

#include <thread>

namespace framebroker {

namespace {
/// The lock is taken only for as long as a listing lasts, or for good by a process that was stopped at that moment.
constexpr int kJoinAttempts = 100;
} // namespace

void Presence::Join(const Directory& directory) {
    mDescriptor = directory.OpenAgain();
    mPresent = false;
    if (::flock(mDescriptor.Get(), LOCK_EX | LOCK_NB) == 0) {
        RemoveAllGenerationErrors(directory);
    }
    for (int attempt = 0; attempt < kJoinAttempts && !mPresent; ++attempt) {
        Renew();
        if (!mPresent) {
            std::this_thread::yield();
        }
    }
}

void Presence::Renew() noexcept {
    if (!mPresent && mDescriptor) {
        mPresent = ::flock(mDescriptor.Get(), LOCK_SH | LOCK_NB) == 0;
    }
}

void Presence::Leave(const Directory& directory) {
    if (mDescriptor && ::flock(mDescriptor.Get(), LOCK_EX | LOCK_NB) == 0) {
        RemoveAllGenerationErrors(directory);
    }
    Forget();
}

void Presence::Forget() noexcept {
    mDescriptor.Close();
    mPresent = false;
}

} // namespace framebroker
