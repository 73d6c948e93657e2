#include "DeviceContexts.h"

#include "Regions.h"
#include "StockObjects.h"
#include "WindowContext.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Painting.h"

namespace WindowsApi {
namespace {

constexpr int kLogicalInchInPixels = 96;
constexpr int kStaticColours = 20;
constexpr int kPaletteColourBits = 18; // 6 of each component, as in VGA's converters

} // namespace

int CapabilityOf(const Screen& inScreen, int inIndex) {
    const bool hasPalette = inScreen.paletteEntries != 0;
    switch (inIndex) {
    case TECHNOLOGY:
        return DT_RASDISPLAY;
    case HORZSIZE:
        return inScreen.widthInMillimetres;
    case VERTSIZE:
        return inScreen.heightInMillimetres;
    case HORZRES:
        return inScreen.widthInPixels;
    case VERTRES:
        return inScreen.heightInPixels;
    case BITSPIXEL:
        return inScreen.bitsPerPixel;
    case PLANES:
        return 1;
    case NUMCOLORS:
        if (hasPalette) {
            return kStaticColours;
        }
        return inScreen.bitsPerPixel > 8 ? -1 : 1 << inScreen.bitsPerPixel;
    case RASTERCAPS:
        return RC_BITMAP64 | (hasPalette ? RC_PALETTE : 0);
    case LOGPIXELSX:
    case LOGPIXELSY:
        return kLogicalInchInPixels;
    case SIZEPALETTE:
        return inScreen.paletteEntries;
    case NUMRESERVED:
        return hasPalette ? kStaticColours : 0;
    case COLORRES:
        return hasPalette ? kPaletteColourBits : 0;
    default:
        return 0;
    }
}

DeviceContext::DeviceContext() : mBrush(GetStockObject(WHITE_BRUSH)) {
    deletion = Deletion::Elsewhere;
}

HGDIOBJ DeviceContext::SelectObject(HGDIOBJ inObject) {
    const std::shared_ptr<GraphicsObject> object = FindGraphicsObject(inObject);
    if (const auto bitmap = std::dynamic_pointer_cast<Bitmap>(object)) {
        return SelectBitmap(inObject, bitmap);
    }
    if (std::dynamic_pointer_cast<Brush>(object)) {
        return std::exchange(mBrush, inObject);
    }
    if (const auto region = std::dynamic_pointer_cast<Region>(object)) {
        mClipRegion = region->pixels;
        // Windows answers with a number here.
        return reinterpret_cast<HGDIOBJ>( // NOLINT(performance-no-int-to-ptr)
            static_cast<std::intptr_t>(KindOf(region->pixels)));
    }
    return nullptr;
}

bool DeviceContext::Paint(const Box& inBox, const Painter& inPainter) {
    if (!mClipRegion) {
        return PaintBox(inBox, inPainter);
    }
    bool painted = true;
    const PixelRegion visible = mClipRegion->Intersection(PixelRegion(inBox));
    for (const Box& box : visible.Boxes()) {
        painted = PaintBox(box, inPainter) && painted;
    }
    return painted;
}

int ScreenContext::GetCapability(int inIndex) {
    std::call_once(mLookedUp, [this] { mScreen = LookUpScreen(); });
    return CapabilityOf(mScreen, inIndex);
}

MemoryContext::MemoryContext() : mBitmapHandle(GetStockBitmap()) {}

MemoryContext::~MemoryContext() {
    LeaveBitmap();
}

int MemoryContext::GetCapability(int inIndex) {
    Screen device;
    device.bitsPerPixel = mBitmap ? mBitmap->BitsPerPixel() : 1;
    return CapabilityOf(device, inIndex);
}

bool MemoryContext::Fill(const PixelRegion& inPixels, const Brush& inBrush) noexcept {
    if (!mBitmap || !inBrush.colour) {
        return true;
    }
    try {
        PixelRegion pixels = inPixels.Intersection(PixelRegion(Box{0, 0, mBitmap->Width(), mBitmap->Height()}));
        if (ClipRegion()) {
            pixels = pixels.Intersection(*ClipRegion());
        }
        for (const Box& box : pixels.Boxes()) {
            mBitmap->Fill(box, *inBrush.colour);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool MemoryContext::PaintBox(const Box& inBox, const Painter& inPainter) {
    if (!mBitmap || mBitmap->BitsPerPixel() != 32) {
        return false;
    }
    const Box visible = Shared(inBox, Box{0, 0, mBitmap->Width(), mBitmap->Height()});
    if (!HasPixels(visible)) {
        return true;
    }
    std::uint8_t* const top = reinterpret_cast<std::uint8_t*>(mBitmap->Bytes().data());
    const std::size_t start =
        static_cast<std::size_t>(visible.y1) * mBitmap->RowBytes() + static_cast<std::size_t>(visible.x1) * 4;
    return inPainter(visible, {top + start, static_cast<std::ptrdiff_t>(mBitmap->RowBytes())});
}

void MemoryContext::LeaveBitmap() noexcept {
    if (mBitmap) {
        mBitmap->context = nullptr;
        mBitmap.reset();
    }
}

HGDIOBJ MemoryContext::SelectBitmap(HGDIOBJ inHandle, const std::shared_ptr<Bitmap>& inBitmap) noexcept {
    const bool isStock = inBitmap->deletion == Deletion::Never;
    if (!isStock) {
        const MemoryContext* owner = nullptr;
        if (!inBitmap->context.compare_exchange_strong(owner, this) && owner != this) {
            return nullptr;
        }
    }
    if (inBitmap != mBitmap) {
        LeaveBitmap();
        if (!isStock) {
            mBitmap = inBitmap;
        }
    }
    return std::exchange(mBitmapHandle, inHandle);
}

} // namespace WindowsApi

using WindowsApi::DeviceContext;
using WindowsApi::Find;
using WindowsApi::MakeGraphicsObject;
using WindowsApi::MemoryContext;
using WindowsApi::RemoveGraphicsObject;
using WindowsApi::ScreenContext;
using WindowsApi::Window;
using WindowsApi::WindowContext;

HDC GetDC(HWND inWindow) {
    if (inWindow == nullptr) {
        return static_cast<HDC>(MakeGraphicsObject<ScreenContext>());
    }
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    return window ? static_cast<HDC>(MakeGraphicsObject<WindowContext>(window)) : nullptr;
}

int ReleaseDC(HWND, HDC inContext) {
    const bool isOfGetDC = Find<ScreenContext>(inContext) || Find<WindowContext>(inContext);
    return isOfGetDC && RemoveGraphicsObject(inContext) ? 1 : 0;
}

int GetDeviceCaps(HDC inContext, int inIndex) {
    const std::shared_ptr<DeviceContext> context = Find<DeviceContext>(inContext);
    return context ? context->GetCapability(inIndex) : 0;
}

HDC CreateCompatibleDC(HDC inContext) {
    return inContext == nullptr || Find<DeviceContext>(inContext)
               ? static_cast<HDC>(MakeGraphicsObject<MemoryContext>())
               : nullptr;
}

BOOL DeleteDC(HDC inContext) {
    const std::shared_ptr<MemoryContext> context = Find<MemoryContext>(inContext);
    return context && RemoveGraphicsObject(inContext) ? TRUE : FALSE;
}

HGDIOBJ SelectObject(HDC inContext, HGDIOBJ inObject) {
    const std::shared_ptr<DeviceContext> context = Find<DeviceContext>(inContext);
    try {
        return context ? context->SelectObject(inObject) : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
