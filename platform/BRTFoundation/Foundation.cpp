#include "BRTFoundation.h"

namespace BRT {
namespace {

constinit std::atomic<std::uint32_t> gInitializationCount{0};

} // namespace

void Foundation::Initialize() noexcept {
    gInitializationCount.fetch_add(1, std::memory_order_acq_rel);
}

void Foundation::Terminate() noexcept {
    std::uint32_t count = gInitializationCount.load(std::memory_order_acquire);
    do {
        if (count == 0) {
            return; // a call without a matching Initialize must not make the next Initialize look like a nested one
        }
    } while (!gInitializationCount.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel));
    if (count == 1) {
        MemoryRecycler::Instance().StopKeeping();
    }
}

std::uint32_t Foundation::InitializationCount() noexcept {
    return gInitializationCount.load(std::memory_order_acquire);
}

} // namespace BRT
