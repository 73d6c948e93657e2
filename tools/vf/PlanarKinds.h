#pragma once

#include "zynmediatypes.h"

namespace tool {

/// What tells the planar 4:2:0 formats apart.
struct PlanarKind {
    bool bt709 = false;
    bool fullRange = false;     ///< with BT.601 only
    bool fieldPictures = false; ///< chroma sited per field
    bool centredChroma = false; ///< between the luma columns instead of on the left one
};

/// The format of a kind; the invalid format for full range with BT.709.
zynmediatypes::PixelFormat PlanarFormat(PlanarKind kind) noexcept;

} // namespace tool
