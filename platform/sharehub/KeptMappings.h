#pragma once

#include "Directory.h"
#include "Mapping.h"

#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

namespace framebroker {

class Block;

struct HashOfFile {
    std::size_t operator()(const FileIdentity& file) const noexcept { return std::hash<ino_t>()(file.inode); }
};

/// Memory of a block that this process made and has let go of, with the maker's lock behind it. Others may still hold
/// it; when nobody does, the process can make its next block from it.
struct IdleBlock {
    std::shared_ptr<const Directory> directory;
    FileIdentity file;
    Mapping writable;
    bool inUse = false; ///< others held it when it was last looked at
};

/// What this process has of blocks: those it holds, and mappings it keeps when it holds them no more, because touching
/// fresh pages costs twenty times as much as everything else about a block. Kept memory is bounded, and given back
/// when it has been idle for a while, at the next call, and at the end.
///
/// Never destroyed. All operations within an OperationScope; what they hand out is given up by the caller.
class KeptMappings {
public:
    using Clock = std::chrono::steady_clock;
    using GivenUp = std::vector<IdleBlock>;

    static KeptMappings& Instance() noexcept;

    /// Blocks are kept from now on, up to so many bytes; and not any more.
    void Start(std::uint64_t idleLimit) noexcept;
    void Stop(GivenUp& outGivenUp);

    /// The block that this process holds, when it does.
    std::shared_ptr<Block> FindHeld(const FileIdentity& file);
    std::shared_ptr<Block> FindHeld(const Guid& id);
    /// id is one of the block's, or default.
    void AddHeld(const Guid& id, const FileIdentity& file, const std::shared_ptr<Block>& block);
    void RemoveHeld(const Guid& id, const FileIdentity& file) noexcept;

    /// A block of so many pages: the one last let go of that nobody held then, else the one that was in use longest
    /// ago. Whether it is free now is for the caller to find out.
    std::optional<IdleBlock> TakeIdle(std::uint64_t pages);
    void KeepIdle(IdleBlock block, GivenUp& outGivenUp);

    /// A readable mapping of the file of at least so many bytes; empty when none is kept.
    Mapping TakeReadable(const FileIdentity& file, std::uint64_t sizeInBytes);
    void KeepReadable(const std::shared_ptr<const Directory>& directory, const FileIdentity& file, Mapping readable);

    /// Gives up what has been idle for too long. Cheap when called often.
    void GiveUpExpired(GivenUp& outGivenUp);
    /// Gives up everything that nobody holds.
    void GiveUpAll(GivenUp& outGivenUp);

    /// Bytes that are kept in blocks of this process.
    struct Figures {
        std::uint64_t idleBlocks = 0;
        std::uint64_t idleBytes = 0;
        std::uint64_t mappingsReused = 0; ///< readable ones, since the process started
    };
    Figures Count();
    bool IsEmpty();

private:
    struct KeptBlock {
        IdleBlock block;
        Clock::time_point since;
    };
    struct KeptReadable {
        std::shared_ptr<const Directory> directory;
        FileIdentity file;
        Mapping readable;
        Clock::time_point since;
    };
    using Readables = std::list<KeptReadable>;

    std::unique_lock<std::mutex> Lock();
    void MoveIdleOut(std::size_t count, GivenUp& outGivenUp);
    void DropReadable(Readables::iterator kept);

    std::mutex mMutex;
    std::uint64_t mGeneration = 0; ///< of the process whose mappings these are
    bool mKeeping = false;
    std::uint64_t mIdleLimit = 0;
    std::uint64_t mIdleBytes = 0;
    std::uint64_t mMappingsReused = 0;
    Clock::time_point mNextTrim{};
    std::unordered_map<FileIdentity, std::weak_ptr<Block>, HashOfFile> mHeld;
    std::map<Guid, std::weak_ptr<Block>> mHeldByGuid;
    std::vector<KeptBlock> mIdle; ///< oldest first
    Readables mReadables;         ///< oldest first
    std::unordered_map<FileIdentity, Readables::iterator, HashOfFile> mReadableOf;
};

} // namespace framebroker
