#include "Block.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace framebroker {

namespace {

/// Attempts to find a private name that no leftover has, past a sweep that takes the new file for a dead one.
constexpr int kCreateAttempts = 1000;

/// Kept blocks that are tried before fresh memory is taken: those that others still hold are passed over.
constexpr std::size_t kIdleAttempts = 8;

/// Attempts to open a name whose block is replaced each time between opening and locking.
constexpr int kOpenAttempts = 100;

/// Reserving is done in steps, because a signal makes the system undo the step that it interrupts.
constexpr std::uint64_t kReserveStep = std::uint64_t{8} << 20;

bool Reserve(const Directory& directory, const FileDescriptor& file, const struct stat& status,
             std::uint64_t sizeInBytes) noexcept {
    constexpr std::uint64_t kBytesOfStatusBlock = 512;
    if (static_cast<std::uint64_t>(status.st_blocks) * kBytesOfStatusBlock >= sizeInBytes && status.st_blocks > 0) {
        return true;
    }
    // Passing the process's limit of file sizes raises a signal that ends it. Asking the file system first spares
    // filling it up only to find that the rest does not fit.
    struct rlimit limit {};
    if (sizeInBytes > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()) ||
        (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && sizeInBytes > limit.rlim_cur) ||
        sizeInBytes > directory.FreeBytes()) {
        errno = ENOSPC;
        return false;
    }
    for (std::uint64_t done = 0; done < sizeInBytes;) {
        const std::uint64_t step = std::min(kReserveStep, sizeInBytes - done);
        if (::fallocate(file.Get(), 0, static_cast<off_t>(done), static_cast<off_t>(step)) == 0) {
            done += step;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// Opens a block by one of its names; empty when the name does not lead to it.
FileDescriptor OpenBlock(const Directory& directory, const Name& name, const FileIdentity& file, int flags) noexcept {
    FileDescriptor opened = directory.OpenEntry(name, flags);
    struct stat status {};
    if (opened && (::fstat(opened.Get(), &status) != 0 || !(IdentityOf(status) == file))) {
        opened.Close();
    }
    return opened;
}

} // namespace

Result Block::Create(const std::shared_ptr<const Directory>& directory, std::uint64_t sizeInBytes,
                     std::shared_ptr<Block>& outBlock, bool& outRecycled) {
    KeptMappings& kept = KeptMappings::Instance();
    const auto block = std::make_shared<Block>(directory);
    block->mSizeInBytes = sizeInBytes;
    KeptMappings::GivenUp stillHeld;
    KeptMappings::GivenUp given;
    Result result = kResult_NotFound;
    while (result == kResult_NotFound && stillHeld.size() < kIdleAttempts) {
        std::optional<IdleBlock> idle = kept.TakeIdle(PagesOf(sizeInBytes));
        if (!idle) {
            break;
        }
        if (block->TakeIdle(*idle)) {
            result = kResult_Success;
            outRecycled = true;
        } else if (idle->writable) {
            stillHeld.push_back(std::move(*idle));
        }
    }
    for (IdleBlock& other : stillHeld) {
        kept.KeepIdle(std::move(other), given);
    }
    kept.GiveUpExpired(given);
    GiveUp(given);
    if (result == kResult_NotFound) {
        result = block->TakeFresh();
    }
    if (result == kResult_Success) {
        outBlock = block;
        kept.AddHeld(Guid(), block->mFile, block);
    }
    return result;
}

/// Becomes the kept block when nobody holds it. When it can never be had again idle is left empty.
bool Block::TakeIdle(IdleBlock& idle) {
    const Name home = Name::OfHome(idle.file.inode);
    const FileDescriptor file = mDirectory->OpenEntry(home, O_RDWR);
    if (!file) {
        idle.writable.Unmap(); // somebody has taken its home away
        return false;
    }
    struct stat status {};
    const IdleState state = HoldIdle(*mDirectory, file, idle.file, status);
    if (state == IdleState::InUse) {
        idle.inUse = true;
        return false;
    }
    // Somebody may have shortened the file, or punched holes that would have to be filled when there is no room.
    const bool whole = state == IdleState::Taken &&
                       PagesOf(static_cast<std::uint64_t>(status.st_size)) == PagesOf(mSizeInBytes) &&
                       Reserve(*mDirectory, file, status, mSizeInBytes);
    if (whole && (static_cast<std::uint64_t>(status.st_size) == mSizeInBytes ||
                  ::ftruncate(file.Get(), static_cast<off_t>(mSizeInBytes)) == 0)) {
        mHold = Hold(file.Get());
    }
    if (!mHold) {
        idle.writable.Unmap();
        LetGo(*mDirectory, home, file);
        return false;
    }
    mFile = idle.file;
    mIsMaker = true;
    mWritable = std::move(idle.writable);
    return true;
}

Result Block::TakeFresh() {
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        const Name name = Name::NextPrivate();
        const FileDescriptor file = mDirectory->OpenEntry(name, O_RDWR | O_CREAT | O_EXCL);
        struct stat status {};
        if (!file || ::fstat(file.Get(), &status) != 0) {
            if (errno == EEXIST) {
                continue;
            }
            return ResultOfErrno();
        }
        // The maker's lock and the holder's belong to descriptions of their own, because the first lasts longer.
        const FileIdentity identity = IdentityOf(status);
        const FileDescriptor held = OpenBlock(*mDirectory, name, identity, O_RDONLY);
        if (!held) {
            if (errno == ENOENT) {
                continue; // a sweep took it for a dead one
            }
            const Result refused = ResultOfErrno();
            mDirectory->Unlink(name);
            return refused;
        }
        if (!HoldNew(held)) {
            continue;
        }
        Result result = kResult_Success;
        int homeError = 0;
        if (!Reserve(*mDirectory, file, status, mSizeInBytes)) {
            result = ResultOfErrno();
        } else {
            mIsMaker = BecomeMaker(file);
            mWritable = Mapping(file.Get(), mSizeInBytes, Mapping::Access::Write);
            // Whoever makes a block fills it. One call for all pages takes a third off the time of making and filling,
            // against a fault for each; a system that does not know the call faults them in one by one.
            if (mWritable) {
                (void)::madvise(mWritable.Address(), mSizeInBytes, MADV_POPULATE_WRITE);
                mHold = Hold(held.Get());
            }
            result = mHold ? kResult_Success : kResult_OutOfSpace;
            const Name home = Name::OfHome(identity.inode);
            if (mHold && ::renameat2(mDirectory->Descriptor(), name.CStr(), mDirectory->Descriptor(), home.CStr(),
                                     RENAME_NOREPLACE) != 0) {
                homeError = errno;
            }
        }
        if (result == kResult_Success && homeError == 0) {
            mFile = identity;
            return result;
        }
        mHold.Drop();
        mWritable.Unmap();
        LetGo(*mDirectory, name, held);
        // Somebody has taken the name that the block would have; another file has another one.
        if (homeError != EEXIST) {
            return homeError != 0 ? kResult_SystemError : result;
        }
    }
    return kResult_SystemError;
}

Result Block::Open(const std::shared_ptr<const Directory>& directory, const Guid& id,
                   std::shared_ptr<Block>& outBlock) {
    KeptMappings& kept = KeptMappings::Instance();
    KeptMappings::GivenUp given;
    kept.GiveUpExpired(given);
    GiveUp(given);
    const Name name = Name::OfGuid(id);
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        struct stat status {};
        // What this process holds is alive, and complete because it has a Guid.
        if (auto held = kept.FindHeld(id);
            held && directory->Status(name, status) && held->mFile == IdentityOf(status)) {
            outBlock = std::move(held);
            return kResult_Success;
        }
        const FileDescriptor file = directory->OpenEntry(name, O_RDONLY);
        if (!file) {
            return errno == ENOENT ? kResult_NotFound : errno == ELOOP ? kResult_Damaged : ResultOfErrno();
        }
        if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
            return kResult_Damaged;
        }
        const FileIdentity identity = IdentityOf(status);
        // It may have the block under another Guid.
        if (auto held = kept.FindHeld(identity); held && directory->LeadsTo(name, identity)) {
            outBlock = std::move(held);
            return kResult_Success;
        }
        switch (HoldIfAlive(*directory, name, file, identity, status)) {
        case NameState::Alive:
            break;
        case NameState::Free:
            continue;
        case NameState::BeingRemoved:
            return kResult_NotFound;
        case NameState::Foreign:
            return kResult_Damaged;
        case NameState::Refused:
            return kResult_SystemError;
        }
        const auto block = std::make_shared<Block>(directory);
        block->mGuid = id;
        const Result result = block->TakeOpened(file, status);
        if (result == kResult_Success) {
            kept.AddHeld(id, identity, block);
            outBlock = block;
        } else {
            LetGo(*directory, name, file);
        }
        return result;
    }
    return kResult_NotFound;
}

