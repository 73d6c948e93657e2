#pragma once

/// The multi-camera monitor's picture: up to four cameras as a grid of cells, the selected one framed and, in the large
/// layout, shown large beside the grid. All functions may be called from any thread; camera frames are only read.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "VFExport.h"
#include "zyncore.h"
#include "zynmediatypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VF {

/// What a picture is rendered at. Crosses the library's border as it lies in memory.
struct MultiCamRenderParams {
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    zynmediatypes::PixelAspectRatio pixelAspectRatio;
    zynmediatypes::PixelFormat pixelFormat;
    std::uint32_t firstModeWord = 0; ///< the mode words are the caller's; the derivations below set them to 1, 0, 1
    double scaleX = 1; ///< the picture is rendered at this fraction of its unscaled size; the border follows scaleX
    double scaleY = 1;
    std::int32_t unscaledWidth = 0; ///< width / scaleX, set by the derivations; 0 where that is no 32-bit number
    std::int32_t unscaledHeight = 0;
    zynmediatypes::PixelAspectRatio unscaledPixelAspectRatio;
    std::uint32_t secondModeWord = 0;
    std::uint32_t thirdModeWord = 0;
};
static_assert(sizeof(MultiCamRenderParams) == 72 && offsetof(MultiCamRenderParams, scaleX) == 32 &&
              offsetof(MultiCamRenderParams, unscaledWidth) == 48);

/// What to render a camera at so that its frame is native to its cell of the grid, and the picture is only copied: half
/// the monitor's height, and half its width or, in the large layout, a quarter.
VF_API MultiCamRenderParams UnSelectedRenderParams(const MultiCamRenderParams& inMonitorParams, bool inLargeSelected);

/// The same for the selected camera: half the monitor's width at full height in the large layout, else its cell.
VF_API MultiCamRenderParams SelectedRenderParams(const MultiCamRenderParams& inMonitorParams, bool inLargeSelected);

/// Renders the monitor of up to four cameras into a new frame; further ones are ignored. Cells go left to right, then
/// top to bottom; in the large layout they cover the left half and the selected camera the right half. A camera keeps
/// its shape and is centred on black; an empty entry, or one that cannot be converted, gives a black cell. The selected
/// cell has a border of 4 * scaleX pixels inside it, red or yellow. Cells without an entry, and what a size that does
/// not divide leaves over, are undefined.
///
/// Formats that share chroma between two columns have their cells begin on whole pairs. Targets without rows (planar,
/// DV) take only pictures that cover them whole; V210 has no address for a column, so cells begin at the left edge.
///
/// inParallel spreads the cells over all processors; the result is the same. Empty when the frame cannot be made. A
/// camera without memory that the CPU can reach throws BRT::NullInterfaceException, after every other cell is drawn
/// when in parallel.
VF_API BRT::InterfaceRef<RK::IVideoFrame>
RenderMulticam(const std::vector<BRT::InterfaceRef<RK::IVideoFrame>>& inCameraFrames, std::uint64_t inSelectedIndex,
               bool inLargeSelected, bool inRedBorder, const MultiCamRenderParams& inMonitorParams, bool inParallel);

/// Renders the first frame alone, whole or twice side by side. Without one the result is a blank frame (transparent
/// black where the format has alpha), which is kept read-only in the shared cache under inBlankFrameId unless that is
/// the default Guid. Two threads may each make one at the same time. Errors as above.
VF_API BRT::InterfaceRef<RK::IVideoFrame>
RenderNonMulticam(const std::vector<BRT::InterfaceRef<RK::IVideoFrame>>& inFrames, bool inSideBySide,
                  const MultiCamRenderParams& inMonitorParams, zyncore::utility::Guid inBlankFrameId, bool inParallel);

} // namespace VF
