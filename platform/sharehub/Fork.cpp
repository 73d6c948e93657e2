#include "Fork.h"

#include <pthread.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace framebroker {

namespace {

struct ForkState {
    std::mutex gate; ///< held by a fork, and by an operation for the moment of its beginning
    std::atomic<std::uint32_t> operations{0};
    std::atomic<std::uint64_t> generation{1};
    std::atomic<ChildHook> childHook{nullptr};

    ForkState() noexcept { ::pthread_atfork(&BeforeFork, &InParent, &InChild); }

    static ForkState& Instance() noexcept {
        static ForkState& instance = *std::make_unique<ForkState>().release();
        return instance;
    }

    static void BeforeFork() {
        // No operation can begin any more; those under way end by themselves. A lock that lets operations in as long as
        // others are inside would keep a fork out for seconds when several threads are busy.
        ForkState& state = Instance();
        state.gate.lock();
        while (state.operations.load() > 0) {
            std::this_thread::yield();
        }
    }
    static void InParent() { Instance().gate.unlock(); }
    static void InChild() {
        ForkState& state = Instance();
        state.generation.fetch_add(1);
        if (const ChildHook hook = state.childHook.load()) {
            hook();
        }
        state.gate.unlock();
    }
};

} // namespace

std::uint64_t ForkGeneration() noexcept {
    return ForkState::Instance().generation.load(std::memory_order_relaxed);
}

OperationScope::OperationScope() noexcept {
    ForkState& state = ForkState::Instance();
    const std::lock_guard lock(state.gate);
    state.operations.fetch_add(1);
}
OperationScope::~OperationScope() {
    ForkState::Instance().operations.fetch_sub(1);
}

void SetChildHook(ChildHook hook) noexcept {
    ForkState::Instance().childHook.store(hook);
}

} // namespace framebroker
