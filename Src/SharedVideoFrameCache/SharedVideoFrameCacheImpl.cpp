#include "SharedVideoFrameCache.h"

#include "../ContractReport.h"
#include "../LifecycleSteps.h"
#include "Cache.h"

#include <atomic>
#include <memory>
#include <type_traits>

namespace VF {
namespace SharedVideoFrameCache {
namespace {

/// The one lock of the cache. The media manager may flush inside a call that is made under it.
constinit BRT::CriticalSection sLock;

/// Written under the lock.
constinit std::atomic<Cache*> sCache{nullptr};

/// Operations that hold the lock on its thread, one inside the other.
constinit unsigned sDepth = 0;

constinit std::atomic<NotificationFunction> sNotificationFunction{nullptr};

/// One hold of the lock. Frames that leave the cache die after the outermost one.
class Operation {
public:
    explicit Operation(const char* label) : mLock(sLock, label) { ++sDepth; }
    ~Operation() {
        if (Cache* const cache = TheCache(); --sDepth == 0 && cache) {
            mReleased = cache->TakeReleased();
        }
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    Cache* TheCache() const noexcept { return sCache.load(std::memory_order_relaxed); }

private:
    ReleasedFrames mReleased; // dies after mLock
    BRT::CriticalSectionLock mLock;
};

bool ReportUnless(bool cacheExists, int line = __builtin_LINE()) {
    Details::CheckContract(cacheExists, "sCache", "Src/SharedVideoFrameCacheImpl", line);
    return cacheExists;
}

bool CacheExists() {
    return sCache.load(std::memory_order_acquire) != nullptr;
}

/// Calls body with the cache under its lock. Without a cache that is reported and the answer is false; the last
/// Shutdown may come between the first look and the lock.
template <class Body>
bool WithCache(const char* label, const Body& body, int line = __builtin_LINE()) {
    if (!ReportUnless(CacheExists(), line)) {
        return false;
    }
    bool done = false;
    {
        const Operation operation(label);
        if (Cache* const cache = operation.TheCache()) {
            body(*cache);
            done = true;
        }
    }
    return ReportUnless(done, line);
}

/// Receives flushes for as long as the process lives: the media manager may be at one while the cache is destroyed.
class CacheMediaManagerHelper final : public RK::Details::MediaMapTemplateCache {
public:
    void Flush(std::uint64_t inKey) override {
        const Operation operation("VideoFrame Cache::Flush");
        if (Cache* const cache = operation.TheCache()) {
            cache->Flush(inKey);
        }
    }
    void* DeletingDestructor(unsigned int) override { return this; }
};
constinit CacheMediaManagerHelper sMediaManagerHelper;
static_assert(std::is_trivially_destructible_v<CacheMediaManagerHelper>);

} // namespace

void SetNotificationFunction(NotificationFunction inFunction) {
    sNotificationFunction.exchange(inFunction);
}

void InsertIntoCache(const FrameRef& inFrame, const Guid& inId, unsigned int inEntryValue) {
    if (!ReportUnless(CacheExists()) || !inFrame) {
        return;
    }
    inFrame->SetReadOnly(true);
    const bool done = WithCache("VideoFrame Cache::Insert",
                                [&](Cache& cache) { cache.InsertUnlessServed(inFrame, inId, inEntryValue); });
    if (const NotificationFunction notify = sNotificationFunction.load(); done && notify) {
        notify(inId);
    }
}

FrameRef RetrieveFromCache(const Guid& inId) {
    FrameRef frame;
    WithCache("VideoFrame Cache::Retrieve", [&](Cache& cache) { frame = cache.Retrieve(inId); });
    return frame;
}

void RegisterDependencyOnFrame(const Guid& inId) {
    WithCache("VideoFrame Cache::AddDependency", [&](Cache& cache) { cache.RegisterDependency(inId); });
}

void UnregisterDependencyOnFrame(const Guid& inId) {
    WithCache("VideoFrame Cache::RemoveDependency", [&](Cache& cache) { cache.UnregisterDependency(inId); });
}

void ExpireFromCache(const Guid& inId) {
    WithCache("VideoFrame Cache::ExpireFromCache", [&](Cache& cache) { cache.Expire(inId); });
}

void ExpireAllFramesFromCache() {
    WithCache("VideoFrame Cache::ExpireAllFramesFromCache", [](Cache& cache) { cache.ExpireAll(); });
}

} // namespace SharedVideoFrameCache

namespace Details {

using namespace SharedVideoFrameCache;

void CreateSharedVideoFrameCache() {
    sCache.store(new Cache(sMediaManagerHelper), std::memory_order_release);
}

void DestroySharedVideoFrameCache() {
    std::unique_ptr<Cache> cache; // destroyed after the lock
    const BRT::CriticalSectionLock lock(sLock);
    cache.reset(sCache.exchange(nullptr));
}

} // namespace Details
} // namespace VF
