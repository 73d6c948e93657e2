#pragma once

#include "PixelBlitter.h"
#include "Turns.h"

#include <cstdlib>
#include <fstream>

namespace pixmapbench {

/// The first picture of a real clip as opaque 32-bit BGRA, enlarged to 1080p.
inline std::vector<std::uint8_t> ReadStill() {
    constexpr PB_PixelFormat kPALDV25 = 0x2000821, kBGRA = 0x4;
    std::vector<std::uint8_t> tape(144000), still(4 * kPixels);
    std::ifstream file(VF_MEDIA_FOLDER "/city-pal.dv", std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(tape.data()), static_cast<std::streamsize>(tape.size())) ||
        PB_ScaleConvert(tape.data(), 0, 720, 576, kPALDV25, 0, still.data(), 4 * kWidth, kWidth, kHeight, kBGRA, 0,
                        4) != kPB_Success) {
        std::fprintf(stderr, "cannot read media/city-pal.dv, or not decode it\n");
        std::exit(1);
    }
    return still;
}

} // namespace pixmapbench
