#include "Immortal.h"
#include "zyncore.h"

#include <atomic>
#include <cstdio>
#include <limits>
#include <map>
#include <mutex>

namespace zyncore::debug {
namespace {

constexpr int kEveryLevel = std::numeric_limits<int>::max();
constexpr int kOff = -1;

void WriteToStandardError(std::string_view text, void*) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

struct Categories {
    std::mutex mutex;
    std::map<std::string, int, std::less<>> highestLevel;

    static Categories& Instance() {
        static detail::Immortal<Categories> categories;
        return categories.Get();
    }
};

/// Starts at 1, so that a call site whose kept count is 0 asks the first time.
constinit std::atomic<std::uint32_t> gChangeCount{1};

/// The mutex is held inside the sink: it makes calls one at a time and lets SetTraceSink wait for them. It is recursive
/// because a sink may trace (which is dropped) or replace itself.
struct Sink {
    std::recursive_mutex mutex;
    TraceSink function = &WriteToStandardError;
    void* context = nullptr;
    bool busy = false;

    static Sink& Instance() {
        static detail::Immortal<Sink> sink;
        return sink.Get();
    }
};

} // namespace

bool TraceEnabled(const char* category, int level, bool enabledByDefault) noexcept {
    const std::string_view name = category ? category : "";
    int highestLevel = enabledByDefault || name == "Contract" ? kEveryLevel : kOff;
    try {
        Categories& categories = Categories::Instance();
        const std::lock_guard lock(categories.mutex);
        auto found = categories.highestLevel.find(name);
        if (found == categories.highestLevel.end()) {
            found = categories.highestLevel.emplace(name, highestLevel).first;
        }
        highestLevel = found->second;
    } catch (const std::bad_alloc&) {
        // The category is not remembered; the default still answers this question.
    }
    return highestLevel >= 0 && level <= highestLevel;
}

std::uint32_t TraceChangeCount() noexcept {
    return gChangeCount.load(std::memory_order_acquire);
}

void SetTraceLevel(const char* category, int maxLevel) {
    Categories& categories = Categories::Instance();
    const std::lock_guard lock(categories.mutex);
    categories.highestLevel.insert_or_assign(category ? category : "", maxLevel);
    gChangeCount.fetch_add(1, std::memory_order_release);
}

void Trace(std::string_view text) noexcept {
    Sink& sink = Sink::Instance();
    const std::lock_guard lock(sink.mutex);
    if (sink.busy) {
        return;
    }
    sink.busy = true;
    try {
        sink.function(text, sink.context);
    } catch (...) {
        // A sink that fails must not change what the traced code does.
    }
    sink.busy = false;
}

void SetTraceSink(TraceSink sink, void* context) noexcept {
    Sink& current = Sink::Instance();
    const std::lock_guard lock(current.mutex);
    current.function = sink ? sink : &WriteToStandardError;
    current.context = sink ? context : nullptr;
}

} // namespace zyncore::debug
