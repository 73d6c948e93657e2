#pragma once

#include "GraphicsObjects.h"
#include "WindowsApi_Palettes.h"

#include <cstdint>
#include <span>
#include <vector>

namespace WindowsApi {

class Palette final : public GraphicsObject {
public:
    explicit Palette(std::span<const PALETTEENTRY> inEntries);

    std::span<const PALETTEENTRY> Entries() const noexcept { return mEntries; }
    void Set(std::size_t inIndex, PALETTEENTRY inEntry) noexcept;

    /// As GetNearestPaletteIndex.
    UINT FindNearest(COLORREF inColour) const noexcept;

private:
    /// Colours that are searched together: their components side by side, so that the search is one of vectors.
    struct Group {
        static constexpr std::size_t kSize = 64;
        alignas(64) float red[kSize]; ///< floats, which every processor multiplies by vectors
        float green[kSize];
        float blue[kSize];
    };

    std::vector<PALETTEENTRY> mEntries;
    std::vector<Group> mGroups;
};

/// Windows' 20, the halves of the system palette's ends after each other.
std::span<const PALETTEENTRY> GetStaticColours() noexcept;

} // namespace WindowsApi
