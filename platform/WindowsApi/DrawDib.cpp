#include "WindowsApi_DrawDib.h"

#include "DeviceContexts.h"
#include "PictureStretch.h"

#include <limits>
#include <optional>

namespace WindowsApi {
namespace {

constexpr int kBytesPerPixel = 4;
constexpr int kOwnSize = -1;

class DrawDib final : public GraphicsObject {
public:
    DrawDib() { deletion = Deletion::Elsewhere; }
};

bool CanBeDrawn(const BITMAPINFOHEADER& inHeader) {
    return inHeader.biSize >= sizeof inHeader && inHeader.biPlanes == 1 && inHeader.biBitCount == 32 &&
           inHeader.biCompression == BI_RGB && inHeader.biWidth > 0 && inHeader.biHeight > 0 &&
           inHeader.biWidth <= std::numeric_limits<int>::max() / kBytesPerPixel;
}

/// The rectangle of the bitmap, as a picture of its own; nothing when it is not within the bitmap.
std::optional<Picture> PartOf(const BITMAPINFOHEADER& inHeader, const std::uint8_t* inPixels, int inX, int inY,
                              int inWidth, int inHeight) {
    if (inX < 0 || inY < 0 || inWidth < 1 || inHeight < 1 || inX > inHeader.biWidth - inWidth ||
        inY > inHeader.biHeight - inHeight) {
        return std::nullopt;
    }
    const int rowBytes = inHeader.biWidth * kBytesPerPixel;
    const std::ptrdiff_t bottom = inHeader.biHeight - inHeight - inY;
    return Picture{inPixels + bottom * rowBytes + static_cast<std::ptrdiff_t>(inX) * kBytesPerPixel, rowBytes, inWidth,
                   inHeight};
}

/// Nothing for sizes below 1 and edges beyond 32 bits.
std::optional<Box> BoxOf(int inX, int inY, int inWidth, int inHeight) {
    constexpr int most = std::numeric_limits<int>::max();
    if (inWidth < 1 || inHeight < 1 || inX > most - inWidth || inY > most - inHeight) {
        return std::nullopt;
    }
    return Box{inX, inY, inX + inWidth, inY + inHeight};
}

} // namespace
} // namespace WindowsApi

using WindowsApi::Box;
using WindowsApi::Find;

HDRAWDIB DrawDibOpen(void) {
    return WindowsApi::MakeGraphicsObject<WindowsApi::DrawDib>();
}

BOOL DrawDibClose(HDRAWDIB inDrawDib) {
    return Find<WindowsApi::DrawDib>(inDrawDib) && WindowsApi::RemoveGraphicsObject(inDrawDib) ? TRUE : FALSE;
}

BOOL DrawDibDraw(HDRAWDIB inDrawDib, HDC inContext, int inX, int inY, int inWidth, int inHeight,
                 BITMAPINFOHEADER* inHeader, LPVOID inPixels, int inSourceX, int inSourceY, int inSourceWidth,
                 int inSourceHeight, UINT inFlags) {
    using WindowsApi::kOwnSize;
    const auto context = Find<WindowsApi::DeviceContext>(inContext);
    if (!Find<WindowsApi::DrawDib>(inDrawDib) || !context || inHeader == nullptr || inPixels == nullptr ||
        inFlags != 0 || !WindowsApi::CanBeDrawn(*inHeader)) {
        return FALSE;
    }
    const int sourceWidth = inSourceWidth == kOwnSize ? inHeader->biWidth : inSourceWidth;
    const int sourceHeight = inSourceHeight == kOwnSize ? inHeader->biHeight : inSourceHeight;
    const auto picture = WindowsApi::PartOf(*inHeader, static_cast<const std::uint8_t*>(inPixels), inSourceX, inSourceY,
                                            sourceWidth, sourceHeight);
    const auto destination = WindowsApi::BoxOf(inX, inY, inWidth == kOwnSize ? sourceWidth : inWidth,
                                               inHeight == kOwnSize ? sourceHeight : inHeight);
    if (!picture || !destination) {
        return FALSE;
    }
    try {
        const bool drawn = context->Paint(*destination, [&](const Box& visible, const WindowsApi::Surface& surface) {
            return WindowsApi::DrawStretched(*picture, *destination, visible, surface);
        });
        return drawn ? TRUE : FALSE;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
}
