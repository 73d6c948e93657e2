#include "scale/FilterTable.h"
#include "zyncore/Immortal.h"

#include <list>
#include <mutex>

namespace PixelBlitter {

namespace {

/// A player or a timeline uses a handful of size pairs at a time, each two tables; more than this is a sweep over
/// sizes, which no cache helps.
constexpr std::size_t kMaxTables = 32;

/// The table of 1080p to 540p is about 40 KB, of 8K to 4K with the widest filter about 200 KB.
constexpr std::uint64_t kMaxBytes = std::uint64_t{8} << 20;

struct Entry {
    ResampleAxis axis;
    Filter filter;
    TableUse use;
    std::shared_ptr<const FilterTable> table;
};

/// The most recently used table comes first.
struct Cache {
    std::mutex mutex;
    std::list<Entry> entries;
    std::uint64_t bytes = 0;
};

/// Never destroyed: frames that outlive the process's static objects may still be converted.
Cache& TheCache() noexcept {
    static zyncore::detail::Immortal<Cache> cache;
    return cache.Get();
}

std::shared_ptr<const FilterTable> Find(Cache& cache, const ResampleAxis& axis, Filter filter, TableUse use) noexcept {
    for (auto entry = cache.entries.begin(); entry != cache.entries.end(); ++entry) {
        if (entry->axis == axis && entry->filter == filter && entry->use == use) {
            cache.entries.splice(cache.entries.begin(), cache.entries, entry);
            return entry->table;
        }
    }
    return nullptr;
}

} // namespace

std::shared_ptr<const FilterTable> SharedFilterTable(const ResampleAxis& axis, Filter filter, TableUse use) {
    Cache& cache = TheCache();
    {
        const std::lock_guard lock(cache.mutex);
        if (auto table = Find(cache, axis, filter, use))
            return table;
    }
    auto table = std::make_shared<const FilterTable>(MakeFilterTable(axis, filter, use));
    if (table->SizeInBytes() > kMaxBytes)
        return table;

    std::list<Entry> fresh; // allocated, and what it replaces freed, outside the lock
    fresh.push_back({axis, filter, use, table});
    std::list<Entry> dropped;
    const std::lock_guard lock(cache.mutex);
    if (auto other = Find(cache, axis, filter, use))
        return other;
    cache.bytes += table->SizeInBytes();
    cache.entries.splice(cache.entries.begin(), fresh);
    while (cache.entries.size() > kMaxTables || cache.bytes > kMaxBytes) {
        cache.bytes -= cache.entries.back().table->SizeInBytes();
        dropped.splice(dropped.begin(), cache.entries, std::prev(cache.entries.end()));
    }
    return table;
}

void ReleaseResampleTables() noexcept {
    std::list<Entry> dropped;
    Cache& cache = TheCache();
    const std::lock_guard lock(cache.mutex);
    dropped.swap(cache.entries);
    cache.bytes = 0;
}

} // namespace PixelBlitter
