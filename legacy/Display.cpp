#include "Display.h"

#include "LentPixmaps.h"
#include "LiveRecord.h"
#include "TPixCopy.h"
#include "WindowsApi_DrawDib.h"

#include <cstring>
#include <memory>
#include <type_traits>

namespace {

constexpr std::int64_t kBytesPerPixel = 4;

// The largest source that is left to the stretching of the screen.
constexpr std::int32_t kDirectWidth = 800;
constexpr std::int32_t kDirectHeight = 600;

struct DisposePixmap {
    void operator()(TPixHand hand) const { tpixDispose(hand); }
};
using Pixmap = std::unique_ptr<std::remove_pointer_t<TPixHand>, DisposePixmap>;

// Edges come from plug-ins, so a difference may be beyond 32 bits; it wraps, and is refused as a size then.
std::int32_t Difference(std::int32_t high, std::int32_t low) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low));
}

std::int32_t WidthOf(const RECT& rect) {
    return Difference(rect.right, rect.left);
}

std::int32_t HeightOf(const RECT& rect) {
    return Difference(rect.bottom, rect.top);
}

/// Whether every pixel of the source that ExecDrawDib would read lies in the block behind the handle.
bool LiesInBlock(TPixHand hand, const TPix& record, const RECT& source) {
    if (source.left < 0 || source.top < 0 || source.left >= source.right || source.top >= source.bottom ||
        source.bottom > record.bounds.bottom || source.right > record.rowbytes / kBytesPerPixel) {
        return false;
    }
    const std::int64_t start =
        (std::int64_t{record.bounds.bottom} - source.bottom) * record.rowbytes + source.left * kBytesPerPixel;
    // An address that is looked at before anything is read there.
    const auto address = reinterpret_cast<std::uintptr_t>(record.pixels) + static_cast<std::uintptr_t>(start);
    return VF::Details::LentPixels(hand).Contain(VF::Details::PixelRows{
        reinterpret_cast<const void*>(address), record.rowbytes, HeightOf(source), // NOLINT(performance-no-int-to-ptr)
        static_cast<std::uint64_t>(WidthOf(source) * kBytesPerPixel)});
}

} // namespace

int32_t tpixToScreen(TPixHand inHand, HDC inContext, const RECT* inDestination, const RECT* inSource) {
    if (inContext == nullptr) {
        return 1;
    }
    if (inDestination != nullptr && inSource != nullptr) {
        const RECT destination = *inDestination;
        const RECT source = *inSource;
        DoDrawDib(inHand, inContext, &source, &destination);
    }
    return 0;
}

int32_t DoDrawDib(TPixHand inHand, HDC inContext, const RECT* inSource, const RECT* inDestination) {
    const TPix* const live = VF::Details::LiveRecord(inHand);
    if (live == nullptr || inSource == nullptr || inDestination == nullptr || live->pixels == nullptr) {
        return 0;
    }
    const std::int32_t width = WidthOf(*inDestination);
    const std::int32_t height = HeightOf(*inDestination);
    const bool sameSize = WidthOf(*inSource) == width && HeightOf(*inSource) == height;
    if (!sameSize && (WidthOf(*inSource) > kDirectWidth || HeightOf(*inSource) > kDirectHeight)) {
        const RECT whole{0, 0, width, height};
        const Pixmap scaled(tpixNew(&whole));
        if (scaled) {
            if (height > 0 && !LiesInBlock(inHand, *live, *inSource)) { // the copy leaves out what is not there
                const TPix& record = **scaled;
                std::memset(record.pixels, 0,
                            static_cast<std::size_t>(record.rowbytes) * static_cast<std::size_t>(height));
            }
            tpixCopy(inHand, scaled.get(), inSource, &whole, 0);
            return ExecDrawDib(*scaled, inContext, &whole, inDestination);
        }
    }
    const TPix record = *live;
    return ExecDrawDib(LiesInBlock(inHand, record, *inSource) ? &record : nullptr, inContext, inSource, inDestination);
}

int32_t ExecDrawDib(const TPix* inRecord, HDC inContext, const RECT* inSource, const RECT* inDestination) {
    const HDRAWDIB drawDib = DrawDibOpen();
    if (drawDib == nullptr) {
        return 0;
    }
    if (inRecord != nullptr && inSource != nullptr && inDestination != nullptr) {
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = inRecord->rowbytes / static_cast<std::int32_t>(kBytesPerPixel);
        header.biHeight = inRecord->bounds.bottom;
        header.biPlanes = 1;
        header.biBitCount = 32;
        header.biCompression = BI_RGB;
        header.biSizeImage = static_cast<DWORD>(HeightOf(inRecord->bounds)) * static_cast<DWORD>(inRecord->rowbytes);
        DrawDibDraw(drawDib, inContext, inDestination->left, inDestination->top, WidthOf(*inDestination),
                    HeightOf(*inDestination), &header, inRecord->pixels, inSource->left, inSource->top,
                    WidthOf(*inSource), HeightOf(*inSource), 0);
    }
    return DrawDibClose(drawDib);
}
