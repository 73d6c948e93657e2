#pragma once

#include "EvictionOrder.h"
#include "RenderKit_MediaManager.h"
#include "zyncore/GuidHash.h"

#include <mutex>
#include <unordered_map>

namespace RK::Details {

using EntryTable = std::unordered_map<std::uint64_t, Entry, std::hash<std::uint64_t>, std::equal_to<>,
                                      zyncore::utility::SmallBlockStdAllocator<std::pair<const std::uint64_t, Entry>>>;

/// One media map as the manager knows it.
struct MapRecord {
    EntryTable entries;
    BRT::InterfaceRef<IMediaMap> map; ///< held while there are entries
    MediaFigures figures;
};

/// The manager behind GetMediaManager. Its lock is never held while a map is called or a reference to one is released.
class MediaManager final : public IMediaManager {
public:
    MediaManager();

    // Never destroyed, so nothing is counted.
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    void* DeletingDestructor(unsigned int) override { return this; }
    std::int32_t QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) override;

    void NewMediaMap(zyncore::utility::Guid& outMapID) override;
    void ForgetMediaMap(const zyncore::utility::Guid& inMapID) override;
    void AddEntry(std::uint64_t inKey, std::int64_t inBytes, std::uint32_t inEntryValue, bool inPublishable,
                  const BRT::InterfaceRef<IMediaMap>& inMap) override;
    void TouchEntry(std::uint64_t inKey, const BRT::InterfaceRef<IMediaMap>& inMap) override;
    void RemoveEntry(std::uint64_t inKey, const BRT::InterfaceRef<IMediaMap>& inMap) override;
    void ReportHeldBytes(const zyncore::utility::Guid& inMapID, std::uint64_t inBytes) override;
    void SetBudget(std::uint64_t inBytes) override;
    std::uint64_t GetBudget() override;
    MediaFigures GetTotals() override;
    bool GetMapFigures(const zyncore::utility::Guid& inMapID, MediaFigures& outFigures) override;
    std::vector<zyncore::utility::Guid> GetMediaMaps() override;

private:
    struct Victim {
        BRT::InterfaceRef<IMediaMap> map; ///< empty: there is nothing to flush
        std::uint64_t key = 0;
        BRT::InterfaceRef<IMediaMap> lastReference; ///< the manager's own, to be released after the lock
    };

    // All but MakeRoom and TakeVictim are called under the lock.
    MapRecord* FindMap(const zyncore::utility::Guid& mapID) noexcept;
    void Remember(MapRecord& map, const Entry& entry);
    /// Returns the manager's reference to the map when this was its last entry.
    BRT::InterfaceRef<IMediaMap> Forget(Entry& entry) noexcept;
    void CountFlush(MapRecord& map, std::uint64_t bytes) noexcept;
    bool Fits(std::uint64_t entryBytes) const noexcept { return entryBytes + mTotals.heldBytes <= mBudget; }
    /// Whether the calling thread has to make room. It must do so then, because no other will.
    bool TakeTurn() noexcept;

    /// Flushes until the budget holds.
    void MakeRoom();
    /// The entry to flush next. Without one the turn has ended.
    Victim TakeVictim();

    std::mutex mLock;
    std::unordered_map<zyncore::utility::Guid, MapRecord, zyncore::detail::GuidHash> mMaps;
    EvictionOrder mOrder;
    MediaFigures mTotals;
    std::uint64_t mBudget;
    bool mMakingRoom = false; ///< a thread has the turn
};

} // namespace RK::Details
