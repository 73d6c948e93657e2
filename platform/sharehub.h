#pragma once

/// The inter-process broker: blocks of shared memory that processes of one user hand to each other by Guid.
///
/// There is no daemon. Blocks are files in a directory of the user's own in shared memory, Guids are names made
/// atomically, and every holder keeps a shared kernel lock on the block, which the kernel drops when the process dies,
/// however it dies. Whoever releases the last reference of all processes removes the block and its names. Nothing ever
/// waits for another process's lock.
///
/// Every function may be called from any thread, before InitializeClient (it then answers kResult_NotInitialized) and
/// after UninitializeClient (references in use stay valid). The child of a fork has no client until it starts one.
/// Nothing of its parent's is inherited: references copied by the fork answer null and a size of 0 in the child, and
/// releasing them there does nothing. A fork waits for the operations under way on other threads.
///
/// What is in a block can be changed at any moment by any process of the same user that holds it open for writing. A
/// reader checks what it reads and works on copies. A file that another process truncates while a pointer into it is
/// in use cannot be survived with named files.

#include "SymbolVisibility.h"
#include "zyncore.h"

#include <boost/shared_ptr.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#if defined(sharehub_EXPORTS)
#define SHAREHUB_API VF_SYMBOL_EXPORT
#else
#define SHAREHUB_API VF_SYMBOL_IMPORT
#endif

namespace framebroker {

/// Results: 0 success, negative failure.
enum Result : std::int32_t {
    kResult_Success = 0,
    kResult_NotInitialized = -1,  ///< no client in this process
    kResult_BadArgument = -2,     ///< an empty reference, a default Guid, a size of 0
    kResult_OutOfSpace = -3,      ///< the shared-memory file system or the process's address space is full
    kResult_NameInUse = -4,       ///< the Guid names data that is alive; it is untouched
    kResult_NotFound = -5,        ///< nothing alive under this Guid
    kResult_GenerationError = -6, ///< the producer said that no data will come; see GetGenerationError
    kResult_SystemError = -7,     ///< the system refused an operation
    kResult_Damaged = -8,         ///< the block is not one of ours or is shorter than it must be
    kResult_TimedOut = -9,        ///< nothing came under the Guid in the time given
    kResult_Gone = -10,           ///< data came under the Guid while the caller waited, and was dropped again
};

/// A readable reference to a block. Keeps the block alive.
class SHAREHUB_API BinaryReference {
public:
    /// The address of the first byte, mapped read-only; null when it cannot be mapped. Each call that does not answer
    /// null is paired with one ReleaseDataPointer.
    virtual const void* AcquireDataPointer() = 0;

    /// Gives back a pointer from AcquireDataPointer.
    virtual void ReleaseDataPointer(const void* data) = 0;

    /// Bytes of the block as the file has them now (what was asked for when it was made, unless somebody shrank it),
    /// never more than are mapped; 0 when it cannot be told, because somebody removed the block's name. Asks the system
    /// each time. Ask again when an operation begins; never trust a size that the block's content claims.
    virtual std::uint64_t GetSize() const = 0;

    BinaryReference(const BinaryReference&) = delete;
    BinaryReference& operator=(const BinaryReference&) = delete;
    virtual ~BinaryReference();

protected:
    BinaryReference() = default;
};

/// A writable reference to a block that this process made. After the block has been put it must not be written any
/// more.
class SHAREHUB_API WritableBinaryReference {
public:
    /// The address of the first byte, mapped for reading and writing; null when it cannot be mapped. Each call that
    /// does not answer null is paired with one ReleaseDataPointer. The address stays the same while it is acquired.
    virtual void* AcquireDataPointer() = 0;

    /// Ends a write and gives back the pointer. May be called before or after the block is put.
    virtual void ReleaseDataPointer(const void* data) = 0;

    /// Bytes of the block as the file has them now; as for BinaryReference.
    virtual std::uint64_t GetSize() const = 0;

