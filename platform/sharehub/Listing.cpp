#include "Listing.h"

#include "GenerationErrors.h"

#include <dirent.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <memory>
#include <unordered_map>

namespace framebroker {

namespace {

constexpr std::uint64_t kBytesOfStatusBlock = 512; ///< st_blocks counts in these, whatever the file system's own are

struct FoundBlock {
    std::vector<Guid> ids;
    Name name;
};
using FoundBlocks = std::unordered_map<ino_t, FoundBlock>;

/// The processes that hold each block, by its inode.
using Holders = std::unordered_map<ino_t, std::vector<std::int32_t>>;

/// Adds the blocks that a process holds: a hold is a page that may not be touched, mapped from the block (Hold.h).
void AddHolds(std::int32_t process, dev_t device, const FoundBlocks& blocks, Holders& outHolders) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t access = line.find(' ') + 1;
        unsigned major = 0;
        unsigned minor = 0;
        std::uint64_t inode = 0;
        if (line.compare(access, 5, "---s ") == 0 &&
            std::sscanf(line.c_str() + access, "%*s %*s %x:%x %" SCNu64, &major, &minor, &inode) == 3 &&
            makedev(major, minor) == device && blocks.contains(inode)) {
            outHolders[inode].push_back(process);
        }
    }
}

/// Asks the kernel what the user's processes have mapped. Its list of locks would tell the same, but reading it takes
/// time that grows with the square of its length.
Holders FindHolders(const Directory& directory, const FoundBlocks& blocks) {
    Holders holders;
    struct stat status {};
    const std::unique_ptr<DIR, CloseListing> processes(::opendir("/proc"));
    if (!processes || ::fstat(directory.Descriptor(), &status) != 0) {
        return holders;
    }
    const dev_t device = status.st_dev;
    while (const dirent* entry = ::readdir(processes.get())) {
        const std::string_view name = entry->d_name;
        std::int32_t process = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (error == std::errc() && end == name.data() + name.size() &&
            ::fstatat(::dirfd(processes.get()), entry->d_name, &status, 0) == 0 && status.st_uid == ::geteuid()) {
            AddHolds(process, device, blocks, holders);
        }
    }
    return holders;
}

template <class T>
void SortUnique(std::vector<T>& values) {
    std::ranges::sort(values);
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

} // namespace

void ListDirectory(const Directory& directory, DirectoryContents& outContents) {
    DirectoryContents contents;
    FoundBlocks found;
    directory.ForEachEntry([&](std::string_view text, ino_t inode) {
        Guid id;
        switch (KindOf(text)) {
        case NameKind::BlockGuid:
            if (Guid::FromString(text, id)) {
                FoundBlock& block = found[inode];
                block.ids.push_back(id);
                block.name = block.name == Name() ? Name::FromListing(text) : block.name;
            }
            break;
        case NameKind::BlockHome:
        case NameKind::BlockPrivate:
            found[inode].name = Name::FromListing(text);
            break;
        case NameKind::Error:
            if (Guid::FromString(text.substr(text.size() - kGuidTextLength), id)) {
                if (const auto code = ReadGenerationError(directory, id)) {
                    contents.generationErrors.emplace_back(id, *code);
                }
            }
            break;
        case NameKind::AliasList:
        case NameKind::PendingError:
        case NameKind::Foreign:
            break;
        }
    });
    Holders holders = FindHolders(directory, found);
    contents.blocks.reserve(found.size());
    for (auto& [inode, block] : found) {
        struct stat status {};
        // Gone meanwhile, or nothing of ours.
        if (!directory.Status(block.name, status) || status.st_ino != inode || !S_ISREG(status.st_mode)) {
            continue;
        }
        BlockDescription& description = contents.blocks.emplace_back();
        description.ids = std::move(block.ids);
        SortUnique(description.ids);
        description.sizeInBytes = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
        // Giving a name changes the file's status, and nothing that its holders do does.
        description.namedAt =
            std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
                std::chrono::seconds(status.st_ctim.tv_sec) + std::chrono::nanoseconds(status.st_ctim.tv_nsec)));
        description.holders = std::move(holders[inode]);
        SortUnique(description.holders);
        contents.bytesOfBlocks += static_cast<std::uint64_t>(status.st_blocks) * kBytesOfStatusBlock;
    }
    std::ranges::sort(contents.blocks, [](const BlockDescription& left, const BlockDescription& right) {
        return left.ids.empty() != right.ids.empty() ? right.ids.empty() : left.ids < right.ids;
    });
    std::ranges::sort(contents.generationErrors);
    contents.bytesFree = directory.FreeBytes();
    outContents = std::move(contents);
}

} // namespace framebroker
