#pragma once

#include "BlockNames.h"
#include "Hold.h"
#include "KeptMappings.h"
#include "Mapping.h"

#include <memory>
#include <mutex>

namespace framebroker {

/// One hold of this process on a block, shared by all references of the process to it. The caller's bytes are the whole
/// file from its first byte. Letting go removes the block when nobody else holds it.
///
/// To be destroyed outside an OperationScope.
class Block : public std::enable_shared_from_this<Block> {
public:
    /// Makes a block of sizeInBytes bytes, all of them reserved: from memory that this process keeps, or from fresh
    /// memory. Within an OperationScope.
    static Result Create(const std::shared_ptr<const Directory>& directory, std::uint64_t sizeInBytes,
                         std::shared_ptr<Block>& outBlock, bool& outRecycled);

    /// Opens the block that is alive under a Guid. Within an OperationScope.
    static Result Open(const std::shared_ptr<const Directory>& directory, const Guid& id,
                       std::shared_ptr<Block>& outBlock);

    explicit Block(std::shared_ptr<const Directory> directory) noexcept : mDirectory(std::move(directory)) {}
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

    /// The first byte, for the process that made the block; null in others, and in the child of a fork.
    void* WritableData() const noexcept { return mWritable.Address(); }

    /// The first byte, mapped without the right to write; null when it cannot be mapped and in the child of a fork. Not
    /// within an OperationScope.
    const void* ReadableData() noexcept;

    /// Bytes when the block was made or opened.
    std::uint64_t SizeAtOpen() const noexcept { return mSizeInBytes; }

    /// Bytes that the file has now, as far as they are mapped. 0 when that cannot be told, because somebody has removed
    /// the block's names or this is the child of a fork.
    std::uint64_t SizeNow() const noexcept;

    /// Puts the block under a Guid. A block that was put before gets a further name. Within an OperationScope.
    Result PutUnder(const Guid& id);

    /// Gives the block, which existing names, a further name. Within an OperationScope.
    Result AliasUnder(const Guid& existing, const Guid& added) const;

private:
    bool IsHeld() const noexcept { return static_cast<bool>(mHold); }
    Name AnyName() const;

    Result TakeFresh();
    bool TakeIdle(IdleBlock& idle);
    Result TakeOpened(const FileDescriptor& file, const struct stat& status);

    std::shared_ptr<const Directory> mDirectory;
    FileIdentity mFile;
    std::uint64_t mSizeInBytes = 0;
    Hold mHold;
    Mapping mWritable; ///< of the maker, with the maker's lock when mIsMaker
    bool mIsMaker = false;

    mutable std::mutex mMutex; ///< guards what follows
    Guid mGuid;                ///< a name of the block; default while it has none
    Mapping mReadable;         ///< made when it is asked for
};

/// Gives back memory that was kept of blocks. Within an OperationScope.
void GiveUp(KeptMappings::GivenUp& blocks) noexcept;

} // namespace framebroker
