#include "Cache.h"

#include "VideoFrameInterfaces.h"

#include <algorithm>

namespace VF::SharedVideoFrameCache {
namespace {

/// Entry value of a frame that comes back because a dependency is served with it.
constexpr std::uint32_t kReinsertionValue = 5;

/// Key of the next frame, written under the cache's lock. A key is never used again, not by the next cache either: a
/// flush that was meant for the last one may still be on its way.
constinit std::uint64_t sNextKey = 1;

std::uint64_t SizeOf(const FrameRef& frame) {
    if (const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(frame)) {
        return memory->GetBufferSize();
    }
    const auto bounds = frame->GetBounds();
    return zynmediatypes::PixelFormatSize(frame->GetPixelType(), bounds.Width(), bounds.Height());
}

} // namespace

Cache::Cache(RK::Details::MediaMapTemplateCache& flushHandler)
    : mMediaManager(RK::GetMediaManager()), mMediaMap(new RK::Details::MediaMapTemplateHelper(flushHandler)) {}

Cache::~Cache() {
    for (const auto& [key, frame] : mKeys) {
        mMediaManager->RemoveEntry(key, mMediaMap);
    }
    mMediaManager->ReportHeldBytes(mMediaMap->GetMapID(), 0);
    mMediaMap.Reset(); // before any frame dies, which may call anywhere
}

FrameRef Cache::Retrieve(const Guid& id) {
    const auto found = mNames.find(id);
    if (found == mNames.end()) {
        return {};
    }
    const Name& name = found->second;
    if (name.cached) {
        FrameRef frame = name.cached->frame;
        mMediaManager->TouchEntry(name.cached->key, mMediaMap);
        return frame;
    }
    FrameRef frame = name.dependencyFrame;
    if (frame) {
        const auto known = mFrames.find(IdentityOf(frame));
        if (known == mFrames.end() || known->second.heldCount == 0 || known->second.reinsert) {
            Insert(frame, id, kReinsertionValue);
        }
    }
    return frame;
}

void Cache::InsertUnlessServed(const FrameRef& frame, const Guid& id, std::uint32_t entryValue) {
    if (!Retrieve(id)) {
        Insert(frame, id, entryValue);
    }
}

void Cache::Insert(const FrameRef& frame, const Guid& id, std::uint32_t entryValue) {
    const Identity identity = IdentityOf(frame);
    std::uint64_t key = 0;
    if (const auto known = mFrames.find(identity); known != mFrames.end() && known->second.key != 0) {
        key = known->second.key;
        mMediaManager->TouchEntry(key, mMediaMap);
    } else {
        key = AddFrame(frame, identity, entryValue);
    }
    // The frame may have been flushed already; the identifier then stays without a cached frame.
    if (const auto cached = mKeys.find(key); cached != mKeys.end()) {
        NameNode& node = *mNames.try_emplace(id).first;
        node.second.cached = &cached->second->second;
        node.second.nextOfFrame = std::exchange(node.second.cached->names, &node);
    }
    if (const auto name = mNames.find(id); name != mNames.end() && name->second.dependencies > 0) {
        mReleased.push_back(name->second.dependencyFrame);
        name->second.dependencyFrame = frame;
    }
    if (const auto known = mFrames.find(identity); known != mFrames.end() && known->second.heldCount > 0) {
        StopHolding(known);
    }
}

std::uint64_t Cache::AddFrame(const FrameRef& frame, Identity identity, std::uint32_t entryValue) {
    auto known = mFrames.find(identity);
    if (known == mFrames.end()) {
        const std::uint64_t size = SizeOf(frame);
        known = mFrames.try_emplace(identity, KnownFrame{.frame = {}, .sizeInBytes = size}).first;
    }
    const bool publishable = static_cast<bool>(BRT::QueryInterface<IPublishableVideoFrame>(frame));
    const std::uint64_t key = sNextKey++;
    try {
        mKeys.emplace_hint(mKeys.end(), key, &*known);
        known->second.key = key;
        known->second.frame = frame;
        mMediaManager->AddEntry(key, static_cast<std::int64_t>(known->second.sizeInBytes), entryValue, publishable,
                                mMediaMap);
    } catch (...) { // what the media manager does not know would stay for ever
        TakeOut(key);
        if (known = mFrames.find(identity); known != mFrames.end()) {
            ForgetUnlessUsed(known);
        }
        throw;
    }
    return key;
}

Cache::KnownFrame* Cache::TakeOut(std::uint64_t key) {
    const auto listed = mKeys.find(key);
    if (listed == mKeys.end()) {
        return nullptr;
    }
    mReleased.emplace_back();
    auto& [identity, frame] = *listed->second;
    mKeys.erase(listed);
    frame.key = 0;
    frame.frame.Swap(mReleased.back());
    std::uint64_t depended = 0;
    for (NameNode* node = std::exchange(frame.names, nullptr); node;) {
        NameNode* const next = std::exchange(node->second.nextOfFrame, nullptr);
        node->second.cached = nullptr;
        if (node->second.dependencies > 0) {
            ++depended;
        } else {
            mNames.erase(mNames.find(node->first));
        }
        node = next;
    }
    if (depended > 0 && std::exchange(frame.heldCount, depended) == 0) {
        frame.reinsert = true;
        mHeldBytes += frame.sizeInBytes;
        PostHeldBytes();
    }
    if (frame.heldCount > 0) {
        return &frame;
    }
    mFrames.erase(mFrames.find(identity));
    return nullptr;
}

void Cache::Expire(const Guid& id) {
    if (const auto name = mNames.find(id); name != mNames.end() && name->second.cached) {
        const std::uint64_t key = name->second.cached->key;
        if (KnownFrame* const held = TakeOut(key)) {
            held->reinsert = false;
        }
        mMediaManager->RemoveEntry(key, mMediaMap);
    }
}

void Cache::ExpireAll() {
    std::vector<Guid> ids; // ascending, so that held bytes are reported in one order whatever the table's
    ids.reserve(mNames.size());
    for (const auto& [id, name] : mNames) {
        ids.push_back(id);
    }
    std::ranges::sort(ids);
    for (const Guid& id : ids) {
        Expire(id);
    }
    for (auto& [identity, frame] : mFrames) {
        frame.reinsert = false;
    }
}

void Cache::RegisterDependency(const Guid& id) {
    if (const auto name = mNames.find(id); name != mNames.end() && name->second.dependencies > 0) {
        ++name->second.dependencies;
        return;
    }
    FrameRef frame = Retrieve(id);
    Name& name = mNames[id];
    name.dependencies = 1;
    name.dependencyFrame = std::move(frame);
}

void Cache::UnregisterDependency(const Guid& id) {
    const auto name = mNames.find(id);
    if (name == mNames.end() || name->second.dependencies == 0) {
        return;
    }
    if (name->second.dependencies > 1) {
        --name->second.dependencies;
        return;
    }
    FrameRef& frame = mReleased.emplace_back();
    frame.Swap(name->second.dependencyFrame);
    name->second.dependencies = 0;
    if (!name->second.cached) {
        mNames.erase(name);
    }
    if (frame) {
        const auto held = mFrames.find(IdentityOf(frame));
        if (held != mFrames.end() && held->second.heldCount > 0 && --held->second.heldCount == 0) {
            StopHolding(held);
        }
    }
}

Cache::Identity Cache::IdentityOf(const FrameRef& frame) noexcept {
    const auto identity = BRT::QueryInterface<BRT::BRTUnknown>(frame);
    return identity ? identity.GetPtr() : frame.GetPtr();
}

void Cache::StopHolding(FrameTable::iterator held) {
    mHeldBytes -= held->second.sizeInBytes;
    held->second.heldCount = 0;
    ForgetUnlessUsed(held);
    PostHeldBytes();
}

void Cache::ForgetUnlessUsed(FrameTable::iterator frame) noexcept {
    if (frame->second.key == 0 && frame->second.heldCount == 0) {
        mFrames.erase(frame);
    }
}

void Cache::PostHeldBytes() const {
    // Copies: the call may run after the cache has gone.
    zyncore::threads::AsyncCallFromMainThread(
        [map = mMediaMap->GetMapID(), bytes = mHeldBytes] { RK::GetMediaManager()->ReportHeldBytes(map, bytes); });
}

} // namespace VF::SharedVideoFrameCache
