#include "BlockNames.h"

#include "GenerationErrors.h"

#include <fcntl.h>
#include <sys/file.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

namespace framebroker {

namespace {

/// A putter that finds its Guid taken by a dead block in the middle of being removed tries again this often. The
/// remover is done within microseconds unless it loses its processor; one that was stopped must not stop us too.
constexpr int kEagerAttempts = 32;
constexpr int kPatientAttempts = 200;
constexpr std::chrono::milliseconds kPause{1};

/// One entry of a list of names: two Guids, so that entries never cross a page and are appended whole or not at all.
using AliasEntry = std::array<Guid, 2>;
static_assert(sizeof(AliasEntry) == 32);
constexpr std::size_t kEntriesPerRead = 128;
/// A longer list was not written by this library.
constexpr std::size_t kMaxReads = 1 << 16;

bool TryLock(const FileDescriptor& file, int kind) noexcept {
    return ::flock(file.Get(), kind | LOCK_NB) == 0;
}

class Remover {
public:
    Remover(const Directory& directory, const FileIdentity& block) noexcept : mDirectory(directory), mBlock(block) {}

    bool Remove(const Name& name) noexcept {
        const bool removed = mDirectory.LeadsTo(name, mBlock) && mDirectory.Unlink(name);
        mRemoved += removed ? 1 : 0;
        return removed;
    }

    void RemoveListed(const Name& keptName) {
        const FileDescriptor list = mDirectory.OpenEntry(Name::OfAliasList(mBlock.inode), O_RDONLY);
        std::array<AliasEntry, kEntriesPerRead> entries;
        for (std::size_t reads = 0; list && reads < kMaxReads; ++reads) {
            const ssize_t bytes = ::read(list.Get(), entries.data(), sizeof(entries));
            if (bytes < static_cast<ssize_t>(sizeof(AliasEntry))) {
                return;
            }
            for (std::size_t i = 0; i < static_cast<std::size_t>(bytes) / sizeof(AliasEntry); ++i) {
                for (const Guid& id : entries[i]) {
                    RemoveUnless(Name::OfGuid(id), keptName);
                }
            }
        }
    }

    void RemoveFoundBySearch(const Name& keptName) {
        mDirectory.ForEachEntry([&](std::string_view text, ino_t inode) {
            if (inode == mBlock.inode && NamesABlock(text)) {
                RemoveUnless(Name::FromListing(text), keptName);
            }
        });
    }

    std::uint64_t Removed() const noexcept { return mRemoved; }

private:
    void RemoveUnless(const Name& name, const Name& keptName) noexcept {
        if (!(name == keptName)) {
            Remove(name);
        }
    }

