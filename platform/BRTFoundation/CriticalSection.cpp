#include "BRTFoundation.h"
#include "SpinLock.h"

namespace BRT {

// Most sections are shorter than the way to sleep and back, so a waiter looks a few times, ever more rarely, before it
// sleeps: in all for some microseconds.
void CriticalSection::EnterTaken() {
    constexpr int kMostPauses = 64;
    for (int pauses = 1; pauses <= kMostPauses; pauses *= 2) {
        for (int n = 0; n < pauses; ++n) {
            detail::Pause();
        }
        if (mMutex.try_lock()) {
            return;
        }
    }
    mMutex.lock();
}

const char*& CriticalSectionLock::LabelOfThread() noexcept {
    static constinit thread_local const char* label = nullptr;
    return label;
}

} // namespace BRT
