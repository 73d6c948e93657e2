#include "BlockListing.h"
#include "SharingCommands.h"
#include "Text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

namespace tool {
namespace {

constexpr std::uint64_t kBytesOfStatusBlock = 512; // what st_blocks counts in, whatever the file system's own are

struct Total {
    std::uint64_t files = 0; // a block has several names
    std::uint64_t bytes = 0;
};

// What the files of the folder take. Asked of the file system, because the broker has no client yet, and its first act
// is the sweep.
Total TotalOf(const std::string& folder) {
    Total total;
    std::set<ino_t> seen;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat status {};
        if (lstat(entry->path().c_str(), &status) == 0 && seen.insert(status.st_ino).second) {
            ++total.files;
            total.bytes += static_cast<std::uint64_t>(status.st_blocks) * kBytesOfStatusBlock;
        }
    }
    return total;
}

std::string TotalText(const Total& total) {
    return Plural(total.files, "file") + ", " + BytesText(total.bytes);
}

// Where the broker's client will look, for the figures before it starts.
std::string ExpectedFolder() {
    const char* configured = std::getenv("VF_SHAREHUB_DIR");
    return configured && *configured ? configured : "/dev/shm/vf-sharehub-" + std::to_string(geteuid());
}

} // namespace

void Clean() {
    const std::string expected = ExpectedFolder();
    const Total before = TotalOf(expected);
    const SharingGuard sharing;
    framebroker::SweepDeadBlocks();
    const std::string folder = framebroker::GetDirectory();
    const Total after = TotalOf(folder);
    std::printf("%s: %s before; %s now\n", folder.c_str(), TotalText(before).c_str(), TotalText(after).c_str());
}

} // namespace tool
