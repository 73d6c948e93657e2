#pragma once

/// The suite's media types: pixel format, aspect ratio, field type, render quality, and the one table of pixel formats
/// from which every map between names, properties, sizes and converter values is derived. All functions are pure and
/// may be called from any thread at any time.

#include "SymbolVisibility.h"
#include "zynmediatypes_PixelFormat.h"

#include <cstdint>

#if defined(zynmediatypes_EXPORTS)
#define ZYNMEDIATYPES_API VF_SYMBOL_EXPORT
#else
#define ZYNMEDIATYPES_API VF_SYMBOL_IMPORT
#endif

namespace zynmediatypes {

/// Width of a pixel divided by its height. Default-constructed 0/0 until somebody knows it.
struct PixelAspectRatio {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 0;
    friend constexpr bool operator==(const PixelAspectRatio&, const PixelAspectRatio&) noexcept = default;
};
static_assert(sizeof(PixelAspectRatio) == 8);

inline constexpr PixelAspectRatio kPixelAspectRatio_Square{1, 1};

/// Interlace order of a picture. Parity counts from the picture's top line. A signed word, because -1 stands for "the
/// source's own" in copies.
enum FieldType : std::int32_t {
    kFieldType_Progressive = 0,
    kFieldType_UpperFirst = 1, ///< field 0 holds the picture's top line
    kFieldType_LowerFirst = 2, ///< field 0 holds the line below it
    kFieldType_NotSet = 3,
};
inline constexpr FieldType kFieldType_OfSource = static_cast<FieldType>(-1);

/// How much care a conversion takes, from fastest to best. Filters for scaling: 0 and 1 box, 2 bilinear, 3 bicubic, 4
/// and 5 Lanczos with 3 lobes.
enum RenderQuality : std::int32_t {
    kRenderQuality_Lowest = 0,
    kRenderQuality_Low = 1,
    kRenderQuality_Medium = 2,
    kRenderQuality_High = 3,
    kRenderQuality_Higher = 4,
    kRenderQuality_Highest = 5,
};

/// Properties of the format that a code names: those of its row in the table; for codes whose first character is '@' or
/// '_' the custom properties; for every other code, 0 and "badf" included, the invalid properties.
ZYNMEDIATYPES_API PixelFormatProperties LookupPropertiesForName(PixelFormatName name) noexcept;

/// The name of the format with exactly these properties; "badf" when the table has none.
ZYNMEDIATYPES_API PixelFormatName GuessNameForProperties(PixelFormatProperties properties) noexcept;

/// The table's row for a name, null when it has none.
ZYNMEDIATYPES_API const PixelFormatRow* FindPixelFormat(PixelFormatName name) noexcept;

/// The table's row for a converter value, null when it has none.
ZYNMEDIATYPES_API const PixelFormatRow* FindPixelFormatByConverterValue(std::uint32_t converterValue) noexcept;

/// Bytes of an image. Rows: height x row bytes (4, 8 or 16 bytes a pixel for 4:4:4:4; (w + 1) / 2 x 4 for 8-bit 4:2:2;
/// (w + 47) / 48 x 128 for V210). Planar: planes Y, U, V without gaps, chroma (w + 1) / 2 x (h + 1) / 2. DV: the fixed
/// byte count of its kind. Custom and invalid formats and sizes of 0 or less: 0. A size beyond 63 bits gives the
/// largest signed 64-bit value, which no allocation can satisfy.
ZYNMEDIATYPES_API std::uint64_t PixelFormatSize(PixelFormat format, std::int32_t width, std::int32_t height) noexcept;

/// Bytes of one row: the size for height 1, cut to 32 bits.
ZYNMEDIATYPES_API std::int32_t UncompressedPixelFormatRowBytes(PixelFormat format, std::int32_t width) noexcept;

/// Picture size of a DV kind.
struct RasterSize {
    std::int32_t width = 0;
    std::int32_t height = 0;
    friend constexpr bool operator==(const RasterSize&, const RasterSize&) noexcept = default;
};

/// The raster of a DV kind: 720x480 and 720x576; 1080i 1280x1080 (NTSC) and 1440x1080 (PAL); 720p 960x720 (SMPTE
/// 314M, SMPTE 370M). 0x0 for every other storage.
ZYNMEDIATYPES_API RasterSize DVRaster(Storage storage) noexcept;

/// Whether a picture of this size can be stored in the format without padding. Both sides at least 1; 4:2:2 and V210
/// even widths; planar even widths and heights (field pictures: heights that divide by 4); DV its raster, half and
/// quarter of it; custom and invalid formats never. The aspect ratio does not matter to any of today's formats.
ZYNMEDIATYPES_API bool IsRectValidForFormat(PixelFormat format, std::int32_t width, std::int32_t height,
                                            PixelAspectRatio aspectRatio) noexcept;

/// The interleaved 4:4:4:4 format that holds what a format holds: VUYA of the same matrix for YUV, BGRA for RGB; 8u
/// from 8-bit sources and DV, 32f from V210, other precisions kept; linear stays linear. The invalid format for custom
/// and invalid formats. The quality is not consulted today.
ZYNMEDIATYPES_API PixelFormat Select4444PixelFormat(PixelFormat format, RenderQuality quality) noexcept;

} // namespace zynmediatypes
