#pragma once

/// The media manager: who keeps media in memory tells it what that costs, and it decides what is given up when memory
/// runs short.
///
/// A cache makes one media map, registers what it keeps as entries under keys of its own choice, and gives an entry up
/// when the manager flushes it through the map. All functions may be called from any thread.

#include "BRTFoundation.h"
#include "SymbolVisibility.h"

#include <cstdint>
#include <vector>

#if defined(RenderKit_EXPORTS)
#define RENDERKIT_API VF_SYMBOL_EXPORT
#else
#define RENDERKIT_API VF_SYMBOL_IMPORT
#endif

namespace RK {

/// A cache's face towards the media manager. Slots 4 to 6 after BRTUnknown's four.
class VF_SYMBOL_EXPORT IMediaMap : public BRT::BRTUnknown {
public:
    /// Slot 4. Gives an entry up; the manager has forgotten it already. An unknown key is ignored: the entry may just
    /// have been removed. Called on the thread that needs the memory, from inside the manager's functions and without
    /// a lock of the manager's. It may take the lock under which the map calls the manager if a thread can take that
    /// lock twice, and it may call the manager.
    virtual void Flush(std::uint64_t inKey) = 0;
    /// Slot 5. The identifier that the manager gave the map.
    virtual zyncore::utility::Guid GetMapID() = 0;
    /// Slot 6. A reference to the map itself.
    virtual BRT::InterfaceRef<IMediaMap> GetReference() = 0;

protected:
    ~IMediaMap() = default;
};

/// What the manager knows of one map, or of all together.
struct MediaFigures {
    std::uint64_t entries = 0;
    std::uint64_t entryBytes = 0;
    std::uint64_t publishableBytes = 0; ///< the part of entryBytes that other processes can map
    std::uint64_t heldBytes = 0;        ///< kept in memory by something else than an entry, as last reported
    std::uint64_t touches = 0;          ///< uses of entries so far
    std::uint64_t flushes = 0;          ///< entries flushed so far
    std::uint64_t flushedBytes = 0;     ///< bytes of those
    friend bool operator==(const MediaFigures&, const MediaFigures&) = default;
};

/// Keeps entries and held bytes of all maps together within one budget of bytes.
///
/// When they exceed it, entries are flushed until they fit or none is left: those of the lowest value first, among
/// equal values the one that was not used for the longest time. One thread flushes at a time, for all; a function that
/// finds another thread doing so returns at once, which is why a flush may wait for a map's lock. An entry that would
/// not fit beside the held bytes even alone is flushed at once and displaces nothing.
///
/// Maps, keys and identifiers that the manager does not know are ignored. A function that is given an empty map throws
/// BRT::NullInterfaceException; std::bad_alloc and what a flush throws pass through.
class VF_SYMBOL_EXPORT IMediaManager : public BRT::BRTUnknown {
public:
    /// Slot 4. Gives a new media map its identifier, under which it is known from now on.
    virtual void NewMediaMap(zyncore::utility::Guid& outMapID) = 0;
    /// Slot 5. Forgets a map with its entries and held bytes. Its identifier is never given out again.
    virtual void ForgetMediaMap(const zyncore::utility::Guid& inMapID) = 0;

    /// Slot 6. Registers an entry as just used; a known key is registered anew. Negative bytes count as 0. A higher
    /// value keeps the entry longer. The manager holds a reference to the map while it has entries. The entry may be
    /// flushed before the function returns.
    virtual void AddEntry(std::uint64_t inKey, std::int64_t inBytes, std::uint32_t inEntryValue, bool inPublishable,
                          const BRT::InterfaceRef<IMediaMap>& inMap) = 0;
    /// Slot 7. Marks an entry as just used.
    virtual void TouchEntry(std::uint64_t inKey, const BRT::InterfaceRef<IMediaMap>& inMap) = 0;
    /// Slot 8. Forgets an entry without flushing it.
    virtual void RemoveEntry(std::uint64_t inKey, const BRT::InterfaceRef<IMediaMap>& inMap) = 0;
    /// Slot 9. Bytes that the map keeps in memory beside its entries, all together; replaces the former report.
    virtual void ReportHeldBytes(const zyncore::utility::Guid& inMapID, std::uint64_t inBytes) = 0;

    /// Slots 10 and 11. The budget in bytes. It never exceeds the memory that the machine and the container leave this
    /// process, and is a quarter of that (kDefaultBudgetShare) until somebody sets it. A smaller one takes effect at
    /// once.
    virtual void SetBudget(std::uint64_t inBytes) = 0;
    virtual std::uint64_t GetBudget() = 0;

    /// Slot 12. Sums over all maps; what was counted for forgotten maps stays counted.
    virtual MediaFigures GetTotals() = 0;
    /// Slot 13. One map's figures; false, and outFigures is left alone, for an unknown map.
    virtual bool GetMapFigures(const zyncore::utility::Guid& inMapID, MediaFigures& outFigures) = 0;
    /// Slot 14. The known maps, in ascending order.
    virtual std::vector<zyncore::utility::Guid> GetMediaMaps() = 0;

    /// A quarter: decoders, idle recycler buffers and the host itself want the rest.
    static constexpr std::uint64_t kDefaultBudgetShare = 4;

protected:
    ~IMediaManager() = default;
};

/// The media manager of the process. Never destroyed.
RENDERKIT_API BRT::InterfaceRef<IMediaManager> GetMediaManager();

namespace Details {

/// Receives what the manager flushes from a cache.
class VF_SYMBOL_EXPORT MediaMapTemplateCache {
public:
    /// Slot 0. As IMediaMap::Flush.
    virtual void Flush(std::uint64_t inKey) = 0;
    /// Slot 1. Destroys the object and, when bit 0 of flags is set, frees its storage. Returns the storage.
    virtual void* DeletingDestructor(unsigned int flags) = 0;

protected:
    ~MediaMapTemplateCache() = default;
};

/// The media map of a cache that receives its flushes in an object of its own, which must outlive the map and thus the
/// map's entries. Make it with new and keep it in an InterfaceRef. Answers a query for BRTUnknown only.
class RENDERKIT_API MediaMapTemplateHelper final : public IMediaMap, public BRT::Allocated {
public:
    explicit MediaMapTemplateHelper(MediaMapTemplateCache& inCache);
    MediaMapTemplateHelper(const MediaMapTemplateHelper&) = delete;
    MediaMapTemplateHelper& operator=(const MediaMapTemplateHelper&) = delete;

    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    void* DeletingDestructor(unsigned int flags) override;
    std::int32_t QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) override;
    void Flush(std::uint64_t inKey) override;
    zyncore::utility::Guid GetMapID() override;
    BRT::InterfaceRef<IMediaMap> GetReference() override;

private:
    ~MediaMapTemplateHelper();

    BRT::InterfaceRef<IMediaManager> mMediaManager;
    zyncore::utility::Guid mMapID;
    MediaMapTemplateCache* mCache;
    BRT::ReferenceCount mReferenceCount;
};

} // namespace Details
} // namespace RK
