#pragma once

#include "Bitmaps.h"
#include "Brushes.h"
#include "GraphicsObjects.h"
#include "PixelRegion.h"
#include "Screen.h"
#include "Surface.h"

#include <mutex>
#include <optional>

namespace WindowsApi {

/// What GetDeviceCaps tells of a screen.
int CapabilityOf(const Screen& inScreen, int inIndex);

/// What all contexts share: the objects that are selected, but for the bitmap. A selected object lives on after its
/// handle was deleted.
class DeviceContext : public GraphicsObject {
public:
    virtual int GetCapability(int inIndex) = 0;

    /// As the function of that name, with any handle. Throws std::bad_alloc.
    HGDIOBJ SelectObject(HGDIOBJ inObject);

    /// Draws what of a box can be seen. False where nothing can be drawn. Throws what the painter throws.
    bool Paint(const Box& inBox, const Painter& inPainter);

protected:
    DeviceContext();

    /// The bitmap's handle before; null when this context does not take it.
    virtual HGDIOBJ SelectBitmap(HGDIOBJ inHandle, const std::shared_ptr<Bitmap>& inBitmap) noexcept = 0;

    /// As Paint, without regard to the clip region.
    virtual bool PaintBox(const Box&, const Painter&) { return false; }

    const std::optional<PixelRegion>& ClipRegion() const noexcept { return mClipRegion; }

private:
    HGDIOBJ mBrush;
    std::optional<PixelRegion> mClipRegion;
};

class ScreenContext final : public DeviceContext {
public:
    int GetCapability(int inIndex) override;

protected:
    HGDIOBJ SelectBitmap(HGDIOBJ, const std::shared_ptr<Bitmap>&) noexcept override { return nullptr; }

private:
    std::once_flag mLookedUp; ///< by the first question, since few users of a screen context ask one
    Screen mScreen;
};

class MemoryContext final : public DeviceContext {
public:
    MemoryContext();
    ~MemoryContext() override;

    int GetCapability(int inIndex) override;

    /// Fills what of the pixels lies in the bitmap and in the clip region. False when memory is exhausted.
    bool Fill(const PixelRegion& inPixels, const Brush& inBrush) noexcept;

protected:
    HGDIOBJ SelectBitmap(HGDIOBJ inHandle, const std::shared_ptr<Bitmap>& inBitmap) noexcept override;
    bool PaintBox(const Box& inBox, const Painter& inPainter) override;

private:
    /// Lets the bitmap be selected elsewhere.
    void LeaveBitmap() noexcept;

    HGDIOBJ mBitmapHandle;
    std::shared_ptr<Bitmap> mBitmap; ///< null for the stock bitmap, which nothing is drawn into
};

} // namespace WindowsApi
