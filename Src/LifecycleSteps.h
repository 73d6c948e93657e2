#pragma once

/// The points at which units with process-wide state are started and stopped: the library's first start and last stop.
/// Called under the lifecycle lock, in this order.

namespace VF::Details {

/// First start: make the pixmap library's built-in suite current, then create the shared frame cache.
void MakeBaseSuiteCurrent();
void CreateSharedVideoFrameCache();

/// Last stop: report and release pixmaps that were never given back, then destroy the shared frame cache.
void ReportAndReleaseLentPixmaps();
void DestroySharedVideoFrameCache();

} // namespace VF::Details
