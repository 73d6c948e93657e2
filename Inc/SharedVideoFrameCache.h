#pragma once

/// The process's cache of shared frames by identifier. It exists from the first VF::Initialize to the last
/// VF::Shutdown.
///
/// A producer inserts finished frames; consumers retrieve them. The media manager (RenderKit_MediaManager.h) has each
/// cached frame as one entry, however many identifiers name it, and takes frames out of the cache when memory runs
/// short. A consumer that will need a frame registers a dependency on its identifier: the frame then stays retrievable
/// even when the media manager takes it out, and its bytes are reported to the media manager as held. The reports are
/// made on the main thread (zyncore::threads::RunMainThreadCalls).
///
/// All functions may be called from any thread. Frames that leave the cache are released on the calling thread after
/// the cache's lock. Without a cache every function but SetNotificationFunction reports the contract violation "sCache"
/// and does nothing else.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "zyncore.h"

namespace VF::SharedVideoFrameCache {

/// Called with the identifier after every InsertIntoCache, on the inserting thread and without a lock.
using NotificationFunction = void (*)(const zyncore::utility::Guid& inId);

/// Replaces the notification function; null, the default, for none. Works at any time.
VF_API void SetNotificationFunction(NotificationFunction inFunction);

/// Makes the frame read-only and keeps it under an identifier. An identifier that is served already, by the cache or
/// through a dependency, keeps its frame. Among frames of different entry values the media manager takes out the lowest
/// first. An empty frame is refused without a notification; a frame that refuses SetReadOnly is not kept, and its
/// exception passes to the caller.
VF_API void InsertIntoCache(const BRT::InterfaceRef<RK::IVideoFrame>& inFrame, const zyncore::utility::Guid& inId,
                            unsigned int inEntryValue);

/// The frame under an identifier, empty without one. A frame that the media manager had taken out, and that a
/// dependency kept, is back in the cache afterwards, with entry value 5.
VF_API BRT::InterfaceRef<RK::IVideoFrame> RetrieveFromCache(const zyncore::utility::Guid& inId);

/// Dependencies on an identifier, counted; whether there is a frame under it or not. A frame that comes later is kept
/// as well.
VF_API void RegisterDependencyOnFrame(const zyncore::utility::Guid& inId);

/// Ends one dependency. An identifier without dependencies is ignored.
VF_API void UnregisterDependencyOnFrame(const zyncore::utility::Guid& inId);

/// Takes the frame under an identifier out of the cache, under all its identifiers. Dependencies still serve it, but do
/// not bring it back into the cache.
VF_API void ExpireFromCache(const zyncore::utility::Guid& inId);

/// The same for every frame in the cache.
VF_API void ExpireAllFramesFromCache();

} // namespace VF::SharedVideoFrameCache
