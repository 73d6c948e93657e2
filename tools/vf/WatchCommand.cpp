#include "BlockListing.h"
#include "ExitCodes.h"
#include "Interruption.h"
#include "SharingCommands.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tool {
namespace {

// How long Ctrl-C may go unnoticed while nothing happens.
constexpr std::chrono::milliseconds kSlice{200};

using Guid = zyncore::utility::Guid;

// The changes from one look at the directory to the next.
class Watch {
public:
    explicit Watch(bool json) : mJson(json) {}

    void Run() {
        const auto changes = framebroker::ChangeWatch::Create();
        if (!changes) {
            throw Failure(ExitCode::SharingFailed, "the system watches no more folders for this user");
        }
        Look();
        while (!mInterruption.Requested()) {
            if (changes->Wait(kSlice)) {
                Look();
            }
        }
    }

private:
    struct Named {
        std::chrono::system_clock::time_point since; // of the block's latest name
        std::vector<std::int32_t> holders;
        std::string name;
        bool known = false; // from the look before
    };
    struct ByBytes {
        bool operator()(const Guid& left, const Guid& right) const { return left.Bytes() < right.Bytes(); }
    };
    using Names = std::map<Guid, Named, ByBytes>;
    using Errors = std::map<Guid, std::int32_t, ByBytes>;

    // Whether a name leads to the block of the look before. It may have gone and come back for another one, which has
    // another time and other holders. The time alone also changes while the block gets a further name, and while it
    // loses its names because nobody holds it any more.
    static bool IsStill(const Named& before, const framebroker::BlockDescription& block) {
        return before.since == block.namedAt || block.ids.size() > 1 || block.holders.empty() ||
               std::find_first_of(before.holders.begin(), before.holders.end(), block.holders.begin(),
                                  block.holders.end()) != before.holders.end();
    }

    void Look() {
        auto contents = BlockInspector::List();
        Names now;
        std::vector<framebroker::BlockDescription> changed;
        for (auto& block : contents.blocks) {
            bool isChanged = false;
            for (const Guid& id : block.ids) {
                Named& named = now[id];
                named.since = block.namedAt;
                named.holders = block.holders;
                if (const auto before = mNames.find(id); before != mNames.end()) {
                    named.known = IsStill(before->second, block);
                    named.name = before->second.name;
                }
                isChanged = isChanged || !named.known;
            }
            if (isChanged) {
                changed.push_back(std::move(block));
            }
        }
        for (const auto& [id, before] : mNames) {
            if (const auto after = now.find(id); after == now.end() || !after->second.known) {
                Print("removed", id, mJson ? "\"name\":" + JsonText(before.name) : before.name);
            }
        }
        for (const ListedBlock& listed : mInspector.Inspect(std::move(changed))) {
            ReportNewNames(listed, now);
        }
        ReportErrors(contents.generationErrors);
        mNames = std::move(now);
        std::fflush(stdout);
    }

    void ReportNewNames(const ListedBlock& listed, Names& now) const {
        const auto& ids = listed.block.ids;
        const std::string name = PlainText(listed.name);
        bool isFirst = std::none_of(ids.begin(), ids.end(), [&now](const Guid& id) { return now[id].known; });
        for (const Guid& id : ids) {
            if (listed.kind == BlockKind::Gone) {
                now.erase(id); // came and went between two looks
            } else if (!now[id].known) {
                now[id].name = name;
                Print(isFirst ? "put" : "alias", id, mJson ? JsonMembers(listed) : LineOf(listed, name));
                isFirst = false;
            }
        }
    }

    static std::string LineOf(const ListedBlock& listed, const std::string& name) {
        return ContentText(listed) + "  " + BytesText(listed.block.sizeInBytes) + "  held by " +
               HoldersText(listed.block.holders) + (name.empty() ? "" : "  " + name);
    }

    void ReportErrors(const std::vector<std::pair<Guid, std::int32_t>>& errors) {
        Errors now;
        for (const auto& [id, code] : errors) {
            now[id] = code;
            const auto before = mErrors.find(id);
            if (before == mErrors.end() || before->second != code) {
                const std::string meaning = PlainText(mInspector.ErrorMeaning(code));
                Print("error", id,
                      mJson ? "\"code\":" + std::to_string(code) + ",\"meaning\":" + JsonText(meaning) : meaning);
            }
        }
        mErrors = std::move(now);
    }

    void Print(const char* event, const Guid& id, const std::string& rest) const {
        const auto now = std::chrono::system_clock::now();
        if (mJson) {
            const std::chrono::duration<double> seconds = now.time_since_epoch();
            std::printf("{\"time\":%.3f,\"event\":\"%s\",\"id\":\"%s\",%s}\n", seconds.count(), event,
                        id.ToString().c_str(), rest.c_str());
            return;
        }
        const std::time_t time = std::chrono::system_clock::to_time_t(now);
        std::tm local{};
        localtime_r(&time, &local);
        std::printf("%02d:%02d:%02d  %-7s  %s%s%s\n", local.tm_hour, local.tm_min, local.tm_sec, event,
                    id.ToString().c_str(), rest.empty() ? "" : "  ", rest.c_str());
    }

    const bool mJson;
    SharingGuard mSharing;
    Interruption mInterruption;
    BlockInspector mInspector;
    Names mNames;
    Errors mErrors;
};

} // namespace

void WatchBlocks(const WatchArguments& arguments) {
    Watch(arguments.json).Run();
}

} // namespace tool