/// Maps a block whose shared lock the descriptor has. Its size is the file's, as it is under the lock.
Result Block::TakeOpened(const FileDescriptor& file, const struct stat& status) {
    if (status.st_size <= 0) {
        return kResult_Damaged;
    }
    mFile = IdentityOf(status);
    mSizeInBytes = static_cast<std::uint64_t>(status.st_size);
    mReadable = KeptMappings::Instance().TakeReadable(mFile, mSizeInBytes);
    if (!mReadable) {
        // A description of its own, because this mapping is kept when the lock is gone.
        const FileDescriptor unlocked = OpenBlock(*mDirectory, AnyName(), mFile, O_RDONLY);
        mReadable = unlocked ? Mapping(unlocked.Get(), mSizeInBytes, Mapping::Access::Read) : Mapping();
    }
    if (mReadable) {
        mHold = Hold(file.Get());
    }
    return mHold ? kResult_Success : kResult_OutOfSpace;
}

Block::~Block() {
    if (!IsHeld()) {
        return;
    }
    const OperationScope scope;
    try {
        KeptMappings& kept = KeptMappings::Instance();
        kept.RemoveHeld(mGuid, mFile);
        // Opened first, while the hold still keeps the name leading to this block.
        const Name name = AnyName();
        const FileDescriptor file = OpenBlock(*mDirectory, name, mFile, O_RDONLY);
        mHold.Drop();
        if (!file) {
            mDirectory->RequestSweep();
            return;
        }
        const bool nobodyElse = LetGo(*mDirectory, name, file, mIsMaker ? LetGoBy::Maker : LetGoBy::AnyHolder);
        KeptMappings::GivenUp given;
        if (mIsMaker) {
            kept.KeepIdle({mDirectory, mFile, std::move(mWritable), !nobodyElse}, given);
        }
        struct stat status {};
        if (mReadable && ::fstat(file.Get(), &status) == 0 && status.st_nlink > 0) {
            kept.KeepReadable(mDirectory, mFile, std::move(mReadable));
        }
        GiveUp(given);
    } catch (...) {
        mDirectory->RequestSweep(); // out of memory
    }
}

