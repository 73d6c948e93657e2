#include "PaletteQuantizer.h"
#include "QuantizerState.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Palettes.h"

#include <algorithm>
#include <mutex>

using namespace VF::Pixmaps;

namespace {

constexpr std::uint32_t kLargestCounter = 65535;
constexpr std::int32_t kColoursOfPictures = 236; // what the static colours leave of 256
constexpr UINT kStaticColours = 10;              // at either end
constexpr UINT kFullPalette = 256;
constexpr WORD kPaletteVersion = 0x300;

// A LOGPALETTE with room for all entries.
struct FullPalette {
    WORD version = kPaletteVersion;
    WORD count = 0;
    PALETTEENTRY entries[kFullPalette] = {};
};
static_assert(offsetof(FullPalette, entries) == offsetof(LOGPALETTE, palPalEntry));

class ScreenContext {
public:
    ScreenContext() : mContext(GetDC(nullptr)) {}
    ~ScreenContext() { ReleaseDC(nullptr, mContext); }
    ScreenContext(const ScreenContext&) = delete;
    ScreenContext& operator=(const ScreenContext&) = delete;
    HDC Get() const noexcept { return mContext; }

private:
    HDC mContext;
};

struct BoxesGuard {
    ~BoxesGuard() { DeleteBoxes(); }
};

// Until the largest fits 16 bits. What occurs at all goes on doing so.
void HalveCounters(std::uint32_t* histogram) noexcept {
    for (std::uint32_t largest = *std::max_element(histogram, histogram + kColourIndexes); largest > kLargestCounter;
         largest /= 2) {
        std::transform(histogram, histogram + kColourIndexes, histogram, [](std::uint32_t counter) {
            return counter == 0 ? 0 : std::max<std::uint32_t>(counter / 2, 1);
        });
    }
}

HPALETTE BuildFrom(void* histogram, void* map, std::int32_t colours) {
    HalveCounters(static_cast<std::uint32_t*>(histogram));
    if (InitBoxes(std::min(colours, kColoursOfPictures)) == 0) {
        return nullptr;
    }
    const BoxesGuard boxes;
    while (AnyFreeBox() && FirstUsedBox()->score != 0) {
        SplitBoxHist(FirstUsedBox(), histogram);
    }
    SortBoxes();

    FullPalette palette;
    const bool keepsStaticColours = colours > kColoursOfPictures;
    UINT index = 0;
    if (keepsStaticColours) {
        const ScreenContext screen;
        constexpr UINT kLast = kFullPalette - kStaticColours;
        GetSystemPaletteEntries(screen.Get(), 0, kStaticColours, palette.entries);
        GetSystemPaletteEntries(screen.Get(), kLast, kStaticColours, palette.entries + kLast);
        index = kStaticColours;
    }
    for (const ColourBox* box = FirstUsedBox(); box != nullptr; box = box->next, ++index) {
        const std::uint32_t colour = DetermineRepresentativeHist(box, static_cast<std::int32_t>(index), map, histogram);
        palette.entries[index] = {static_cast<BYTE>(colour), static_cast<BYTE>(colour >> 8),
                                  static_cast<BYTE>(colour >> 16), 0};
    }
    palette.count = static_cast<WORD>(keepsStaticColours ? kFullPalette : index);
    return CreatePalette(reinterpret_cast<const LOGPALETTE*>(&palette));
}

} // namespace

HPALETTE HistogramToPalette(void* ioHistogram, void* outMap, std::int32_t inColours) {
    if (ioHistogram == nullptr) {
        return nullptr;
    }
    const std::lock_guard lock(QuantizerLock());
    return BuildFrom(ioHistogram, outMap, inColours);
}

HPALETTE HistogramPalette(void* ioHistogram, void* outMap, std::int32_t inColours) {
    if (ioHistogram == nullptr) {
        return nullptr;
    }
    // The current histogram and map are set, for whoever asks for them, and not read back: UseHistogram takes no lock.
    const std::lock_guard lock(QuantizerLock());
    UseHistogram(ioHistogram);
    UseMap(static_cast<std::uint8_t*>(outMap));
    const HPALETTE palette = BuildFrom(ioHistogram, outMap, inColours);
    UseMap(nullptr);
    return palette;
}