    const Directory& mDirectory;
    FileIdentity mBlock;
    std::uint64_t mRemoved = 0;
};

/// Removes a dead block under its exclusive lock: the other names, their list, the name it was opened by.
std::uint64_t RemoveLocked(const Directory& directory, const Name& name, const FileDescriptor& block) noexcept try {
    struct stat status {};
    // When the name leads elsewhere by now, somebody else has removed the block, wholly or (in dying) in part; what is
    // left has other names, under which the sweep comes here again.
    if (::fstat(block.Get(), &status) != 0 || !directory.LeadsTo(name, IdentityOf(status))) {
        return 0;
    }
    Remover remover(directory, IdentityOf(status));
    if (status.st_nlink > 1) {
        remover.RemoveListed(name);
        if (::fstat(block.Get(), &status) == 0 && status.st_nlink > 1) {
            remover.RemoveFoundBySearch(name);
        }
    }
    // A process that died between the two steps of an alias has left a list beside a single name.
    directory.Unlink(Name::OfAliasList(status.st_ino));
    remover.Remove(name);
    return remover.Removed();
} catch (...) {
    // Out of memory in the search. The names that remain are found by a later sweep.
    directory.RequestSweep();
    return 0;
}

/// Writes down that the block has both names.
Result AppendToList(const Directory& directory, const FileIdentity& block, const AliasEntry& entry) noexcept {
    const FileDescriptor list = directory.OpenEntry(Name::OfAliasList(block.inode), O_WRONLY | O_APPEND | O_CREAT);
    struct stat status {};
    if (!list) {
        return errno == ELOOP || errno == ENXIO || errno == EISDIR ? kResult_Damaged : ResultOfErrno();
    }
    if (::fstat(list.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return kResult_Damaged;
    }
    const ssize_t written = ::write(list.Get(), entry.data(), sizeof(entry));
    if (written < 0) {
        return ResultOfErrno();
    }
    return written == static_cast<ssize_t>(sizeof(entry)) ? kResult_Success : kResult_OutOfSpace;
}

/// Makes a name with make (which answers 0 or sets errno, EEXIST for a name that is taken), after removing what is dead
/// under it.
template <class Make>
Result MakeName(const Directory& directory, const Guid& id, Make make) {
    const Name name = Name::OfGuid(id);
    for (int attempt = 0; attempt < kEagerAttempts + kPatientAttempts; ++attempt) {
        if (make(name) == 0) {
            RemoveGenerationError(directory, id);
            return kResult_Success;
        }
        if (errno != EEXIST) {
            return errno == ENOENT ? kResult_Damaged : ResultOfErrno();
        }
        switch (RemoveIfDead(directory, name)) {
        case NameState::Free:
            break;
        case NameState::Alive:
            return kResult_NameInUse;
        case NameState::Foreign:
            return kResult_Damaged;
        case NameState::Refused:
            return kResult_SystemError;
        case NameState::BeingRemoved:
            if (attempt < kEagerAttempts) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(kPause);
            }
            break;
        }
    }
    return kResult_NameInUse;
}

} // namespace

NameState HoldIfAlive(const Directory& directory, const Name& name, const FileDescriptor& block) noexcept {
    if (TryLock(block, LOCK_EX)) {
        RemoveLocked(directory, name, block);
        return NameState::Free;
    }
    if (errno != EWOULDBLOCK) {
        return NameState::Refused;
    }
    if (!TryLock(block, LOCK_SH)) {
        return errno == EWOULDBLOCK ? NameState::BeingRemoved : NameState::Refused;
    }
    struct stat status {};
    if (::fstat(block.Get(), &status) != 0 || status.st_nlink == 0) {
        return NameState::Free;
    }
    return NameState::Alive;
}

NameState RemoveIfDead(const Directory& directory, const Name& name, std::uint64_t* outRemoved) noexcept {
    const FileDescriptor block = directory.OpenEntry(name, O_RDONLY);
    if (!block) {
        return errno == ENOENT ? NameState::Free : errno == ELOOP ? NameState::Foreign : NameState::Refused;
    }
    struct stat status {};
    if (::fstat(block.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return NameState::Foreign;
    }
    // First the exclusive lock, then the shared one to tell a holder from a remover, then the exclusive one again, as
    // everybody owes who has held the shared one.
    if (!TryLock(block, LOCK_EX)) {
        if (errno != EWOULDBLOCK) {
            return NameState::Refused;
        }
        if (!TryLock(block, LOCK_SH)) {
            return NameState::BeingRemoved;
        }
        if (!TryLock(block, LOCK_EX)) {
            return NameState::Alive;
        }
    }
    const std::uint64_t removed = RemoveLocked(directory, name, block);
    if (outRemoved != nullptr) {
        *outRemoved += removed;
    }
    return NameState::Free;
}

void LetGo(const Directory& directory, const Name& name, const FileDescriptor& block) noexcept {
    if (TryLock(block, LOCK_EX)) {
        RemoveLocked(directory, name, block);
    }
}

Result RenameToGuid(const Directory& directory, const Name& privateName, const Guid& id) {
    return MakeName(directory, id, [&](const Name& name) {
        return ::renameat2(directory.Descriptor(), privateName.CStr(), directory.Descriptor(), name.CStr(),
                           RENAME_NOREPLACE);
    });
}

Result AddAlias(const Directory& directory, const FileIdentity& block, const Guid& existing, const Guid& added) {
    const Name existingName = Name::OfGuid(existing);
    if (!directory.LeadsTo(existingName, block)) {
        return kResult_NotFound;
    }
    // Before the list is written, so that it does not grow with aliases that are refused.
    if (RemoveIfDead(directory, Name::OfGuid(added)) == NameState::Alive) {
        return kResult_NameInUse;
    }
    if (const Result listed = AppendToList(directory, block, {existing, added}); listed != kResult_Success) {
        return listed;
    }
    return MakeName(directory, added, [&](const Name& name) {
        return ::linkat(directory.Descriptor(), existingName.CStr(), directory.Descriptor(), name.CStr(), 0);
    });
}

Result ResultOfErrno() noexcept {
    switch (errno) {
    case ENOSPC:
    case EDQUOT:
    case ENOMEM:
    case EFBIG:
    case EMLINK:
        return kResult_OutOfSpace;
    default:
        return kResult_SystemError;
    }
}

} // namespace framebroker
