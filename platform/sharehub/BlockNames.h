#pragma once

/// Who may give and take the names of a block.
///
/// A block is a file. Holding it means holding a shared lock on it (flock) through an open description of one's own;
/// the kernel drops the lock with the description, at the latest when the process dies. Locks are only ever tried,
/// never waited for, so a stopped process blocks nobody.
///
///  1. A name under a Guid leads to a complete block, because a block gets its first one by an atomic rename of its
///     private name, which never replaces anything. Further names are hard links.
///  2. Names are given only by a holder, and taken away only under the exclusive lock. So whoever has either lock and
///     finds the block linked knows that its names stay until the lock is gone.
///  3. The exclusive lock can be had only when nobody holds the block: it is dead then, and whoever has the lock
///  removes
///     it. Nobody who sees the exclusive lock taken needs the block any more.
///  4. Every description that has held the shared lock, however shortly, tries the exclusive one after dropping it. Of
///     several that let go at the same moment the last to try succeeds, so a block whose holders have all let go never
///     stays behind. Only death between the two steps leaves one, and the next sweep finds it.
///  5. A block with more than one name has a list, a file named after the block's inode. A name is written to the list
///     before it is made, and the list goes after the names on it but before the block's last name. So death at any
///     point leaves either a name and the list, or a name that needs none. The list is only an index: each name on it
///     is checked against the inode, and when names remain that it does not tell, the directory is searched.

#include "Directory.h"
#include "sharehub.h"

#include <functional>

namespace framebroker {

/// What is under a name, or what has become of it.
enum class NameState {
    Free,         ///< nothing, or a dead block that has been removed now
    Alive,        ///< a block that somebody holds
    BeingRemoved, ///< a dead block that somebody else is removing at this moment
    Foreign,      ///< no regular file, so nothing of ours
    Refused,      ///< the system does not let us look
};

/// Looks at a name and removes the block when it is dead. Adds the number of names removed to outRemoved.
NameState RemoveIfDead(const Directory& directory, const Name& name, std::uint64_t* outRemoved = nullptr) noexcept;

/// Takes the shared lock of a block that was just opened under a name, and becomes a holder. Alive: taken. Free: the
/// block was dead or has lost its names meanwhile; look again.
NameState HoldIfAlive(const Directory& directory, const Name& name, const FileDescriptor& block) noexcept;

/// Lets go of a block through an open descriptor of it, and removes the block when nobody else holds it. Mappings of
/// other descriptions of the same holder must be gone.
void LetGo(const Directory& directory, const Name& name, const FileDescriptor& block) noexcept;

/// Gives a block its first name under a Guid in place of its private one.
Result RenameToGuid(const Directory& directory, const Name& privateName, const Guid& id);

/// Gives a block that the caller holds a further name. existing must lead to the block.
Result AddAlias(const Directory& directory, const FileIdentity& block, const Guid& existing, const Guid& added);

/// The result that the present value of errno calls for.
Result ResultOfErrno() noexcept;

} // namespace framebroker
