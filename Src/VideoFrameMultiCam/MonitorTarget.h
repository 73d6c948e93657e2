#pragma once

/// The frame that a monitor's picture is drawn on.

#include "../VideoFrameManipulators/FrameAccess.h"
#include "BRTFoundation.h"
#include "PixelBlitter.h"
#include "RenderKit.h"

#include <cstdint>

namespace VF::Details {

/// A rectangle of the target. Rows count from the picture's top.
struct Cell {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Drawing into cells. Cells that do not overlap may be drawn by several threads at once. All operations stay inside
/// the target whatever the cell.
class MonitorTarget {
public:
    /// Throws BRT::NullInterfaceException for a frame without memory that the CPU can reach.
    explicit MonitorTarget(const BRT::InterfaceRef<RK::IVideoFrame>& frame);

    /// Whether cells that do not overlap are drawn into bytes that do not, so that their order is free.
    bool CellsAreApart() const noexcept { return mPixelSize != 0; }

    /// Fits a frame into the cell: same factor in both directions, centred, black around it.
    void DrawCamera(const BRT::InterfaceRef<RK::IVideoFrame>& camera, const Cell& cell) const;

    /// Opaque black.
    void FillBlack(const Cell& cell) const;

    /// Lines along the inside of the cell, at most as wide as the cell.
    void DrawBorder(const Cell& cell, std::uint32_t lineWidth, bool red) const;

private:
    // Where a cell begins in memory and how many columns of it are drawn; null for cells that have no address.
    struct Area {
        void* start = nullptr;
        int width = 0;
        int height = 0;
    };

    Area AreaOf(const Cell& cell) const;

    // Scales the whole frame onto exactly that cell.
    void PlaceFrame(const BRT::InterfaceRef<RK::IVideoFrame>& camera, const Cell& cell) const;

    BRT::InterfaceRef<RK::IVideoFrame> mFrame;
    PixelImage mImage;
    bool mHasRows = false;
    bool mPairsColumns = false;
    std::uint32_t mPixelSize = 0;
};

} // namespace VF::Details
