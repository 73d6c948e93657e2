#pragma once

#include "Arrivals.h"
#include "Block.h"
#include "Presence.h"
#include "sharehub.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace framebroker {

/// The client of this process: the directory while it is initialised, and the puts that it keeps alive. Never
/// destroyed, because references may be released when everything else has ended.
class Client {
public:
    /// Blocks taken out of the client, to die when neither its lock nor an OperationScope is held any more.
    using Dropped = std::vector<std::shared_ptr<Block>>;

    static Client& Instance() noexcept;

    bool Initialize();
    void Uninitialize();

    /// Null while there is no client.
    std::shared_ptr<const Directory> CurrentDirectory();

    /// Where threads wait for names to come; null while there is no client.
    std::shared_ptr<Arrivals> CurrentArrivals();

    /// Keeps a block that was put, and hands out the oldest ones that the budget has no room for.
    void Keep(const std::shared_ptr<Block>& block, Dropped& outDropped);
    void SetBudget(std::uint64_t bytes, Dropped& outDropped);

    void RenewPresence();
    /// Hands out the oldest kept put; false when there is none.
    bool DropOldest(Dropped& outDropped);
    std::uint64_t KeptBytes();

    void CountMade(bool recycled) noexcept {
        mBlocksMade.fetch_add(1, std::memory_order_relaxed);
        mBlocksRecycled.fetch_add(recycled ? 1 : 0, std::memory_order_relaxed);
    }
    void CountOpened() noexcept { mBlocksOpened.fetch_add(1, std::memory_order_relaxed); }
    ClientStatistics Statistics();
    std::string DirectoryPath();

    Client() noexcept;

private:
    void DropFront(Dropped& outDropped);
    void DropOverBudget(Dropped& outDropped);
    void ForgetParent();
    static void InForkedChild() noexcept;

    std::mutex mMutex;
    std::uint64_t mInitializeCount = 0;
    std::shared_ptr<const Directory> mDirectory;
    Presence mPresence;
    std::string mPath;
    std::shared_ptr<Arrivals> mArrivals;               ///< made when somebody waits for the first time
    std::vector<std::shared_ptr<Arrivals>> mInherited; ///< of parents, whose threads may have been inside
    std::deque<std::shared_ptr<Block>> mKept;          ///< oldest first
    std::uint64_t mKeptBytes = 0;
    std::uint64_t mBudget = kDefaultPutBudget;
    bool mHoldsParentsState = false; ///< after a fork, until the child's first call

    std::atomic<std::uint64_t> mBlocksMade{0};
    std::atomic<std::uint64_t> mBlocksRecycled{0};
    std::atomic<std::uint64_t> mBlocksOpened{0};
};

} // namespace framebroker