void GiveUp(KeptMappings::GivenUp& blocks) noexcept {
    for (IdleBlock& idle : blocks) {
        const Name home = Name::OfHome(idle.file.inode);
        const FileDescriptor file = OpenBlock(*idle.directory, home, idle.file, O_RDONLY);
        idle.writable.Unmap();
        if (file) {
            LetGo(*idle.directory, home, file);
        }
    }
    blocks.clear();
}

Name Block::AnyName() const {
    const std::lock_guard lock(mMutex);
    return mGuid != Guid() ? Name::OfGuid(mGuid) : Name::OfHome(mFile.inode);
}

const void* Block::ReadableData() noexcept {
    if (!IsHeld()) {
        return nullptr;
    }
    const OperationScope scope;
    const std::lock_guard lock(mMutex);
    if (!mReadable) {
        mReadable = KeptMappings::Instance().TakeReadable(mFile, mSizeInBytes);
    }
    if (!mReadable) {
        const FileDescriptor file = OpenBlock(*mDirectory, Name::OfHome(mFile.inode), mFile, O_RDONLY);
        mReadable = file ? Mapping(file.Get(), mSizeInBytes, Mapping::Access::Read) : Mapping();
    }
    return mReadable.Address();
}

std::uint64_t Block::SizeNow() const noexcept {
    struct stat status {};
    if (!IsHeld() || !mDirectory->Status(Name::OfHome(mFile.inode), status) || !(IdentityOf(status) == mFile) ||
        status.st_size < 0) {
        return 0;
    }
    return std::min(static_cast<std::uint64_t>(status.st_size), mSizeInBytes);
}

Result Block::PutUnder(const Guid& id) {
    if (!IsHeld()) {
        return kResult_BadArgument;
    }
    const std::lock_guard lock(mMutex);
    if (mGuid != Guid()) {
        return AddAlias(*mDirectory, mFile, mGuid, id);
    }
    // What the caller wrote is what readers will map: a file that somebody has shortened is refused.
    if (SizeNow() != mSizeInBytes) {
        return kResult_Damaged;
    }
    const Result result = GiveGuid(*mDirectory, Name::OfHome(mFile.inode), id);
    if (result == kResult_Success) {
        mGuid = id;
        KeptMappings::Instance().AddHeld(id, mFile, shared_from_this());
    }
    return result;
}

Result Block::AliasUnder(const Guid& existing, const Guid& added) const {
    return IsHeld() ? AddAlias(*mDirectory, mFile, existing, added) : kResult_BadArgument;
}

} // namespace framebroker
