#pragma once

/// What the library's own loops ask before they touch pixels through a pixmap's handle.

#include "BRTFoundation.h"
#include "FrameBlock.h"
#include "RenderKit.h"
#include "TPix.h"

#include <optional>

namespace VF::Details {

/// The memory behind a pixmap. It holds the frame or raw block, so the answers stay true while it lives. A handle with
/// nothing behind it is its caller's own: its pixels may be written and are taken to be as large as the record says.
class LentPixels {
public:
    /// Asks the registry, which does not learn the handle by this. May throw what a frame's accessors throw.
    explicit LentPixels(TPixHand hand);

    /// False for published and wrapped blocks and views of them; a read-only flag is a report, not a wall.
    bool MayWrite() const noexcept { return mMayWrite; }

    /// Whether every byte that the operation is about to touch lies in the block. The record is the plug-in's to
    /// change, so this, and no field of it, bounds what is read and written.
    bool Contain(const PixelRows& rows) const noexcept { return !mBlock || LiesInBlock(rows, *mBlock); }
    bool Contain(const PixelImage& image) const noexcept { return !mBlock || LiesInBlock(image, *mBlock); }

    /// Those of the rows that lie in the block, lowest address first: a field's record may reach a row beyond it.
    PixelRows Contained(const PixelRows& rows) const noexcept { return mBlock ? RowsInBlock(rows, *mBlock) : rows; }

    /// The frame; empty for a raw block and for handles with nothing behind them.
    const BRT::InterfaceRef<RK::IVideoFrame>& Frame() const noexcept { return mFrame; }

private:
    BRT::InterfaceRef<BRT::BRTUnknown> mObject;
    BRT::InterfaceRef<RK::IVideoFrame> mFrame;
    std::optional<BlockExtent> mBlock; ///< empty where nobody knows
    bool mMayWrite = true;
};

/// LentPixels::MayWrite alone.
bool MayWritePixelsOf(TPixHand hand) noexcept;

} // namespace VF::Details
