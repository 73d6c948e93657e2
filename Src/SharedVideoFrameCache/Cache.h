#pragma once

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "zyncore.h"
#include "zyncore/GuidHash.h"

#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace VF::SharedVideoFrameCache {

using zyncore::utility::Guid;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

/// Frames that left the cache.
using ReleasedFrames = std::vector<FrameRef>;

/// What the cache knows, without lock and process-wide state. Every function is called under the cache's lock.
///
/// A frame object is cached (it has a key, under which the media manager knows it), or dependency-held (it was taken
/// out while dependencies still named it; its bytes count as held), or unknown. An identifier names a cached frame, or
/// has dependencies, or both.
///
/// The media manager may flush any frame, also the one in hand, inside every call that is made to it.
class Cache {
public:
    /// Flushes go to flushHandler, which must outlive the cache.
    explicit Cache(RK::Details::MediaMapTemplateCache& flushHandler);
    /// Takes entries and held bytes back from the media manager. The one function without the lock.
    virtual ~Cache();
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;

    FrameRef Retrieve(const Guid& id);
    /// Keeps the frame unless the identifier is served already.
    void InsertUnlessServed(const FrameRef& frame, const Guid& id, std::uint32_t entryValue);
    void RegisterDependency(const Guid& id);
    void UnregisterDependency(const Guid& id);
    void Expire(const Guid& id);
    void ExpireAll();
    /// The media manager has given the key up.
    void Flush(std::uint64_t key) { TakeOut(key); }

    /// Frames that have left the cache since the last call. They must die after the lock.
    ReleasedFrames TakeReleased() noexcept { return std::exchange(mReleased, {}); }

private:
    struct KnownFrame;
    struct Name;
    template <class Value>
    using Allocator = zyncore::utility::SmallBlockStdAllocator<Value>;
    using NameNode = std::pair<const Guid, Name>;
    using NameTable = std::unordered_map<Guid, Name, zyncore::detail::GuidHash, std::equal_to<>, Allocator<NameNode>>;
    using Identity = const BRT::BRTUnknown*;
    using FrameNode = std::pair<const Identity, KnownFrame>;
    using FrameTable =
        std::unordered_map<Identity, KnownFrame, std::hash<Identity>, std::equal_to<>, Allocator<FrameNode>>;
    using KeyTable =
        std::map<std::uint64_t, FrameNode*, std::less<>, Allocator<std::pair<const std::uint64_t, FrameNode*>>>;

    /// A frame that is cached or dependency-held.
    struct KnownFrame {
        std::uint64_t key = 0;     ///< 0: not cached
        FrameRef frame;            ///< while it is cached
        NameNode* names = nullptr; ///< while it is cached: its identifiers, linked
        std::uint64_t sizeInBytes = 0;
        std::uint64_t heldCount = 0; ///< dependencies that hold it; 0: not dependency-held
        bool reinsert = false;       ///< dependency-held: comes back into the cache when it is retrieved
    };

    /// An identifier that names a cached frame or has dependencies.
    struct Name {
        KnownFrame* cached = nullptr;
        NameNode* nextOfFrame = nullptr;
        std::uint64_t dependencies = 0;
        FrameRef dependencyFrame; ///< empty until a frame is known
    };

    static Identity IdentityOf(const FrameRef& frame) noexcept;

    void Insert(const FrameRef& frame, const Guid& id, std::uint32_t entryValue);
    /// Returns the frame's key, which may be gone again.
    std::uint64_t AddFrame(const FrameRef& frame, Identity identity, std::uint32_t entryValue);
    /// Takes a frame out of the cache. The frame as it is known now, null when it is not dependency-held.
    KnownFrame* TakeOut(std::uint64_t key);
    void StopHolding(FrameTable::iterator held);
    void ForgetUnlessUsed(FrameTable::iterator frame) noexcept;
    void PostHeldBytes() const;

    BRT::InterfaceRef<RK::IMediaManager> mMediaManager;
    BRT::InterfaceRef<RK::IMediaMap> mMediaMap;
    NameTable mNames;
    FrameTable mFrames;
    KeyTable mKeys; ///< of the cached frames
    std::uint64_t mHeldBytes = 0;
    ReleasedFrames mReleased;
};

} // namespace VF::SharedVideoFrameCache
