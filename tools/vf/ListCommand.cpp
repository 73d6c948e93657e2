#include "BlockListing.h"
#include "SharingCommands.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>

namespace tool {
namespace {

struct Share {
    std::uint64_t blocks = 0;
    std::uint64_t bytes = 0;
};

// Everything that is shared, at one moment.
struct Snapshot {
    framebroker::DirectoryContents contents; // without its blocks
    BlockInspector inspector;
    std::vector<ListedBlock> blocks;
    std::map<std::int32_t, Share> processes;
    Share held;
    Share idle; // held by nobody

    Snapshot() : contents(BlockInspector::List()) {
        blocks = inspector.Inspect(std::move(contents.blocks));
        for (const ListedBlock& listed : blocks) {
            const auto add = [&listed](Share& share) {
                ++share.blocks;
                share.bytes += listed.block.sizeInBytes;
            };
            add(listed.block.holders.empty() ? idle : held);
            for (const std::int32_t process : listed.block.holders) {
                add(processes[process]);
            }
        }
    }
};

std::string AgeText(std::chrono::system_clock::time_point since) {
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now() - since).count();
    const long long seconds = std::max<long long>(age, 0);
    return seconds < 120    ? std::to_string(seconds) + " s"
           : seconds < 7200 ? std::to_string(seconds / 60) + " min"
                            : std::to_string(seconds / 3600) + " h";
}

std::string BlocksText(const Share& share) {
    return Plural(share.blocks, "block") + ", " + BytesText(share.bytes);
}

void PrintRow(const char* id, const std::string& name, const std::string& content, const std::string& bytes,
              const std::string& age, const std::string& holders) {
    std::printf("%-36s  %-16s  %8s  %6s  %-16s  %s\n", id, content.c_str(), bytes.c_str(), age.c_str(), holders.c_str(),
                name.c_str());
}

void PrintText(const Snapshot& now) {
    if (!now.blocks.empty()) {
        PrintRow("GUID", "NAME", "CONTENT", "BYTES", "AGE", "HELD BY");
    }
    for (const ListedBlock& listed : now.blocks) {
        const auto& ids = listed.block.ids;
        PrintRow(ids.empty() ? "-" : ids.front().ToString().c_str(), PlainText(listed.name), ContentText(listed),
                 BytesText(listed.block.sizeInBytes), AgeText(listed.block.namedAt), HoldersText(listed.block.holders));
        for (std::size_t other = 1; other < ids.size(); ++other) {
            std::printf("%-36s  the same block\n", ids[other].ToString().c_str());
        }
    }
    for (const auto& [id, code] : now.contents.generationErrors) {
        std::printf("%-36s  %s\n", id.ToString().c_str(), PlainText(now.inspector.ErrorMeaning(code)).c_str());
    }
    for (const auto& [process, share] : now.processes) {
        std::printf("%d %s holds %s (%.0f %% of the default budget)\n", process, CommandOf(process).c_str(),
                    BlocksText(share).c_str(),
                    100.0 * static_cast<double>(share.bytes) / static_cast<double>(framebroker::kDefaultPutBudget));
    }
    std::printf("%s: held %s; held by nobody %s; %s; %s in memory, %s free\n", framebroker::GetDirectory().c_str(),
                BlocksText(now.held).c_str(), BlocksText(now.idle).c_str(),
                Plural(now.contents.generationErrors.size(), "generation error").c_str(),
                BytesText(now.contents.bytesOfBlocks).c_str(), BytesText(now.contents.bytesFree).c_str());
}

template <class Range, class Print>
void PrintArray(const char* name, const Range& range, Print print) {
    std::printf(",\n \"%s\":[", name);
    const char* separator = "\n";
    for (const auto& each : range) {
        std::printf("%s  {%s}", separator, print(each).c_str());
        separator = ",\n";
    }
    std::printf("]");
}

void PrintJson(const Snapshot& now) {
    const auto share = [](const Share& of) {
        return "\"blocks\":" + std::to_string(of.blocks) + ",\"bytes\":" + std::to_string(of.bytes);
    };
    std::printf("{\"directory\":%s", JsonText(PlainText(framebroker::GetDirectory())).c_str());
    PrintArray("blocks", now.blocks, JsonMembers);
    PrintArray("generationErrors", now.contents.generationErrors, [](const auto& error) {
        return "\"id\":\"" + error.first.ToString() + "\",\"code\":" + std::to_string(error.second);
    });
    PrintArray("processes", now.processes, [&share](const auto& entry) {
        return "\"pid\":" + std::to_string(entry.first) + ",\"command\":" + JsonText(CommandOf(entry.first)) + ',' +
               share(entry.second);
    });
    std::printf(",\n \"held\":{%s},\n \"heldByNobody\":{%s},\n \"bytesOfBlocks\":%llu,\n \"bytesFree\":%llu,\n "
                "\"defaultBudget\":%llu}\n",
                share(now.held).c_str(), share(now.idle).c_str(),
                static_cast<unsigned long long>(now.contents.bytesOfBlocks),
                static_cast<unsigned long long>(now.contents.bytesFree),
                static_cast<unsigned long long>(framebroker::kDefaultPutBudget));
}

} // namespace

void ListBlocks(const ListArguments& arguments) {
    const SharingGuard sharing;
    const Snapshot now;
    arguments.json ? PrintJson(now) : PrintText(now);
}

} // namespace tool
