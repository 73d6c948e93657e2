#include "MediaManager.h"

#include "MemoryLimit.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <utility>

namespace RK {
namespace {

using zyncore::utility::Guid;
using MapRef = BRT::InterfaceRef<IMediaMap>;

/// More bytes than a process can address. Reports are cut to it, so that sums of a few cannot wrap.
constexpr std::uint64_t kLargestReport = std::uint64_t{1} << 56;

} // namespace

BRT::InterfaceRef<IMediaManager> GetMediaManager() {
    static zyncore::detail::Immortal<Details::MediaManager> manager;
    return BRT::InterfaceRef<IMediaManager>(&manager.Get());
}

namespace Details {

MediaManager::MediaManager() : mBudget(MemoryLimitInBytes() / kDefaultBudgetShare) {}

std::int32_t MediaManager::QueryInterface(const Guid& iid, void** outInterface) {
    const bool known = iid == BRT::BRTUnknown::kInterfaceID;
    *outInterface = known ? this : nullptr;
    return known ? BRT::kResult_Success : BRT::kResult_NoSuchInterface;
}

void MediaManager::NewMediaMap(Guid& outMapID) {
    const Guid id = Guid::Generate();
    const std::lock_guard lock(mLock);
    mMaps.try_emplace(id);
    outMapID = id;
}

void MediaManager::ForgetMediaMap(const Guid& inMapID) {
    MapRef released;
    const std::lock_guard lock(mLock);
    if (MapRecord* map = FindMap(inMapID)) {
        while (!map->entries.empty()) {
            released = Forget(map->entries.begin()->second);
        }
        mTotals.heldBytes -= map->figures.heldBytes;
        mMaps.erase(inMapID);
    }
}

void MediaManager::AddEntry(std::uint64_t inKey, std::int64_t inBytes, std::uint32_t inEntryValue, bool inPublishable,
                            const MapRef& inMap) {
    const Guid id = inMap->GetMapID();
    const auto bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(inBytes, 0));
    MapRef released;
    bool flush = false;
    bool makeRoom = false;
    {
        const std::lock_guard lock(mLock);
        MapRecord* map = FindMap(id);
        if (!map) {
            return;
        }
        if (const auto known = map->entries.find(inKey); known != map->entries.end()) {
            released = Forget(known->second);
        }
        if (Fits(bytes)) {
            Remember(*map,
                     {.key = inKey, .bytes = bytes, .value = inEntryValue, .publishable = inPublishable, .map = map});
            if (!map->map) {
                map->map = inMap;
            }
            makeRoom = TakeTurn();
        } else {
            CountFlush(*map, bytes);
            flush = true;
        }
    }
    if (flush) {
        inMap->Flush(inKey);
    }
    if (makeRoom) {
        MakeRoom();
    }
}

void MediaManager::TouchEntry(std::uint64_t inKey, const MapRef& inMap) {
    const Guid id = inMap->GetMapID();
    const std::lock_guard lock(mLock);
    if (MapRecord* map = FindMap(id)) {
        if (const auto known = map->entries.find(inKey); known != map->entries.end()) {
            mOrder.MarkUsed(known->second);
            ++map->figures.touches;
            ++mTotals.touches;
        }
    }
}

void MediaManager::RemoveEntry(std::uint64_t inKey, const MapRef& inMap) {
    const Guid id = inMap->GetMapID();
    MapRef released;
    const std::lock_guard lock(mLock);
    if (MapRecord* map = FindMap(id)) {
        if (const auto known = map->entries.find(inKey); known != map->entries.end()) {
            released = Forget(known->second);
        }
    }
}

void MediaManager::ReportHeldBytes(const Guid& inMapID, std::uint64_t inBytes) {
    bool makeRoom = false;
    {
        const std::lock_guard lock(mLock);
        if (MapRecord* map = FindMap(inMapID)) {
            const std::uint64_t bytes = std::min(inBytes, kLargestReport);
            mTotals.heldBytes += bytes - map->figures.heldBytes;
            map->figures.heldBytes = bytes;
            makeRoom = TakeTurn();
        }
    }
    if (makeRoom) {
        MakeRoom();
    }
}

void MediaManager::SetBudget(std::uint64_t inBytes) {
    const std::uint64_t budget = std::min(inBytes, MemoryLimitInBytes());
    bool makeRoom = false;
    {
        const std::lock_guard lock(mLock);
        mBudget = budget;
        makeRoom = TakeTurn();
    }
    if (makeRoom) {
        MakeRoom();
    }
}

std::uint64_t MediaManager::GetBudget() {
    const std::lock_guard lock(mLock);
    return mBudget;
}

MediaFigures MediaManager::GetTotals() {
    const std::lock_guard lock(mLock);
    return mTotals;
}

bool MediaManager::GetMapFigures(const Guid& inMapID, MediaFigures& outFigures) {
    const std::lock_guard lock(mLock);
    const MapRecord* map = FindMap(inMapID);
    if (map) {
        outFigures = map->figures;
    }
    return map != nullptr;
}

std::vector<Guid> MediaManager::GetMediaMaps() {
    std::vector<Guid> maps;
    {
        const std::lock_guard lock(mLock);
        for (const auto& [id, map] : mMaps) {
            maps.push_back(id);
        }
    }
    std::ranges::sort(maps);
    return maps;
}

MapRecord* MediaManager::FindMap(const Guid& mapID) noexcept {
    const auto found = mMaps.find(mapID);
    return found == mMaps.end() ? nullptr : &found->second;
}

void MediaManager::Remember(MapRecord& map, const Entry& entry) {
    const auto added = map.entries.try_emplace(entry.key, entry).first;
    try {
        mOrder.Add(added->second);
    } catch (...) {
        map.entries.erase(added);
        throw;
    }
    for (MediaFigures* figures : {&map.figures, &mTotals}) {
        ++figures->entries;
        figures->entryBytes += entry.bytes;
        figures->publishableBytes += entry.publishable ? entry.bytes : 0;
    }
}

MapRef MediaManager::Forget(Entry& entry) noexcept {
    MapRecord& map = *entry.map;
    for (MediaFigures* figures : {&map.figures, &mTotals}) {
        --figures->entries;
        figures->entryBytes -= entry.bytes;
        figures->publishableBytes -= entry.publishable ? entry.bytes : 0;
    }
    mOrder.Remove(entry);
    map.entries.erase(entry.key);
    return map.entries.empty() ? std::exchange(map.map, {}) : MapRef();
}

void MediaManager::CountFlush(MapRecord& map, std::uint64_t bytes) noexcept {
    for (MediaFigures* figures : {&map.figures, &mTotals}) {
        ++figures->flushes;
        figures->flushedBytes += bytes;
    }
}

bool MediaManager::TakeTurn() noexcept {
    return !Fits(mTotals.entryBytes) && !std::exchange(mMakingRoom, true);
}

void MediaManager::MakeRoom() {
    try {
        for (Victim victim = TakeVictim(); victim.map; victim = TakeVictim()) {
            victim.map->Flush(victim.key);
        }
    } catch (...) {
        const std::lock_guard lock(mLock);
        mMakingRoom = false;
        throw;
    }
}

MediaManager::Victim MediaManager::TakeVictim() {
    Victim victim;
    const std::lock_guard lock(mLock);
    Entry* entry = Fits(mTotals.entryBytes) ? nullptr : mOrder.First();
    if (entry) {
        CountFlush(*entry->map, entry->bytes);
        victim.map = entry->map->map;
        victim.key = entry->key;
        victim.lastReference = Forget(*entry);
    } else {
        mMakingRoom = false;
    }
    return victim;
}

} // namespace Details
} // namespace RK
