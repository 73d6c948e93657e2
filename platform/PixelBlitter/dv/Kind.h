#pragma once

/// The eight kinds of DV frames.
///
/// A frame is one to four channels of 10 (525 lines, 60 Hz) or 12 (625 lines, 50 Hz) DIF sequences of 150 blocks of 80
/// bytes (IEC 61834-2 and SMPTE 314M for 25 and 50 Mbit/s, SMPTE 370M for 100). Rasters are those of the coded picture:
/// DV100 stores its pictures at less than full width.

#include "Format.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter::dv {

/// A block of a DIF sequence.
inline constexpr std::uint32_t kBlockBytes = 80;

struct Kind {
    zynmediatypes::Storage storage;
    int width;
    int height;
    std::uint32_t bytes; ///< of a frame
    zynmediatypes::Chroma chroma;
    bool interlaced;
    bool upperFieldFirst; ///< the first field in time holds the top line
    int frameSeconds[2];  ///< duration of a frame, numerator and denominator; tells the kinds of one size apart
};

/// The kind of a DV format; null for every other format.
const Kind* KindOf(const Format& format) noexcept;

inline bool HasRaster(const Kind& kind, int width, int height) noexcept {
    return width == kind.width && height == kind.height;
}

/// Whether a caller's stride, the size of the whole image, leaves room for a frame. 0 states nothing.
inline bool StatesWholeFrame(const Kind& kind, std::ptrdiff_t stride) noexcept {
    return stride == 0 || stride >= std::ptrdiff_t{kind.bytes} || -stride >= std::ptrdiff_t{kind.bytes};
}

/// Whether the bytes of a frame are divided into DIF blocks as its kind demands. Up to an eighth of the blocks may be
/// lost, as they are where a tape is worn; what is left still shows the picture.
bool HasBlockStructure(const Kind& kind, const std::uint8_t* bytes) noexcept;

/// Whether the block with this number, counted from the start of a frame, is one of those that hold the picture. The
/// others hold sound, time code and what else was recorded.
bool HoldsPicture(std::uint32_t block) noexcept;

} // namespace PixelBlitter::dv
