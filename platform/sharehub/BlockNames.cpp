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

bool Drop(const FileDescriptor& file) noexcept {
    return ::flock(file.Get(), LOCK_UN) == 0;
}

/// The maker's lock: the first byte of the file, by the open description. Independent of the holders' locks.
struct flock MakersLock() noexcept {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return lock;
}

bool HasMaker(const FileDescriptor& block) noexcept {
    struct flock lock = MakersLock();
    return ::fcntl(block.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/// Takes names away from a block under its exclusive lock.
class Remover {
public:
    Remover(const Directory& directory, const struct stat& status) noexcept
        : mDirectory(directory), mBlock(IdentityOf(status)), mHome(Name::OfHome(status.st_ino)) {}

    /// All Guids, and other names that somebody may have made. known is one of its names, just looked at.
    void RemoveAllButHome(const Name& known, nlink_t links) {
        mKnown = known;
        mHasHome = known == mHome || mDirectory.LeadsTo(mHome, mBlock);
        const nlink_t expected = (known == mHome ? 0U : 1U) + (mHasHome ? 1U : 0U);
        if (links > expected) {
            RemoveListed();
            struct stat status {};
            if (mDirectory.Status(known, status) && status.st_nlink > expected) {
                RemoveFoundBySearch();
            }
        }
        // A process that died between the two steps of an alias has left a list beside a single Guid.
        mDirectory.Unlink(Name::OfAliasList(mBlock.inode));
        if (!(known == mHome)) {
            mRemoved |= mDirectory.Unlink(known);
        }
    }

    /// The home, and with it the block. Its memory goes at once, unless somebody has given the file names that are none
    /// of ours: a process that keeps a mapping would hold on to it for as long as it makes no call.
    void RemoveHome() noexcept {
        const FileDescriptor file = mDirectory.OpenEntry(mHome, O_RDWR);
        struct stat status {};
        if (Remove(mHome) && file && ::fstat(file.Get(), &status) == 0 && IdentityOf(status) == mBlock &&
            status.st_nlink == 0) {
            (void)::fallocate(file.Get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, status.st_size);
        }
    }
    bool HasHome() const noexcept { return mHasHome; }
    bool HasRemoved() const noexcept { return mRemoved; }

private:
    bool Remove(const Name& name) noexcept {
        const bool removed = mDirectory.LeadsTo(name, mBlock) && mDirectory.Unlink(name);
        mRemoved |= removed;
        return removed;
    }

    void RemoveUnlessKept(const Name& name) noexcept {
        if (!(name == mKnown) && !(name == mHome)) {
            Remove(name);
        }
    }

    void RemoveListed() {
        const FileDescriptor list = mDirectory.OpenEntry(Name::OfAliasList(mBlock.inode), O_RDONLY);
        std::array<AliasEntry, kEntriesPerRead> entries;
        for (std::size_t reads = 0; list && reads < kMaxReads; ++reads) {
            const ssize_t bytes = ::read(list.Get(), entries.data(), sizeof(entries));
            if (bytes < static_cast<ssize_t>(sizeof(AliasEntry))) {
                return;
            }
            for (std::size_t i = 0; i < static_cast<std::size_t>(bytes) / sizeof(AliasEntry); ++i) {
                for (const Guid& id : entries[i]) {
                    RemoveUnlessKept(Name::OfGuid(id));
                }
            }
        }
    }

    void RemoveFoundBySearch() {
        mDirectory.ForEachEntry([&](std::string_view text, ino_t inode) {
            if (inode == mBlock.inode && NamesABlock(text)) {
                RemoveUnlessKept(Name::FromListing(text));
            }
        });
    }

    const Directory& mDirectory;
    FileIdentity mBlock;
    Name mHome;
    Name mKnown;
    bool mHasHome = false;
    bool mRemoved = false;
};

enum class Home { Removed, LeftToMaker };

/// Removes the names of a dead block under its exclusive lock. Sets outRemoved when it had one that is gone now.
Home RemoveLocked(const Directory& directory, const Name& name, const FileDescriptor& block, LetGoBy holder,
                  bool& outRemoved) noexcept try {
    struct stat status {};
    if (::fstat(block.Get(), &status) != 0) {
        return Home::Removed;
    }
    // When the name leads elsewhere by now, the block may have become another one under other Guids, and we were the
    // last to hold that. When its home is gone too, somebody else has removed it, wholly or (in dying) in part; what is
    // left has other names, under which the sweep comes here again.
    Name known = name;
    if (!directory.LeadsTo(known, IdentityOf(status))) {
        known = Name::OfHome(status.st_ino);
        if (!directory.LeadsTo(known, IdentityOf(status))) {
            return Home::Removed;
        }
    }
    Remover remover(directory, status);
    remover.RemoveAllButHome(known, status.st_nlink);
    const bool leftToMaker = remover.HasHome() && (holder == LetGoBy::Maker || HasMaker(block));
    if (!leftToMaker) {
        remover.RemoveHome();
    }
    outRemoved |= remover.HasRemoved();
    return leftToMaker ? Home::LeftToMaker : Home::Removed;
} catch (...) {
    // Out of memory in the search. The names that remain are found by a later sweep.
    directory.RequestSweep();
    return Home::Removed;
}

/// Removes the names of a dead block whose exclusive lock the descriptor has, and drops the lock. True when there was
/// something to remove.
bool RemoveAndDrop(const Directory& directory, const Name& name, const FileDescriptor& block,
                   LetGoBy holder = LetGoBy::AnyHolder) noexcept {
    bool removed = false;
    for (;;) {
        const Home home = RemoveLocked(directory, name, block, holder, removed);
        Drop(block);
        // The maker may have left while we had the lock that it needs to remove the home itself.
        if (home == Home::Removed || holder == LetGoBy::Maker || HasMaker(block) || !TryLock(block, LOCK_EX)) {
            return removed;
        }
    }
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

NameState HoldIfAlive(const Directory& directory, const Name& name, const FileDescriptor& block,
                      const FileIdentity& file, struct stat& outStatus) noexcept {
    if (TryLock(block, LOCK_EX)) {
        RemoveAndDrop(directory, name, block);
        return NameState::Free;
    }
    if (errno != EWOULDBLOCK) {
        return NameState::Refused;
    }
    if (!TryLock(block, LOCK_SH)) {
        return errno == EWOULDBLOCK ? NameState::BeingRemoved : NameState::Refused;
    }
    if (!directory.Status(name, outStatus) || !(IdentityOf(outStatus) == file)) {
        LetGo(directory, name, block);
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
            // Somebody holds the block, which may have become another one since it was opened.
            return directory.LeadsTo(name, IdentityOf(status)) ? NameState::Alive : NameState::Free;
        }
    }
    const bool removed = RemoveAndDrop(directory, name, block);
    if (outRemoved != nullptr && removed) {
        ++*outRemoved;
    }
    return NameState::Free;
}

bool LetGo(const Directory& directory, const Name& name, const FileDescriptor& block, LetGoBy holder) noexcept {
    if (!TryLock(block, LOCK_EX)) {
        return false;
    }
    RemoveAndDrop(directory, name, block, holder);
    return true;
}

bool HoldNew(const FileDescriptor& block) noexcept {
    // A sweep can find the file before it is locked and takes it for a dead one.
    struct stat status {};
    return TryLock(block, LOCK_SH) && ::fstat(block.Get(), &status) == 0 && status.st_nlink > 0;
}

IdleState HoldIdle(const Directory& directory, const FileDescriptor& block, const FileIdentity& file,
                   struct stat& outStatus) noexcept try {
    if (!TryLock(block, LOCK_EX)) {
        return IdleState::InUse;
    }
    if (::fstat(block.Get(), &outStatus) != 0 || !(IdentityOf(outStatus) == file)) {
        return IdleState::Spoilt;
    }
    if (outStatus.st_nlink > 1) {
        Remover(directory, outStatus).RemoveAllButHome(Name::OfHome(file.inode), outStatus.st_nlink);
    }
    if (!TryLock(block, LOCK_SH)) {
        return IdleState::InUse;
    }
    // Between the two locks somebody may have taken the memory away.
    return ::fstat(block.Get(), &outStatus) == 0 && outStatus.st_nlink == 1 ? IdleState::Taken : IdleState::Spoilt;
} catch (...) {
    return IdleState::Spoilt; // out of memory in a search
}

bool BecomeMaker(const FileDescriptor& block) noexcept {
    struct flock lock = MakersLock();
    return ::fcntl(block.Get(), F_OFD_SETLK, &lock) == 0;
}

void ReclaimIfIdle(const Directory& directory, const Name& home) noexcept {
    const FileDescriptor block = directory.OpenEntry(home, O_RDONLY);
    struct stat status {};
    if (!block || ::fstat(block.Get(), &status) != 0 || !S_ISREG(status.st_mode) || !TryLock(block, LOCK_EX)) {
        return;
    }
    if (status.st_nlink == 1 && HasMaker(block)) {
        Remover(directory, status).RemoveHome();
        Drop(block);
    } else {
        RemoveAndDrop(directory, home, block);
    }
}

Result GiveGuid(const Directory& directory, const Name& home, const Guid& id) {
    return MakeName(directory, id, [&](const Name& name) {
        return ::linkat(directory.Descriptor(), home.CStr(), directory.Descriptor(), name.CStr(), 0);
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
    return GiveGuid(directory, existingName, added);
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
