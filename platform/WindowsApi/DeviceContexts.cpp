#include "DeviceContexts.h"

#include "WindowsApi_DeviceContexts.h"

namespace WindowsApi {
namespace {

constexpr int kLogicalInchInPixels = 96;
constexpr int kStaticColours = 20;
constexpr int kPaletteColourBits = 18; // 6 of each component, as in VGA's converters

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

} // namespace

int ScreenContext::GetCapability(int inIndex) {
    std::call_once(mLookedUp, [this] { mScreen = LookUpScreen(); });
    return CapabilityOf(mScreen, inIndex);
}

int MemoryContext::GetCapability(int inIndex) {
    return CapabilityOf(Screen{.bitsPerPixel = 1}, inIndex);
}

} // namespace WindowsApi

using WindowsApi::DeviceContext;
using WindowsApi::Find;
using WindowsApi::MakeGraphicsObject;
using WindowsApi::MemoryContext;
using WindowsApi::RemoveGraphicsObject;
using WindowsApi::ScreenContext;

HDC GetDC(HWND inWindow) {
    return inWindow == nullptr ? static_cast<HDC>(MakeGraphicsObject<ScreenContext>()) : nullptr;
}

int ReleaseDC(HWND inWindow, HDC inContext) {
    return inWindow == nullptr && Find<ScreenContext>(inContext) && RemoveGraphicsObject(inContext) ? 1 : 0;
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
    return Find<MemoryContext>(inContext) && RemoveGraphicsObject(inContext) ? TRUE : FALSE;
}
