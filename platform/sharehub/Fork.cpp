#include "Fork.h"

#include <pthread.h>

#include <atomic>
#include <memory>
#include <shared_mutex>

namespace framebroker {

namespace {

struct ForkState {
    std::shared_mutex operations;
    std::atomic<std::uint64_t> generation{1};
    std::atomic<ChildHook> childHook{nullptr};

    ForkState() noexcept { ::pthread_atfork(&BeforeFork, &InParent, &InChild); }

    static ForkState& Instance() noexcept {
        static ForkState& instance = *std::make_unique<ForkState>().release();
        return instance;
    }

    static void BeforeFork() { Instance().operations.lock(); }
    static void InParent() { Instance().operations.unlock(); }
    static void InChild() {
        ForkState& state = Instance();
        // The lock remembers the parent's thread as its owner, so the child cannot unlock it and starts with a new one.
        std::construct_at(&state.operations);
        state.generation.fetch_add(1);
        if (const ChildHook hook = state.childHook.load()) {
            hook();
        }
    }
};

} // namespace

std::uint64_t ForkGeneration() noexcept {
    return ForkState::Instance().generation.load(std::memory_order_relaxed);
}

OperationScope::OperationScope() noexcept {
    ForkState::Instance().operations.lock_shared();
}
OperationScope::~OperationScope() {
    ForkState::Instance().operations.unlock_shared();
}

void SetChildHook(ChildHook hook) noexcept {
    ForkState::Instance().childHook.store(hook);
}

} // namespace framebroker
