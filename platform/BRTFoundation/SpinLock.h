#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace BRT::detail {

/// Lock for sections of a few dozen instructions: half the cost of a mutex, whose release is a second interlocked
/// operation. A waiter sleeps when the holder seems to have lost its processor.
class SpinLock {
public:
    void lock() noexcept {
        while (mTaken.exchange(true, std::memory_order_acquire)) {
            for (int n = 0; mTaken.load(std::memory_order_relaxed); ++n) {
                if (n < kSpins) {
                    Pause();
                } else {
                    std::this_thread::sleep_for(std::chrono::microseconds(20));
                }
            }
        }
    }
    void unlock() noexcept { mTaken.store(false, std::memory_order_release); }

private:
    /// Some 5 microseconds: longer than the longest section, shorter than a time slice.
    static constexpr int kSpins = 200;

    static void Pause() noexcept {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#else
        std::this_thread::yield();
#endif
    }

    std::atomic<bool> mTaken{false};
};

} // namespace BRT::detail
