#include "KeptMappings.h"

#include "zyncore/Immortal.h"

#include <algorithm>
#include <iterator>

namespace framebroker {

namespace {

/// Long beside the pauses of a stream of frames, short beside those of a person.
constexpr std::chrono::seconds kIdleTime{5};

/// A readable mapping of a block that still exists costs its page tables only, a five-hundredth of the block. It has to
/// last until the block comes round again: the puts that a maker keeps (kDefaultPutBudget) pass in half a minute.
constexpr std::chrono::seconds kReadableIdleTime{60};
/// An eighth of the mappings that a Linux process may have.
constexpr std::size_t kReadableLimit = 8192;

/// How often kept mappings are looked through.
constexpr std::chrono::seconds kTrimInterval{1};

} // namespace

KeptMappings& KeptMappings::Instance() noexcept {
    static zyncore::detail::Immortal<KeptMappings> instance;
    return instance.Get();
}

std::unique_lock<std::mutex> KeptMappings::Lock() {
    std::unique_lock lock(mMutex);
    if (mGeneration != ForkGeneration()) {
        // What a parent had is none of ours: its mappings are empty here.
        mGeneration = ForkGeneration();
        mKeeping = false;
        mHeld.clear();
        mHeldByGuid.clear();
        mIdle.clear();
        mIdleBytes = 0;
        mMappingsReused = 0;
        mReadableOf.clear();
        mReadables.clear();
    }
    return lock;
}

void KeptMappings::Start(std::uint64_t idleLimit) noexcept {
    const auto lock = Lock();
    mKeeping = true;
    mIdleLimit = idleLimit;
}

void KeptMappings::Stop(GivenUp& outGivenUp) {
    {
        const auto lock = Lock();
        mKeeping = false;
    }
    GiveUpAll(outGivenUp);
}

std::shared_ptr<Block> KeptMappings::FindHeld(const FileIdentity& file) {
    const auto lock = Lock();
    const auto held = mHeld.find(file);
    return held != mHeld.end() ? held->second.lock() : nullptr;
}

std::shared_ptr<Block> KeptMappings::FindHeld(const Guid& id) {
    const auto lock = Lock();
    const auto held = mHeldByGuid.find(id);
    return held != mHeldByGuid.end() ? held->second.lock() : nullptr;
}

void KeptMappings::AddHeld(const Guid& id, const FileIdentity& file, const std::shared_ptr<Block>& block) {
    const auto lock = Lock();
    mHeld[file] = block;
    if (id != Guid()) {
        mHeldByGuid[id] = block;
    }
}

void KeptMappings::RemoveHeld(const Guid& id, const FileIdentity& file) noexcept {
    const auto lock = Lock();
    // Another thread may hold the block anew.
    const auto removeIfExpired = [](auto& table, const auto& key) {
        if (const auto held = table.find(key); held != table.end() && held->second.expired()) {
            table.erase(held);
        }
    };
    removeIfExpired(mHeld, file);
    removeIfExpired(mHeldByGuid, id);
}

std::optional<IdleBlock> KeptMappings::TakeIdle(std::uint64_t pages) {
    const auto lock = Lock();
    auto found = mIdle.end();
    for (auto kept = mIdle.begin(); kept != mIdle.end(); ++kept) {
        if (PagesOf(kept->block.writable.SizeInBytes()) == pages && (found == mIdle.end() || !kept->block.inUse)) {
            found = kept;
        }
    }
    if (found == mIdle.end()) {
        return std::nullopt;
    }
    IdleBlock block = std::move(found->block);
    mIdleBytes -= block.writable.SizeInBytes();
    mIdle.erase(found);
    return block;
}

void KeptMappings::KeepIdle(IdleBlock block, GivenUp& outGivenUp) {
    const auto lock = Lock();
    const std::uint64_t bytes = block.writable.SizeInBytes();
    if (!mKeeping || bytes > mIdleLimit) {
        outGivenUp.push_back(std::move(block));
        return;
    }
    std::size_t tooMany = 0;
    for (std::uint64_t left = mIdleBytes; left + bytes > mIdleLimit; ++tooMany) {
        left -= mIdle[tooMany].block.writable.SizeInBytes();
    }
    MoveIdleOut(tooMany, outGivenUp);
    mIdle.push_back({std::move(block), Clock::now()});
    mIdleBytes += bytes;
}

void KeptMappings::MoveIdleOut(std::size_t count, GivenUp& outGivenUp) {
    outGivenUp.reserve(outGivenUp.size() + count);
    const auto end = mIdle.begin() + static_cast<std::ptrdiff_t>(count);
    for (auto kept = mIdle.begin(); kept != end; ++kept) {
        mIdleBytes -= kept->block.writable.SizeInBytes();
        outGivenUp.push_back(std::move(kept->block));
    }
    mIdle.erase(mIdle.begin(), end);
}

Mapping KeptMappings::TakeReadable(const FileIdentity& file, std::uint64_t sizeInBytes) {
    const auto lock = Lock();
    const auto found = mReadableOf.find(file);
    if (found == mReadableOf.end()) {
        return {};
    }
    Mapping readable = std::move(found->second->readable);
    DropReadable(found->second);
    // A block of another size that was made from the same memory has as many pages; anything else is not ours.
    if (PagesOf(readable.SizeInBytes()) != PagesOf(sizeInBytes)) {
        return {};
    }
    ++mMappingsReused;
    return readable;
}

void KeptMappings::KeepReadable(const std::shared_ptr<const Directory>& directory, const FileIdentity& file,
                                Mapping readable) {
    const auto lock = Lock();
    if (!mKeeping || mReadableOf.contains(file)) {
        return;
    }
    if (mReadables.size() >= kReadableLimit) {
        DropReadable(mReadables.begin());
    }
    mReadables.push_back({directory, file, std::move(readable), Clock::now()});
    mReadableOf.emplace(file, std::prev(mReadables.end()));
}

void KeptMappings::DropReadable(Readables::iterator kept) {
    mReadableOf.erase(kept->file);
    mReadables.erase(kept);
}

void KeptMappings::GiveUpExpired(GivenUp& outGivenUp) {
    const auto lock = Lock();
    const auto now = Clock::now();
    if (now < mNextTrim) {
        return;
    }
    mNextTrim = now + kTrimInterval;
    MoveIdleOut(static_cast<std::size_t>(
                    std::ranges::find_if(mIdle, [&](const KeptBlock& kept) { return now < kept.since + kIdleTime; }) -
                    mIdle.begin()),
                outGivenUp);
    for (auto next = mReadables.begin(); next != mReadables.end();) {
        const auto kept = next++;
        // Of a block that was removed the mapping keeps all memory.
        if (now >= kept->since + kReadableIdleTime ||
            !kept->directory->LeadsTo(Name::OfHome(kept->file.inode), kept->file)) {
            DropReadable(kept);
        }
    }
}

void KeptMappings::GiveUpAll(GivenUp& outGivenUp) {
    const auto lock = Lock();
    MoveIdleOut(mIdle.size(), outGivenUp);
    mReadableOf.clear();
    mReadables.clear();
}

bool KeptMappings::IsEmpty() {
    const auto lock = Lock();
    return mIdle.empty() && mReadables.empty();
}

KeptMappings::Figures KeptMappings::Count() {
    const auto lock = Lock();
    return {mIdle.size(), mIdleBytes, mMappingsReused};
}

} // namespace framebroker
