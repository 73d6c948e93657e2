#include "HandleMemory.h"
#include "LendingRegistry.h"
#include "LifecycleSteps.h"
#include "VideoFrameInterfaces.h"
#include "zyncore.h"

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace VF::Details {
namespace {

using Entries = std::vector<LendingRegistry::Entry>;

/// The reports of what was lent, whose lines hosts read.
constexpr const char* kCategory = "TPix";

/// Who lent it. A category of its own, so that nothing stands between the lines of the other.
constexpr const char* kOriginCategory = "TPixOrigin";

constexpr int kLevel = 0;

/// What the trace answered one call site, kept until a category is switched.
class TraceSite {
public:
    bool IsOn() noexcept {
        const std::uint32_t changes = zyncore::debug::TraceChangeCount();
        if (!mAsked || changes != mChanges) {
            mIsOn = zyncore::debug::TraceEnabled(kCategory, kLevel, true);
            mChanges = changes;
            mAsked = true;
        }
        return mIsOn;
    }

private:
    bool mAsked = false;
    bool mIsOn = false;
    std::uint32_t mChanges = 0;
};

// Under the lifecycle lock, as everything here.
constinit TraceSite sPixmapCountSite;
constinit TraceSite sRowsSite;
constinit TraceSite sDataSite;
constinit TraceSite sWorldCountSite;

void WriteLine(const char* category, std::string_view message) {
    std::string line = "<" + std::to_string(zyncore::threads::GetCurrentThreadID()) + "> <";
    line.append(category).append("> <").append(std::to_string(kLevel)).append("> ").append(message).append("\r\n");
    zyncore::debug::Trace(line);
}

/// The low 32 bits of a handle, as hosts' logs have it.
std::string NameOf(std::uintptr_t hand) {
    char digits[8];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), static_cast<std::uint32_t>(hand), 16).ptr;
    return "<Leaked Video frame,0x" + std::string(std::begin(digits), end) + "> ";
}

void WriteOrigin(std::uintptr_t hand) {
    char origin[512];
    // An address of this library, because the call that matters is the one into it.
    if (KxDescribeHandleOrigin(reinterpret_cast<KxHandle>(hand), // NOLINT(performance-no-int-to-ptr)
                               &sPixmapCountSite, origin, sizeof(origin)) != 0 &&
        zyncore::debug::TraceEnabled(kOriginCategory, kLevel, true)) {
        WriteLine(kOriginCategory, NameOf(hand) + "made by " + origin);
    }
}

void WritePixmap(const LendingRegistry::Entry& entry) {
    const auto& [hand, object] = entry;
    const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(object);
    if (!memory) {
        return;
    }
    if (const auto rows = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(object)) {
        if (sRowsSite.IsOn()) {
            WriteLine(kCategory, NameOf(hand) + "row bytes:" + std::to_string(rows->GetRowBytes()) +
                                     ", data size:" + std::to_string(memory->GetDataSize()));
        }
    } else if (sDataSite.IsOn()) {
        WriteLine(kCategory, NameOf(hand) + "data size:" + std::to_string(memory->GetDataSize()));
    }
}

void WritePixmaps(const Entries& entries) {
    if (sPixmapCountSite.IsOn()) {
        WriteLine(kCategory, std::to_string(entries.size()) + " TPix frames were leaked at shutdown!");
    }
    for (const LendingRegistry::Entry& entry : entries) {
        try {
            WritePixmap(entry);
            WriteOrigin(entry.first);
        } catch (...) { // NOLINT(bugprone-empty-catch): a frame that cannot say how large it is has no line
        }
    }
}

void WriteWorlds(const Entries& entries) {
    if (sWorldCountSite.IsOn()) {
        WriteLine(kCategory, std::to_string(entries.size()) + " EWWorlds were leaked at shutdown!");
    }
}

/// Empties the registry and writes what was in it. The library stops whatever becomes of the report.
void ReportAndRelease(LendingRegistry& registry, void (*write)(const Entries&)) noexcept {
    try {
        if (const Entries entries = registry.TakeAll(); !entries.empty()) {
            write(entries);
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): memory for the lines ran out
    }
}

} // namespace

void ReportAndReleaseLentPixmaps() {
    ReportAndRelease(LentPixmaps(), WritePixmaps);
    ReportAndRelease(LentWorlds(), WriteWorlds);
}

} // namespace VF::Details
