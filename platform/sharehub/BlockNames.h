#pragma once

/// Who may give and take the names of a block.
///
/// A block is a file. Holding it means holding a shared lock on it (flock) through an open description of one's own;
/// the kernel drops the lock with the description, at the latest when the process dies. Locks are only ever tried,
/// never waited for, so a stopped process blocks nobody.
///
/// Every block has a home, a name after its inode, and while it is put it has Guids: hard links to its home. The
/// process that made the block may make another one from its memory when nobody holds it any more. As long as it
/// intends to, it has the maker's lock, another kind of lock on the same file (a byte of it), which nobody else takes.
///
///  1. A name under a Guid leads to a complete block, because it is given by one call (link), which never replaces
///     anything, and after the block was filled.
///  2. Guids are given only by a holder, and taken away only under the exclusive lock. So whoever has either lock and
///     finds that a Guid leads to the block knows that it does so until the lock is gone.
///  3. The exclusive lock can be had only when nobody holds the block. Whoever has it takes the Guids away, and the
///     home too unless the maker's lock is there. Nobody who sees the exclusive lock taken needs the block any more.
///  4. Every description that has held the shared lock, however shortly, tries the exclusive one after dropping it. Of
///     several that let go at the same moment the last to try succeeds, so a block whose holders have all let go never
///     keeps its Guids. Only death between the two steps leaves them, and the next sweep finds them.
///  5. The maker drops its lock before it tries the exclusive one for the last time; and whoever has left a home to a
///     maker looks again after dropping the exclusive lock. So one of both removes the home.
///  6. Who opens a Guid takes the shared lock first and looks whether the Guid leads to the block afterwards: in
///  between
///     the block may have become another one. What was mapped before is trusted only then.
///  7. A block with more than one Guid has a list, a file named after the block's inode. A Guid is written to the list
///     before it is given, and the list goes after the Guids on it but before the block's last. So death at any point
///     leaves either a Guid and the list, or a Guid that needs none. The list is only an index: each name on it is
///     checked against the inode, and when names remain that it does not tell, the directory is searched.

#include "Directory.h"
#include "sharehub.h"

namespace framebroker {

/// What is under a name, or what has become of it.
enum class NameState {
    Free,         ///< nothing, or a dead block that has been removed now
    Alive,        ///< a block that somebody holds
    BeingRemoved, ///< a dead block that somebody else is removing at this moment
    Foreign,      ///< no regular file, so nothing of ours
    Refused,      ///< the system does not let us look
};

/// Looks at a name and removes the block when it is dead. Counts a block that was removed, or freed for its maker.
NameState RemoveIfDead(const Directory& directory, const Name& name, std::uint64_t* outRemoved = nullptr) noexcept;

/// Takes the shared lock of a block that was just opened under a Guid, and becomes a holder. Alive: taken, and
/// outStatus is the file's under the lock. Free: the block was dead or has lost the Guid meanwhile; look again.
NameState HoldIfAlive(const Directory& directory, const Name& name, const FileDescriptor& block,
                      const FileIdentity& file, struct stat& outStatus) noexcept;

/// Ends what HoldIfAlive began, when the lock of the descriptor, or one through another description of the same holder,
/// has been dropped: removes the block when nobody else holds it, and answers whether that was so. name is one of its
/// names. A maker that has its lock and keeps it says so, which spares looking for it.
enum class LetGoBy { AnyHolder, Maker };
bool LetGo(const Directory& directory, const Name& name, const FileDescriptor& block,
           LetGoBy holder = LetGoBy::AnyHolder) noexcept;

/// Takes the shared lock of a new file that nobody else knows.
bool HoldNew(const FileDescriptor& block) noexcept;

enum class IdleState {
    Taken,  ///< the descriptor has the shared lock
    InUse,  ///< somebody else has a lock
    Spoilt, ///< somebody has taken its home away, or given it other names
};

/// Takes a block that the maker keeps, opened by its home, when nobody holds it. Removes Guids that the dead have left.
/// Taken: outStatus is the file's under the lock.
IdleState HoldIdle(const Directory& directory, const FileDescriptor& block, const FileIdentity& file,
                   struct stat& outStatus) noexcept;

/// Takes the maker's lock through a descriptor that is open for writing. It lasts as long as the description.
bool BecomeMaker(const FileDescriptor& block) noexcept;

/// Takes idle memory away from a maker in another process, under pressure: its pages go at once, its home too.
void ReclaimIfIdle(const Directory& directory, const Name& home) noexcept;

/// Gives a block that the caller holds a Guid.
Result GiveGuid(const Directory& directory, const Name& home, const Guid& id);

/// Gives a block that the caller holds a further Guid. existing must lead to the block.
Result AddAlias(const Directory& directory, const FileIdentity& block, const Guid& existing, const Guid& added);

/// The result that the present value of errno calls for.
Result ResultOfErrno() noexcept;

} // namespace framebroker
