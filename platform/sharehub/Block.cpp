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

/// Attempts to open a name whose block is replaced each time between opening and locking.
constexpr int kOpenAttempts = 100;

/// Reserving is done in steps, because a signal makes the system undo the step that it interrupts.
constexpr std::uint64_t kReserveStep = std::uint64_t{8} << 20;

bool Reserve(const Directory& directory, const FileDescriptor& file, std::uint64_t sizeInBytes) noexcept {
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

} // namespace

Result Block::Create(const std::shared_ptr<const Directory>& directory, std::uint64_t sizeInBytes,
                     std::shared_ptr<Block>& outBlock) {
    const auto block = std::make_shared<Block>(directory);
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        block->mName = Name::NextPrivate();
        const FileDescriptor file = directory->OpenEntry(block->mName, O_RDWR | O_CREAT | O_EXCL);
        if (!file) {
            if (errno == EEXIST) {
                continue;
            }
            return ResultOfErrno();
        }
        // A sweep can find the file before it is locked and takes it for a dead one.
        struct stat status {};
        if (::flock(file.Get(), LOCK_SH | LOCK_NB) != 0 || ::fstat(file.Get(), &status) != 0 || status.st_nlink == 0) {
            continue;
        }
        Result result = kResult_Success;
        if (Reserve(*directory, file, sizeInBytes)) {
            block->mMapping = Mapping(file.Get(), sizeInBytes, true);
            // Whoever makes a block fills it. One call for all pages takes a third off the time of making and filling,
            // against a fault for each; a system that does not know the call faults them in one by one.
            if (block->Data() != nullptr) {
                (void)::madvise(block->Data(), sizeInBytes, MADV_POPULATE_WRITE);
            }
            result = block->Data() != nullptr ? kResult_Success : kResult_OutOfSpace;
        } else {
            result = ResultOfErrno();
        }
        if (result == kResult_Success) {
            block->mFile = IdentityOf(status);
            outBlock = block;
        } else {
            LetGo(*directory, block->mName, file);
        }
        return result;
    }
    return kResult_SystemError;
}

Result Block::Open(const std::shared_ptr<const Directory>& directory, const Guid& id,
                   std::shared_ptr<Block>& outBlock) {
    const auto block = std::make_shared<Block>(directory);
    block->mGuid = id;
    block->mName = Name::OfGuid(id);
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        const FileDescriptor file = directory->OpenEntry(block->mName, O_RDONLY);
        if (!file) {
            return errno == ENOENT ? kResult_NotFound : errno == ELOOP ? kResult_Damaged : ResultOfErrno();
        }
        struct stat status {};
        if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
            return kResult_Damaged;
        }
        switch (HoldIfAlive(*directory, block->mName, file)) {
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
        // The size as it is under the lock, from the file and nowhere else.
        Result result = kResult_Damaged;
        if (::fstat(file.Get(), &status) == 0 && status.st_size > 0) {
            block->mMapping = Mapping(file.Get(), static_cast<std::size_t>(status.st_size), false);
            result = block->Data() != nullptr ? kResult_Success : kResult_OutOfSpace;
        }
        if (result == kResult_Success) {
            block->mFile = IdentityOf(status);
            outBlock = block;
        } else {
            LetGo(*directory, block->mName, file);
        }
        return result;
    }
    return kResult_NotFound;
}

Block::~Block() {
    if (Data() == nullptr) {
        return;
    }
    const OperationScope scope;
    // The descriptor is opened first, while the hold still keeps the name leading to this block.
    const FileDescriptor file = mDirectory->OpenEntry(mName, O_RDONLY);
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0 || !(IdentityOf(status) == mFile)) {
        mMapping.Unmap();
        mDirectory->RequestSweep();
        return;
    }
    mMapping.Unmap();
    LetGo(*mDirectory, mName, file);
}

std::uint64_t Block::SizeNow() const noexcept {
    if (Data() == nullptr) {
        return 0;
    }
    const std::lock_guard lock(mMutex);
    struct stat status {};
    if (!mDirectory->Status(mName, status) || !(IdentityOf(status) == mFile) || status.st_size < 0) {
        return 0;
    }
    return std::min(static_cast<std::uint64_t>(status.st_size), MappedSize());
}

Result Block::PutUnder(const Guid& id) {
    if (Data() == nullptr) {
        return kResult_BadArgument;
    }
    const std::lock_guard lock(mMutex);
    if (mGuid != Guid()) {
        return AddAlias(*mDirectory, mFile, mGuid, id);
    }
    // What the caller wrote is what readers will map: a file that somebody has shortened is refused.
    struct stat status {};
    if (!mDirectory->Status(mName, status) || !(IdentityOf(status) == mFile) ||
        static_cast<std::uint64_t>(status.st_size) != MappedSize()) {
        return kResult_Damaged;
    }
    const Name guidName = Name::OfGuid(id);
    const Result result = RenameToGuid(*mDirectory, mName, id);
    if (result == kResult_Success) {
        mGuid = id;
        mName = guidName;
    }
    return result;
}

Result Block::AliasUnder(const Guid& existing, const Guid& added) const {
    return Data() == nullptr ? kResult_BadArgument : AddAlias(*mDirectory, mFile, existing, added);
}

} // namespace framebroker
