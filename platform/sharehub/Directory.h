#pragma once

#include "FileDescriptor.h"
#include "Names.h"

#include <dirent.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace framebroker {

/// Which file a name leads to. Stays unique while anybody has the file open or mapped.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) noexcept = default;
};

inline FileIdentity IdentityOf(const struct stat& status) noexcept {
    return {status.st_dev, status.st_ino};
}

/// Closes a listing of a directory.
struct CloseListing {
    void operator()(DIR* listing) const noexcept { ::closedir(listing); }
};

/// The user's directory of blocks. Everything in it is reached through its descriptor, so that a path that changes
/// later leads nobody elsewhere; links at the end of a name are never followed, and opening never blocks.
class Directory {
public:
    /// Opens the directory, making it when it is missing. Null when it cannot be used: not a directory, a symbolic
    /// link, of another owner, or with other permissions than 0700.
    static std::shared_ptr<const Directory> Open(const std::string& path);

    const std::string& Path() const noexcept { return mPath; }

    /// Opens an entry with open's flags; on failure the result is empty and errno says why. Refuses nothing but links.
    FileDescriptor OpenEntry(const Name& name, int flags) const noexcept;

    /// What a name leads to. False when it leads nowhere.
    bool Status(const Name& name, struct stat& outStatus) const noexcept;
    bool LeadsTo(const Name& name, const FileIdentity& file) const noexcept;

    bool Unlink(const Name& name) const noexcept;
    int Descriptor() const noexcept { return mDescriptor.Get(); }

    /// Calls visit with the text of each entry's name and its inode. May throw std::bad_alloc and what visit throws.
    /// Entries made or removed meanwhile may be missed.
    void ForEachEntry(const std::function<void(std::string_view, ino_t)>& visit) const;

    /// A description of its own of the directory, on which the presence of a client can be locked.
    FileDescriptor OpenAgain() const noexcept;

    /// Bytes that can still be reserved in the file system; the largest value when it does not tell.
    std::uint64_t FreeBytes() const noexcept;

    /// Bytes of the whole file system; the largest value when it does not tell.
    std::uint64_t CapacityInBytes() const noexcept;

    /// Notes that a block could not be given up properly, so that a sweep is worth its time; and asks whether one is.
    void RequestSweep() const noexcept { mSweepRequested.store(true); }
    bool TakeSweepRequest() const noexcept { return mSweepRequested.load() && mSweepRequested.exchange(false); }

    Directory(std::string path, FileDescriptor descriptor) noexcept
        : mPath(std::move(path)), mDescriptor(std::move(descriptor)) {}

private:
    std::string mPath;
    FileDescriptor mDescriptor;
    mutable std::atomic<bool> mSweepRequested{false};
};

/// Path of the directory of this process's user, after the environment.
std::string ConfiguredDirectoryPath();

} // namespace framebroker
