#include "Client.h"

#include "KeptMappings.h"
#include "Sweep.h"

#include <algorithm>

namespace framebroker {

namespace {

/// Memory that a client keeps idle for its next blocks: thirty 1080p frames in 8-bit RGB. On small file systems a part
/// that leaves room for what is in use.
constexpr std::uint64_t kIdleLimit = std::uint64_t{256} << 20;
constexpr std::uint64_t kSmallestPartOfFileSystem = 4;

} // namespace

Client& Client::Instance() noexcept {
    static Client& instance = *std::make_unique<Client>().release();
    return instance;
}

Client::Client() noexcept {
    SetChildHook(&InForkedChild);
}

void Client::InForkedChild() noexcept {
    // Every holder of the lock is inside an OperationScope, so it was free at the fork. Memory is given back later: in
    // the child of a process with several threads as little as possible is done here.
    Client& client = Instance();
    client.mPresence.Forget();
    if (client.mArrivals) {
        client.mArrivals->CloseInChild();
    }
    client.mInitializeCount = 0;
    client.mHoldsParentsState = true;
}

void Client::ForgetParent() {
    if (mHoldsParentsState) {
        mHoldsParentsState = false;
        mDirectory.reset();
        mPath.clear();
        if (mArrivals) {
            // Never destroyed: a thread of the parent's may have had its lock at the moment of the fork.
            mInherited.push_back(std::move(mArrivals));
        }
        mKept.clear();
        mKeptBytes = 0;
        mBlocksMade = 0;
        mBlocksRecycled = 0;
        mBlocksOpened = 0;
    }
}

bool Client::Initialize() {
    const OperationScope scope;
    const std::lock_guard lock(mMutex);
    ForgetParent();
    if (mInitializeCount == 0) {
        const std::string path = ConfiguredDirectoryPath();
        auto directory = Directory::Open(path);
        if (!directory) {
            return false;
        }
        mPresence.Join(*directory);
        Sweep(*directory);
        KeptMappings::Instance().Start(std::min(kIdleLimit, directory->CapacityInBytes() / kSmallestPartOfFileSystem));
        mPath = path;
        mDirectory = std::move(directory);
    }
    ++mInitializeCount;
    return true;
}

void Client::Uninitialize() {
    std::deque<std::shared_ptr<Block>> kept;
    std::shared_ptr<const Directory> directory;
    std::shared_ptr<Arrivals> arrivals;
    Presence presence;
    {
        const OperationScope scope;
        const std::lock_guard lock(mMutex);
        if (mInitializeCount == 0 || --mInitializeCount > 0) {
            return;
        }
        kept.swap(mKept);
        mKeptBytes = 0;
        directory.swap(mDirectory);
        arrivals.swap(mArrivals);
        std::swap(presence, mPresence);
    }
    if (arrivals) {
        arrivals->End();
    }
    kept.clear();
    const OperationScope scope;
    KeptMappings::GivenUp idle;
    {
        // Another thread may have started the client again.
        const std::lock_guard lock(mMutex);
        if (mInitializeCount == 0) {
            KeptMappings::Instance().Stop(idle);
        }
    }
    GiveUp(idle);
    if (directory->TakeSweepRequest()) {
        Sweep(*directory);
    }
    presence.Leave(*directory);
}

std::shared_ptr<const Directory> Client::CurrentDirectory() {
    const std::lock_guard lock(mMutex);
    return mInitializeCount > 0 ? mDirectory : nullptr;
}

std::shared_ptr<Arrivals> Client::CurrentArrivals() {
    const std::lock_guard lock(mMutex);
    if (mInitializeCount == 0) {
        return nullptr;
    }
    if (!mArrivals) {
        mArrivals = std::make_shared<Arrivals>(mDirectory);
    }
    return mArrivals;
}

void Client::Keep(const std::shared_ptr<Block>& block, Dropped& outDropped) {
    const std::lock_guard lock(mMutex);
    if (mInitializeCount == 0) {
        return;
    }
    mKept.push_back(block);
    mKeptBytes += block->SizeAtOpen();
    DropOverBudget(outDropped);
}

void Client::SetBudget(std::uint64_t bytes, Dropped& outDropped) {
    const std::lock_guard lock(mMutex);
    ForgetParent();
    mBudget = bytes;
    DropOverBudget(outDropped);
}

void Client::DropOverBudget(Dropped& outDropped) {
    while (mKeptBytes > mBudget) {
        DropFront(outDropped);
    }
}

void Client::DropFront(Dropped& outDropped) {
    outDropped.push_back(mKept.front());
    mKeptBytes -= mKept.front()->SizeAtOpen();
    mKept.pop_front();
}

bool Client::DropOldest(Dropped& outDropped) {
    const std::lock_guard lock(mMutex);
    if (mKept.empty()) {
        return false;
    }
    DropFront(outDropped);
    return true;
}

std::uint64_t Client::KeptBytes() {
    const std::lock_guard lock(mMutex);
    return mKeptBytes;
}

void Client::RenewPresence() {
    const std::lock_guard lock(mMutex);
    mPresence.Renew();
}

ClientStatistics Client::Statistics() {
    const std::lock_guard lock(mMutex);
    ForgetParent();
    const KeptMappings::Figures kept = KeptMappings::Instance().Count();
    ClientStatistics statistics;
    statistics.blocksMade = mBlocksMade.load();
    statistics.blocksRecycled = mBlocksRecycled.load();
    statistics.blocksOpened = mBlocksOpened.load();
    statistics.mappingsReused = kept.mappingsReused;
    statistics.keptPuts = mKept.size();
    statistics.keptPutBytes = mKeptBytes;
    statistics.idleBlocks = kept.idleBlocks;
    statistics.idleBytes = kept.idleBytes;
    return statistics;
}

std::string Client::DirectoryPath() {
    const std::lock_guard lock(mMutex);
    ForgetParent();
    return mPath;
}

} // namespace framebroker
