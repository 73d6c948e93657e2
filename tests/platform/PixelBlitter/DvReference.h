#pragma once

/// DV through bare libavcodec, and where its chroma lies, in double precision: what the converter is compared with.

#include "ReferencePixels.h"

#include <array>
#include <cstdint>
#include <vector>

struct DvKind {
    std::int32_t value;
    int width, height;
    std::size_t bytes;
    int chromaColumns, chromaRows; ///< luma samples for one of chroma
    bool interlaced, upperFirst;
    int seconds, frames; ///< frames in so many seconds
    std::int32_t uyvy;   ///< the row format of the same matrix
};
inline constexpr std::array<DvKind, 8> kDvKinds{{
    {0x1000821, 720, 480, 120000, 4, 1, true, false, 1001, 30000, 0x811},
    {0x2000821, 720, 576, 144000, 2, 2, true, false, 1, 25, 0x811},
    {0x3000A21, 960, 720, 240000, 2, 1, false, true, 1001, 60000, 0xA11},
    {0x4000A21, 960, 720, 288000, 2, 1, false, true, 1, 50, 0xA11},
    {0x5000A21, 1280, 1080, 480000, 2, 1, true, true, 1001, 30000, 0xA11},
    {0x6000A21, 1440, 1080, 576000, 2, 1, true, true, 1, 25, 0xA11},
    {0x7000821, 720, 480, 240000, 2, 1, true, false, 1001, 30000, 0x811},
    {0x8000821, 720, 576, 288000, 2, 1, true, false, 1, 25, 0x811},
}};

using DvFrame = std::vector<std::uint8_t>;

/// Y, U, V codes, rows from the top.
struct DvPlanes {
    reference::Plane plane[3];
    explicit DvPlanes(const DvKind& kind);
};

/// A frame of a file of the media folder.
DvFrame ReadDvFrame(const char* name);

DvPlanes DecodeDv(const DvKind& kind, const DvFrame& frame);
DvFrame EncodeDv(const DvKind& kind, const DvPlanes& planes);

/// Normalised V U Y A at full size, chroma interpolated linearly from where it lies.
reference::Picture FullSize(const DvKind& kind, const DvPlanes& planes);

/// The planes for a 4:2:2 picture of 8-bit codes (V, U, Y), chroma filtered by triangles to where it lies.
DvPlanes PlanesOf422(const DvKind& kind, const reference::Picture& codes);