    WritableBinaryReference(const WritableBinaryReference&) = delete;
    WritableBinaryReference& operator=(const WritableBinaryReference&) = delete;
    virtual ~WritableBinaryReference();

protected:
    WritableBinaryReference() = default;
};

/// Starts the client of this process: opens or makes the user's directory (mode 0700, owner checked) and sweeps what
/// dead processes left. Calls are counted. False when the directory cannot be used; every operation then answers
/// kResult_NotInitialized.
SHAREHUB_API bool InitializeClient() noexcept;

/// Ends the client at the last call: releases all puts that this process keeps. References in use stay valid.
SHAREHUB_API void UninitializeClient() noexcept;

/// Makes a block of sizeInBytes bytes, all reserved, beginning at a page border, private to this process until it is
/// put. Contents are undefined: memory of an earlier block of this process that nobody holds any more is used again,
/// because fresh pages cost many times what everything else about a block does. When the file system is full, idle
/// memory of all processes is taken first, then this client's oldest kept puts are given up, before the answer is
/// kResult_OutOfSpace. outReference is emptied on failure; what it held before is released last, here and
/// below.
SHAREHUB_API std::int32_t GetWritableBinaryData(std::uint64_t sizeInBytes,
                                                boost::shared_ptr<WritableBinaryReference>& outReference) noexcept;

/// Puts a block under a Guid: from now on every process of the user can get it. The client keeps a reference of its own
/// until its budget is used up by later puts, or UninitializeClient. A name that is alive gives kResult_NameInUse and
/// leaves the block as it was; a dead name or a generation error is replaced. A block that was put already gets the
/// Guid as a further name. Pointers acquired before stay valid.
SHAREHUB_API std::int32_t PutCompletedBinaryData(const zyncore::utility::Guid& id,
                                                 boost::shared_ptr<WritableBinaryReference> reference) noexcept;

/// Gets the block under a Guid if there is one. outReference is emptied on failure.
SHAREHUB_API std::int32_t GetBinaryDataIfAvailable(const zyncore::utility::Guid& id,
                                                   boost::shared_ptr<BinaryReference>& outReference) noexcept;

/// Gets the block under a Guid, waiting for it when there is nothing yet: until data is put under it, until a
/// generation error is (kResult_GenerationError), until data came and was dropped before it could be had
/// (kResult_Gone), or until the time is over (kResult_TimedOut; at once for a timeout of 0 or less,
/// kNoTimeLimit waits for good). Sleeps meanwhile: the system wakes it, nothing is polled. UninitializeClient on
/// another thread ends the wait with kResult_NotInitialized. outReference is emptied on failure.
SHAREHUB_API std::int32_t WaitForBinaryData(const zyncore::utility::Guid& id, std::chrono::milliseconds timeout,
                                            boost::shared_ptr<BinaryReference>& outReference) noexcept;
inline constexpr std::chrono::milliseconds kNoTimeLimit = std::chrono::milliseconds::max();

/// Gives the block of a reference, which existingId names, a further name. The alias lives as long as the block.
/// kResult_NotFound when existingId does not name this block; kResult_NameInUse unless newId is free, dead or a
/// generation error.
SHAREHUB_API std::int32_t MakeBinaryDataAlias(const zyncore::utility::Guid& existingId,
                                              const boost::shared_ptr<BinaryReference>& reference,
                                              const zyncore::utility::Guid& newId) noexcept;

/// Tells every process that no data will come under this Guid. Ignored (success) while data is alive under it; replaces
/// an older error. Lives until data is put under the name or no client is left in any process.
SHAREHUB_API std::int32_t PutBinaryDataGenerationError(const zyncore::utility::Guid& id,
                                                       std::int32_t errorCode) noexcept;

/// The generation error under a Guid. kResult_NotFound without one.
SHAREHUB_API std::int32_t GetGenerationError(const zyncore::utility::Guid& id, std::int32_t& outErrorCode) noexcept;

/// Removes what dead processes left: blocks that nobody holds, and their names. Returns the number of blocks.
/// InitializeClient does the same.
SHAREHUB_API std::uint64_t SweepDeadBlocks() noexcept;

/// Bytes of puts that this client may keep alive on its own (default kDefaultPutBudget). When a put exceeds it, the
/// oldest puts' own references are released; readers keep theirs. A put larger than the whole budget is not kept.
SHAREHUB_API void SetPutBudget(std::uint64_t bytes) noexcept;
inline constexpr std::uint64_t kDefaultPutBudget = std::uint64_t{1} << 30;

/// What this client holds.
struct ClientStatistics {
    std::uint64_t blocksMade = 0;     ///< since the process started, like the three after it
    std::uint64_t blocksRecycled = 0; ///< of those, made from memory of earlier blocks
    std::uint64_t blocksOpened = 0;
    std::uint64_t mappingsReused = 0; ///< of those, without mapping memory anew
    std::uint64_t keptPuts = 0;       ///< puts whose own reference the client still keeps
    std::uint64_t keptPutBytes = 0;
    std::uint64_t idleBlocks = 0; ///< memory of blocks let go of, kept for the next ones; others may still hold some
    std::uint64_t idleBytes = 0;
};
SHAREHUB_API ClientStatistics GetClientStatistics() noexcept;

/// One block of the directory, as ListBlocks found it.
struct BlockDescription {
    std::vector<zyncore::utility::Guid> ids; ///< in ascending order; none while the block is private or idle
    std::uint64_t sizeInBytes = 0;
    std::chrono::system_clock::time_point namedAt; ///< when it got its latest Guid, or was made without one
    std::vector<std::int32_t> holders;             ///< ids of the processes that hold it, ascending: what the
                                                   ///< kernel tells of those that this process may look at
};
/// What the directory holds.
struct DirectoryContents {
    std::vector<BlockDescription> blocks; ///< those with Guids first, by their first Guid
    std::vector<std::pair<zyncore::utility::Guid, std::int32_t>> generationErrors;
    std::uint64_t bytesOfBlocks = 0; ///< memory that all blocks together take from the file system
    std::uint64_t bytesFree = 0;     ///< what the file system still has
};
/// Lists blocks, names, holders and generation errors of all processes, as they are at this moment. A block without
/// holders is dead, or idle memory that its maker keeps for the next block. Nothing is opened, held or removed.
SHAREHUB_API std::int32_t ListBlocks(DirectoryContents& outContents) noexcept;

/// Sleeps until a block, a name or a generation error came or went since the last call of this object, or until the
/// time is over. One thread at a time; kNoTimeLimit waits for good.
class SHAREHUB_API ChangeWatch {
public:
    /// Null without a client, and when the system gives no more watches.
    static boost::shared_ptr<ChangeWatch> Create() noexcept;

    /// True when something changed.
    virtual bool Wait(std::chrono::milliseconds timeout) noexcept = 0;

    ChangeWatch(const ChangeWatch&) = delete;
    ChangeWatch& operator=(const ChangeWatch&) = delete;
    virtual ~ChangeWatch();

protected:
    ChangeWatch() = default;
};

/// The directory of the user's blocks, empty before the first successful InitializeClient. VF_SHAREHUB_DIR in the
/// environment names another one at InitializeClient, for tests and for hosts that keep their own.
SHAREHUB_API std::string GetDirectory();

} // namespace framebroker
