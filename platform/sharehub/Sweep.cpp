#include "Sweep.h"

#include "BlockNames.h"

#include <vector>

namespace framebroker {

std::uint64_t Sweep(const Directory& directory) {
    // Listed first and looked at afterwards, because a listing that goes on while entries vanish may skip others.
    std::vector<Name> blocks;
    directory.ForEachEntry([&](std::string_view text, ino_t) {
        if (NamesABlock(text)) {
            blocks.push_back(Name::FromListing(text));
        } else if (KindOf(text) == NameKind::PendingError) {
            // Left by a process that died while replacing an error. A live one makes its own again.
            directory.Unlink(Name::FromListing(text));
        }
    });
    std::uint64_t removed = 0;
    for (const Name& block : blocks) {
        RemoveIfDead(directory, block, &removed);
    }
    return removed;
}

void ReclaimIdle(const Directory& directory) {
    std::vector<Name> homes;
    directory.ForEachEntry([&](std::string_view text, ino_t) {
        if (KindOf(text) == NameKind::BlockHome) {
            homes.push_back(Name::FromListing(text));
        }
    });
    for (const Name& home : homes) {
        ReclaimIfIdle(directory, home);
    }
}

} // namespace framebroker
