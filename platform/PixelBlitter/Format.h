#pragma once

/// What the converter needs to know of a format, decoded once per call from the one table of formats.

#include "PixelBlitter.h"
#include "kernels/Kernels.h"
#include "zynmediatypes.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace PixelBlitter {

/// How samples lie in memory.
enum class Packing {
    Bytes,      ///< four 8-bit components a pixel
    Words,      ///< four 16-bit components a pixel, white = 32768
    Floats,     ///< four floats a pixel
    Pairs,      ///< 8-bit 4:2:2, four bytes for two pixels
    Groups,     ///< 10-bit 4:2:2 (V210), 16 bytes for six pixels
    Planar,     ///< 8-bit 4:2:0 in three planes
    Compressed, ///< DV
    DvPlanes,   ///< 8-bit planes of a DV picture outside its compressed form, top row first; never a caller's
    Opaque,     ///< custom: nothing is known
};

enum class ColourModel { RGB, BT601, BT709 };
enum class AlphaKind { Straight, Premultiplied, None };

struct Format {
    PB_PixelFormat value = kPB_NoFormat;
    zynmediatypes::PixelFormat suite;
    Packing packing = Packing::Opaque;
    ColourModel model = ColourModel::RGB;
    AlphaKind alpha = AlphaKind::None;
    bool linear = false;
    bool fullRange = false;     ///< YUV codes use the whole range
    bool alphaFirst = false;    ///< components run A R G B instead of B G R A, or Y U Y V instead of U Y V Y
    bool centredChroma = false; ///< 4:2:0 chroma lies between two columns (MPEG-4, MPEG-1) instead of on the left one
    bool fieldChroma = false;   ///< 4:2:0 chroma rows belong to alternate fields
    zynmediatypes::Chroma dvChroma = zynmediatypes::Chroma::C444; ///< how DvPlanes share chroma: 4:2:2, 4:1:1 or 4:2:0

    bool IsYUV() const noexcept { return model != ColourModel::RGB; }
    /// Four components for every pixel.
    bool Is444() const noexcept {
        return packing == Packing::Bytes || packing == Packing::Words || packing == Packing::Floats;
    }
    /// Two pixels or four share their chroma.
    bool IsSubsampled() const noexcept {
        return packing == Packing::Pairs || packing == Packing::Groups || packing == Packing::Planar ||
               packing == Packing::DvPlanes;
    }
    /// The picture consists of rows with a stride, bottom row first.
    bool HasRows() const noexcept { return Is444() || packing == Packing::Pairs || packing == Packing::Groups; }
};

/// The format of a converter value; kPB_CustomFormat gives Packing::Opaque, unknown values nothing.
std::optional<Format> FindFormat(PB_PixelFormat value) noexcept;

/// Bytes of one pixel of a 4:4:4:4 format.
std::size_t BytesPerPixel(const Format& format) noexcept;

/// Bytes that the pixels of a row occupy, without the padding that V210 asks of a stride.
std::uint64_t UsedRowBytes(const Format& format, int width) noexcept;

/// The codes that stand for 0 and for 1 (chroma: for 0 and from there to 1), and the largest code.
struct CodeRange {
    double zero;
    double span;
    double largest;
};
CodeRange LumaCodes(const Format& format) noexcept;   ///< also every component of RGB, and alpha for 4:4:4:4
CodeRange ChromaCodes(const Format& format) noexcept; ///< U and V
CodeRange AlphaCodes(const Format& format) noexcept;

Dequantiser DequantiserOf(const CodeRange& range) noexcept;
Quantiser QuantiserOf(const CodeRange& range) noexcept;

/// Ranges of the four components in canonical order, B G R A or V U Y A.
struct ComponentCodes {
    CodeRange component[4];
};
ComponentCodes CodesOf444(const Format& format) noexcept;

} // namespace PixelBlitter
