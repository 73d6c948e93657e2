#pragma once

#include "Frames.h"

namespace tool {

/// The frame in another format and size, through VF::VideoFrameManipulators::CopyFrame; the frame itself when it has
/// both already. A changed shape changes the width of a pixel, so that the picture is shown as wide as before. Throws
/// Failure(ConversionRefused) when the library refuses.
Frame ConvertFrame(const Frame& source, zynmediatypes::PixelFormat format, int width, int height,
                   zynmediatypes::RenderQuality quality);

} // namespace tool
