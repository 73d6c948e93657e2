#include "Directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

namespace framebroker {

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr const char* kSharedMemoryMount = "/dev/shm/";
constexpr const char* kDirectoryPrefix = "vf-sharehub-";
constexpr const char* kDirectoryVariable = "VF_SHAREHUB_DIR";

/// One of the counts of a file system, in bytes.
std::uint64_t BytesOfFileSystem(int descriptor, fsblkcnt_t statvfs::*count) noexcept {
    struct statvfs status {};
    // A file system without a limit reports no blocks at all.
    if (::fstatvfs(descriptor, &status) != 0 || status.f_blocks == 0) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return static_cast<std::uint64_t>(status.*count) * status.f_frsize;
}

} // namespace

std::string ConfiguredDirectoryPath() {
    const char* configured = ::secure_getenv(kDirectoryVariable);
    std::string path = configured != nullptr && *configured != '\0'
                           ? std::string(configured)
                           : kSharedMemoryMount + (kDirectoryPrefix + std::to_string(::geteuid()));
    // With a slash at its end a symbolic link would be followed.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::shared_ptr<const Directory> Directory::Open(const std::string& path) {
    const bool made = ::mkdir(path.c_str(), kDirectoryMode) == 0;
    if (!made && errno != EEXIST) {
        return nullptr;
    }
    FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor) {
        return nullptr;
    }
    if (made) {
        // The process's mask may have taken away bits that the owner needs.
        (void)::fchmod(descriptor.Get(), kDirectoryMode);
    }
    struct stat status {};
    if (::fstat(descriptor.Get(), &status) != 0 || status.st_uid != ::geteuid() ||
        (status.st_mode & 0777) != kDirectoryMode) {
        return nullptr;
    }
    return std::make_shared<const Directory>(path, std::move(descriptor));
}

FileDescriptor Directory::OpenEntry(const Name& name, int flags) const noexcept {
    // Without O_NONBLOCK a FIFO put here by somebody would stop us for good.
    return FileDescriptor(
        ::openat(mDescriptor.Get(), name.CStr(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, kFileMode));
}

bool Directory::Status(const Name& name, struct stat& outStatus) const noexcept {
    return ::fstatat(mDescriptor.Get(), name.CStr(), &outStatus, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Directory::LeadsTo(const Name& name, const FileIdentity& file) const noexcept {
    struct stat status {};
    return Status(name, status) && IdentityOf(status) == file;
}

bool Directory::Unlink(const Name& name) const noexcept {
    return ::unlinkat(mDescriptor.Get(), name.CStr(), 0) == 0;
}

void Directory::ForEachEntry(const std::function<void(std::string_view, ino_t)>& visit) const {
    FileDescriptor again = OpenAgain();
    if (!again) {
        return;
    }
    const std::unique_ptr<DIR, CloseListing> listing(::fdopendir(again.Get()));
    if (!listing) {
        return;
    }
    (void)again.Release();
    while (const dirent* entry = ::readdir(listing.get())) {
        visit(entry->d_name, entry->d_ino);
    }
}

FileDescriptor Directory::OpenAgain() const noexcept {
    return FileDescriptor(::openat(mDescriptor.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::uint64_t Directory::FreeBytes() const noexcept {
    return BytesOfFileSystem(mDescriptor.Get(), &statvfs::f_bavail);
}

std::uint64_t Directory::CapacityInBytes() const noexcept {
    return BytesOfFileSystem(mDescriptor.Get(), &statvfs::f_blocks);
}

} // namespace framebroker
