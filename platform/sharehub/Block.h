#pragma once

#include "BlockNames.h"
#include "Mapping.h"

#include <memory>
#include <mutex>

namespace framebroker {

/// One hold of this process on a block: a mapping of the whole file with the shared lock behind it. The caller's bytes
/// are the whole file from its first byte. Letting go removes the block when nobody else holds it.
///
/// To be destroyed outside an OperationScope.
class Block {
public:
    /// Makes a block of sizeInBytes bytes, all of them reserved, under a private name. Within an OperationScope.
    static Result Create(const std::shared_ptr<const Directory>& directory, std::uint64_t sizeInBytes,
                         std::shared_ptr<Block>& outBlock);

    /// Opens the block that is alive under a Guid, read-only. Within an OperationScope.
    static Result Open(const std::shared_ptr<const Directory>& directory, const Guid& id,
                       std::shared_ptr<Block>& outBlock);

    explicit Block(std::shared_ptr<const Directory> directory) noexcept : mDirectory(std::move(directory)) {}
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

    /// The first byte; null in the child of a fork.
    void* Data() const noexcept { return mMapping.Address(); }

    /// Bytes when the block was made or opened.
    std::uint64_t MappedSize() const noexcept { return mMapping.SizeInBytes(); }

    /// Bytes that the file has now, as far as they are mapped. 0 when that cannot be told, because somebody has removed
    /// the block's names or this is the child of a fork.
    std::uint64_t SizeNow() const noexcept;

    /// Puts the block under a Guid. A block that was put before gets a further name. Within an OperationScope.
    Result PutUnder(const Guid& id);

    /// Gives the block, which existing names, a further name. Within an OperationScope.
    Result AliasUnder(const Guid& existing, const Guid& added) const;

private:
    std::shared_ptr<const Directory> mDirectory;
    Mapping mMapping;
    FileIdentity mFile;

    mutable std::mutex mMutex; ///< guards mGuid and mName, which change when the block is put
    Guid mGuid;                ///< default while the block is private
    Name mName;                ///< a name of the block
};

} // namespace framebroker
