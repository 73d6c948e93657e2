#include "Palettes.h"

#include "DeviceContexts.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace WindowsApi {
namespace {

constexpr std::size_t kSystemEntries = 256;
constexpr std::size_t kStaticEntriesAtOneEnd = 10;

constexpr std::array<PALETTEENTRY, 2 * kStaticEntriesAtOneEnd> kStaticColours{{
    {0x00, 0x00, 0x00, 0}, {0x80, 0x00, 0x00, 0}, {0x00, 0x80, 0x00, 0}, {0x80, 0x80, 0x00, 0}, {0x00, 0x00, 0x80, 0},
    {0x80, 0x00, 0x80, 0}, {0x00, 0x80, 0x80, 0}, {0xC0, 0xC0, 0xC0, 0}, {0xC0, 0xDC, 0xC0, 0}, {0xA6, 0xCA, 0xF0, 0},
    {0xFF, 0xFB, 0xF0, 0}, {0xA0, 0xA0, 0xA4, 0}, {0x80, 0x80, 0x80, 0}, {0xFF, 0x00, 0x00, 0}, {0x00, 0xFF, 0x00, 0},
    {0xFF, 0xFF, 0x00, 0}, {0x00, 0x00, 0xFF, 0}, {0xFF, 0x00, 0xFF, 0}, {0x00, 0xFF, 0xFF, 0}, {0xFF, 0xFF, 0xFF, 0},
}};

constexpr std::array<PALETTEENTRY, kSystemEntries> SystemPalette() {
    std::array<PALETTEENTRY, kSystemEntries> entries{};
    const auto middle = kStaticColours.begin() + kStaticEntriesAtOneEnd;
    std::copy(kStaticColours.begin(), middle, entries.begin());
    std::copy(middle, kStaticColours.end(), entries.end() - kStaticEntriesAtOneEnd);
    return entries;
}
constexpr std::array<PALETTEENTRY, kSystemEntries> kSystemPalette = SystemPalette();

/// Farther from every colour than any two colours are from each other, while the distance fits below the index.
constexpr float kFarAway = 1024;

/// How many of inCount entries from inStart on there are among inSize.
std::size_t EntriesWithin(std::size_t inSize, UINT inStart, UINT inCount) {
    return inStart < inSize ? std::min<std::size_t>(inCount, inSize - inStart) : 0;
}

UINT CopyEntries(std::span<const PALETTEENTRY> inEntries, UINT inStart, UINT inCount, PALETTEENTRY* outEntries) {
    if (outEntries == nullptr) {
        return static_cast<UINT>(inEntries.size());
    }
    const std::size_t count = EntriesWithin(inEntries.size(), inStart, inCount);
    std::copy_n(inEntries.begin() + (count != 0 ? inStart : 0), count, outEntries);
    return static_cast<UINT>(count);
}

} // namespace

std::span<const PALETTEENTRY> GetStaticColours() noexcept {
    return kStaticColours;
}

Palette::Palette(std::span<const PALETTEENTRY> inEntries)
    : mEntries(inEntries.begin(), inEntries.end()), mGroups((inEntries.size() + Group::kSize - 1) / Group::kSize) {
    for (Group& group : mGroups) {
        std::ranges::fill(group.red, kFarAway);
        std::ranges::fill(group.green, kFarAway);
        std::ranges::fill(group.blue, kFarAway);
    }
    for (std::size_t index = 0; index < mEntries.size(); ++index) {
        Set(index, mEntries[index]);
    }
}

void Palette::Set(std::size_t inIndex, PALETTEENTRY inEntry) noexcept {
    mEntries[inIndex] = inEntry;
    Group& group = mGroups[inIndex / Group::kSize];
    group.red[inIndex % Group::kSize] = inEntry.peRed;
    group.green[inIndex % Group::kSize] = inEntry.peGreen;
    group.blue[inIndex % Group::kSize] = inEntry.peBlue;
}

UINT Palette::FindNearest(COLORREF inColour) const noexcept {
    const auto red = static_cast<float>(inColour & 0xFF);
    const auto green = static_cast<float>(inColour >> 8 & 0xFF);
    const auto blue = static_cast<float>(inColour >> 16 & 0xFF);
    UINT nearest = 0;
    std::int32_t smallest = std::numeric_limits<std::int32_t>::max();
    for (std::size_t g = 0; g < mGroups.size(); ++g) {
        const Group& group = mGroups[g];
        // The distance above the index: the smallest of these numbers is the first entry of the smallest distance. All
        // of entries are below 2 to the 24, and so exact.
        std::array<std::int32_t, Group::kSize> numbers;
        for (std::size_t i = 0; i < Group::kSize; ++i) {
            const float r = group.red[i] - red;
            const float y = group.green[i] - green;
            const float b = group.blue[i] - blue;
            numbers[i] = static_cast<std::int32_t>((r * r + y * y + b * b) * static_cast<float>(Group::kSize)) +
                         static_cast<std::int32_t>(i);
        }
        std::int32_t best = std::numeric_limits<std::int32_t>::max();
        for (const std::int32_t number : numbers) {
            best = std::min(best, number);
        }
        const std::int32_t distance = best / static_cast<std::int32_t>(Group::kSize);
        if (distance < smallest) {
            smallest = distance;
            nearest = static_cast<UINT>(g * Group::kSize + best % Group::kSize);
        }
    }
    return nearest;
}

} // namespace WindowsApi

using WindowsApi::Find;
using WindowsApi::Palette;

HPALETTE CreatePalette(const LOGPALETTE* inPalette) {
    if (inPalette == nullptr) {
        return nullptr;
    }
    const std::span<const PALETTEENTRY> entries(inPalette->palPalEntry, inPalette->palNumEntries);
    return static_cast<HPALETTE>(WindowsApi::MakeGraphicsObject<Palette>(entries));
}

UINT GetPaletteEntries(HPALETTE inPalette, UINT inStart, UINT inCount, PALETTEENTRY* outEntries) {
    const std::shared_ptr<Palette> palette = Find<Palette>(inPalette);
    return palette ? WindowsApi::CopyEntries(palette->Entries(), inStart, inCount, outEntries) : 0;
}

UINT SetPaletteEntries(HPALETTE inPalette, UINT inStart, UINT inCount, const PALETTEENTRY* inEntries) {
    const std::shared_ptr<Palette> palette = Find<Palette>(inPalette);
    if (!palette || inEntries == nullptr) {
        return 0;
    }
    const std::size_t count = WindowsApi::EntriesWithin(palette->Entries().size(), inStart, inCount);
    for (std::size_t n = 0; n < count; ++n) {
        palette->Set(inStart + n, inEntries[n]);
    }
    return static_cast<UINT>(count);
}

UINT GetNearestPaletteIndex(HPALETTE inPalette, COLORREF inColour) {
    const std::shared_ptr<Palette> palette = Find<Palette>(inPalette);
    return palette ? palette->FindNearest(inColour) : CLR_INVALID;
}

UINT GetSystemPaletteEntries(HDC inContext, UINT inStart, UINT inCount, PALETTEENTRY* outEntries) {
    return Find<WindowsApi::DeviceContext>(inContext)
               ? WindowsApi::CopyEntries(WindowsApi::kSystemPalette, inStart, inCount, outEntries)
               : 0;
}
