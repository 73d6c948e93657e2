#pragma once

/// A CUDA driver over host memory, for the tests: it has the entry points that DeviceKit uses, is as strict as the real
/// one about contexts, addresses and alignment, runs kernels from their PTX text, and fails as it is told to.

#include <cstdint>
#include <string>

namespace fakecuda {

/// What callers have not given back.
struct Held {
    int contexts = 0;
    int streams = 0;
    int events = 0;
    int modules = 0;
    int allocations = 0;
    friend bool operator==(const Held&, const Held&) = default;
};
Held GetHeld();

/// One device of 64 MiB that does what it is asked.
void Reset();
void SetDeviceCount(int count);
/// Every call of a function answers this error from now on.
void FailCalls(const std::string& function, int error);
/// Every call in a context answers this error from now on, as after an illegal access.
void LoseDevice(int error);
/// What is enqueued is done only when somebody waits for it; false does it all.
void HoldQueues(bool hold);

} // namespace fakecuda
