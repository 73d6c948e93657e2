#pragma once

#include "VFExport.h"

namespace VF {

/// Starts the library. Calls are counted, from any thread; every call also starts the foundation library and the pixel
/// converter, which count for themselves. The first call starts the broker client, whose failure is not reported
/// (frames then live in recycled memory), and creates the shared frame cache (SharedVideoFrameCache.h).
VF_API void Initialize();

/// Ends one Initialize. The last call stops what the first one started. A call without a matching Initialize does
/// nothing. Frames may outlive the last Shutdown.
VF_API void Shutdown();

} // namespace VF
