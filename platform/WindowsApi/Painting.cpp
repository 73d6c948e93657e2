#include "WindowsApi_Painting.h"

#include "Brushes.h"
#include "DeviceContexts.h"
#include "Regions.h"

using WindowsApi::Box;
using WindowsApi::Brush;
using WindowsApi::Find;
using WindowsApi::MemoryContext;
using WindowsApi::PixelRegion;
using WindowsApi::Region;

HBRUSH CreateSolidBrush(COLORREF inColour) {
    return static_cast<HBRUSH>(WindowsApi::MakeGraphicsObject<Brush>(inColour));
}

int FillRect(HDC inContext, const RECT* inRectangle, HBRUSH inBrush) {
    const std::shared_ptr<MemoryContext> context = Find<MemoryContext>(inContext);
    const std::shared_ptr<Brush> brush = Find<Brush>(inBrush);
    if (!context || !brush || inRectangle == nullptr) {
        return 0;
    }
    const Box box{inRectangle->left, inRectangle->top, inRectangle->right, inRectangle->bottom};
    return context->Fill(PixelRegion(box), *brush) ? 1 : 0;
}

BOOL FillRgn(HDC inContext, HRGN inRegion, HBRUSH inBrush) {
    const std::shared_ptr<MemoryContext> context = Find<MemoryContext>(inContext);
    const std::shared_ptr<Region> region = Find<Region>(inRegion);
    const std::shared_ptr<Brush> brush = Find<Brush>(inBrush);
    return context && region && brush && context->Fill(region->pixels, *brush) ? TRUE : FALSE;
}
