#include "PictureStretch.h"

#include "PixelBlitter.h"
#include "zynmediatypes.h"

#include <algorithm>
#include <memory>

namespace WindowsApi {
namespace {

constexpr int kBytesPerPixel = 4;
constexpr int kQuality = 2; // box or bilinear, as fast as a screen wants it
constexpr int kProgressive = 0;
constexpr auto kBgrx = static_cast<PB_PixelFormat>(
    zynmediatypes::kPixelFormatTable[static_cast<std::size_t>(zynmediatypes::PixelFormatIndex::BGRX_4444_8u)]
        .converterValue);

int WidthOf(const Box& inBox) {
    return inBox.x2 - inBox.x1;
}

int HeightOf(const Box& inBox) {
    return inBox.y2 - inBox.y1;
}

bool IsSame(const Box& inA, const Box& inB) {
    return inA.x1 == inB.x1 && inA.y1 == inB.y1 && inA.x2 == inB.x2 && inA.y2 == inB.y2;
}

/// The surface with its bottom row first, as the converter has it.
struct BottomUp {
    BottomUp(const Surface& inSurface, int inHeight)
        : data(inSurface.topRow + (inHeight - 1) * inSurface.rowBytes),
          rowBytes(static_cast<int>(-inSurface.rowBytes)) {}

    std::uint8_t* data;
    int rowBytes;
};

/// The part of a picture of the destination's size.
bool Copy(const Picture& inPicture, const Box& inDestination, const Box& inVisible, const Surface& inSurface) {
    const BottomUp to(inSurface, HeightOf(inVisible));
    const std::uint8_t* const from = inPicture.bottomRow +
                                     static_cast<std::ptrdiff_t>(inDestination.y2 - inVisible.y2) * inPicture.rowBytes +
                                     static_cast<std::ptrdiff_t>(inVisible.x1 - inDestination.x1) * kBytesPerPixel;
    return PB_Convert(from, inPicture.rowBytes, kBgrx, to.data, to.rowBytes, kBgrx, WidthOf(inVisible),
                      HeightOf(inVisible), kQuality) == kPB_Success;
}

bool Scale(const Picture& inPicture, std::uint8_t* outData, int inRowBytes, int inWidth, int inHeight) {
    return PB_ScaleConvert(inPicture.bottomRow, inPicture.rowBytes, inPicture.width, inPicture.height, kBgrx,
                           kProgressive, outData, inRowBytes, inWidth, inHeight, kBgrx, kProgressive,
                           kQuality) == kPB_Success;
}

/// The part of an enlarged picture, without making the rest, which may be vast.
bool Enlarge(const Picture& inPicture, const Box& inDestination, const Box& inVisible, const Surface& inSurface) {
    const BottomUp to(inSurface, HeightOf(inVisible));
    const auto corners = [](double left, double low, double right, double high, PB_Corner out[4]) {
        out[0] = {left, low};
        out[1] = {right, low};
        out[2] = {right, high};
        out[3] = {left, high};
    };
    PB_Corner from[4];
    PB_Corner onto[4];
    corners(0, 0, inPicture.width, inPicture.height, from);
    corners(static_cast<double>(inDestination.x1) - inVisible.x1, static_cast<double>(inVisible.y2) - inDestination.y2,
            static_cast<double>(inDestination.x2) - inVisible.x1, static_cast<double>(inVisible.y2) - inDestination.y1,
            onto);
    return PB_WarpAffineQuad(inPicture.width, inPicture.height, inPicture.bottomRow, inPicture.rowBytes, {0, 0}, from,
                             to.data, to.rowBytes, {0, 0}, onto, {WidthOf(inVisible), HeightOf(inVisible)}, kBgrx, 255,
                             1, 1, kBgrx, 0, 0, 1, 0) == kPB_Success;
}

} // namespace

bool DrawStretched(const Picture& inPicture, const Box& inDestination, const Box& inVisible, const Surface& inSurface) {
    const int width = WidthOf(inDestination);
    const int height = HeightOf(inDestination);
    if (width == inPicture.width && height == inPicture.height) {
        return Copy(inPicture, inDestination, inVisible, inSurface);
    }
    if (IsSame(inDestination, inVisible)) {
        const BottomUp to(inSurface, height);
        return Scale(inPicture, to.data, to.rowBytes, width, height);
    }
    // Shrunk as a whole, which makes no more pixels than there are already; enlarged only where it is seen.
    Picture shrunk = inPicture;
    shrunk.width = std::min(width, inPicture.width);
    shrunk.height = std::min(height, inPicture.height);
    std::unique_ptr<std::uint8_t[]> pixels;
    if (shrunk.width != inPicture.width || shrunk.height != inPicture.height) {
        shrunk.rowBytes = shrunk.width * kBytesPerPixel;
        pixels.reset(
            new std::uint8_t[static_cast<std::size_t>(shrunk.rowBytes) * static_cast<unsigned>(shrunk.height)]);
        shrunk.bottomRow = pixels.get();
        if (!Scale(inPicture, pixels.get(), shrunk.rowBytes, shrunk.width, shrunk.height)) {
            return false;
        }
    }
    return shrunk.width == width && shrunk.height == height ? Copy(shrunk, inDestination, inVisible, inSurface)
                                                            : Enlarge(shrunk, inDestination, inVisible, inSurface);
}

} // namespace WindowsApi
