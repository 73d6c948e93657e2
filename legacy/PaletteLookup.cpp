// The nearest palette entry of every colour index.

#include "PaletteQuantizer.h"
#include "WindowsApi_Palettes.h"
#include "kernels/PixmapKernels.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

constexpr int kSteps = 32;
constexpr int kUnit = 8; // of an 8-bit channel in a step
constexpr UINT kEntries = 256;
constexpr std::int32_t kNoEntry = 1 << 29; // beyond every key, and small enough to be added to

std::int32_t Squared(int difference) noexcept {
    return difference * difference;
}

// Asks the palette itself, colour by colour.
void LookUpOneByOne(HPALETTE palette, std::uint8_t* map) {
    for (int r = 0; r < kSteps; ++r) {
        for (int g = 0; g < kSteps; ++g) {
            for (int b = 0; b < kSteps; ++b) {
                *map++ =
                    static_cast<std::uint8_t>(GetNearestPaletteIndex(palette, RGB(r * kUnit, g * kUnit, b * kUnit)));
            }
        }
    }
}

} // namespace

void MakePalLookup(void* outMap, HPALETTE inPalette) {
    auto* map = static_cast<std::uint8_t*>(outMap);
    if (map == nullptr) {
        return;
    }
    const UINT count = GetPaletteEntries(inPalette, 0, 0, nullptr);
    if (count == 0 || count > kEntries) {
        return LookUpOneByOne(inPalette, map);
    }
    // The same rule for all colours at once: the least sum of squares, the first of equals.
    std::array<PALETTEENTRY, kEntries> entries{};
    GetPaletteEntries(inPalette, 0, count, entries.data());
    alignas(64) std::int32_t blue[kSteps][kEntries] = {};
    alignas(64) std::int32_t distances[kEntries];
    for (int b = 0; b < kSteps; ++b) {
        for (UINT i = 0; i < count; ++i) {
            blue[b][i] = Squared(b * kUnit - entries[i].peBlue) << 8;
        }
    }
    const auto nearest = VF::Pixmaps::KernelsOfThisMachine().nearestEntries;
    for (int r = 0; r < kSteps; ++r) {
        for (int g = 0; g < kSteps; ++g, map += kSteps) {
            for (UINT i = 0; i < kEntries; ++i) {
                const std::int32_t distance =
                    Squared(r * kUnit - entries[i].peRed) + Squared(g * kUnit - entries[i].peGreen);
                distances[i] = i < count ? distance << 8 | static_cast<std::int32_t>(i) : kNoEntry;
            }
            nearest(distances, blue, map);
        }
    }
}
