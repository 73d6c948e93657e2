#include "Fork.h"

#include <pthread.h>

#include <atomic>
#include <memory>

namespace framebroker {

namespace {

/// Readers are operations, the writer is a fork. A waiting fork goes first: busy threads would keep it out for seconds.
class OperationsLock {
public:
    OperationsLock() noexcept {
        pthread_rwlockattr_t attributes;
        ::pthread_rwlockattr_init(&attributes);
        ::pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        ::pthread_rwlock_init(&mLock, &attributes);
        ::pthread_rwlockattr_destroy(&attributes);
    }
    void LockShared() noexcept { ::pthread_rwlock_rdlock(&mLock); }
    void LockExclusive() noexcept { ::pthread_rwlock_wrlock(&mLock); }
    void Unlock() noexcept { ::pthread_rwlock_unlock(&mLock); }

private:
    pthread_rwlock_t mLock;
};

struct ForkState {
    OperationsLock operations;
    std::atomic<std::uint64_t> generation{1};
    std::atomic<ChildHook> childHook{nullptr};

    ForkState() noexcept { ::pthread_atfork(&BeforeFork, &InParent, &InChild); }

    static ForkState& Instance() noexcept {
        static ForkState& instance = *std::make_unique<ForkState>().release();
        return instance;
    }

    static void BeforeFork() { Instance().operations.LockExclusive(); }
    static void InParent() { Instance().operations.Unlock(); }
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
    ForkState::Instance().operations.LockShared();
}
OperationScope::~OperationScope() {
    ForkState::Instance().operations.Unlock();
}

void SetChildHook(ChildHook hook) noexcept {
    ForkState::Instance().childHook.store(hook);
}

} // namespace framebroker
