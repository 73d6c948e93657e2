#include "Listing.h"

#include "GenerationErrors.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <map>
#include <unordered_map>

namespace framebroker {

namespace {

constexpr const char* kKernelLocks = "/proc/locks";
constexpr std::uint64_t kBytesOfStatusBlock = 512; ///< st_blocks counts in these, whatever the file system's own are

struct FoundBlock {
    std::vector<Guid> ids;
    Name name;
};
using FoundBlocks = std::unordered_map<ino_t, FoundBlock>;

struct HeldFile {
    dev_t device = 0;
    std::vector<std::int32_t> holders;
};

/// Who holds a shared lock of its own on which file. A process whose id this one cannot see counts as 0.
std::unordered_map<ino_t, HeldFile> ReadHolders(const FoundBlocks& blocks) {
    std::unordered_map<ino_t, HeldFile> held;
    std::ifstream locks(kKernelLocks);
    for (std::string line; std::getline(locks, line);) {
        long process = 0;
        unsigned major = 0;
        unsigned minor = 0;
        std::uint64_t inode = 0;
        if (std::sscanf(line.c_str(), "%*s FLOCK %*s READ %ld %x:%x:%" SCNu64, &process, &major, &minor, &inode) == 4 &&
            blocks.contains(inode)) {
            HeldFile& file = held[inode];
            file.device = makedev(major, minor);
            file.holders.push_back(process > 0 ? static_cast<std::int32_t>(process) : 0);
        }
    }
    return held;
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
    const auto held = ReadHolders(found);
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
        if (const auto file = held.find(inode); file != held.end() && file->second.device == status.st_dev) {
            description.holders = file->second.holders;
            SortUnique(description.holders);
        }
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
