// A DV frame from a tape or another process holds anything. Frames are large and mostly entropy-coded bits, so an input
// is a recipe instead of a frame: which kind, then places of a real frame of it and what to put there.

#include "PixelBlitter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

struct Kind {
    PB_PixelFormat value;
    int width, height, bytes;
};
constexpr Kind kKinds[] = {{0x1000821, 720, 480, 120000},   {0x2000821, 720, 576, 144000},
                           {0x3000A21, 960, 720, 240000},   {0x4000A21, 960, 720, 288000},
                           {0x5000A21, 1280, 1080, 480000}, {0x6000A21, 1440, 1080, 576000},
                           {0x7000821, 720, 480, 240000},   {0x8000821, 720, 576, 288000}};

using Bytes = std::vector<std::uint8_t>;

// The real frame converted to every kind.
std::vector<Bytes> MakeFrames() {
    std::ifstream file(VF_MEDIA_FOLDER "/city-pal.dv", std::ios::binary);
    const Bytes pal{std::istreambuf_iterator<char>(file), {}};
    if (pal.size() != 144000) {
        std::abort();
    }
    std::vector<Bytes> frames;
    for (const Kind& kind : kKinds) {
        Bytes& frame = frames.emplace_back(static_cast<std::size_t>(kind.bytes));
        const int result = PB_ScaleConvert(pal.data(), 144000, 720, 576, 0x2000821, 2, frame.data(), kind.bytes,
                                           kind.width, kind.height, kind.value, 1, 2);
        if (result != kPB_Success) {
            std::abort();
        }
    }
    return frames;
}

// A change: 16 bits that choose a block, 8 the place in it, 8 how many bytes follow that overwrite the frame from
// there.
Bytes Damage(Bytes frame, const std::uint8_t* recipe, std::size_t size) {
    constexpr std::size_t kBlockBytes = 80;
    constexpr std::size_t kHeadBytes = 4;
    while (size >= kHeadBytes) {
        const std::size_t block = (recipe[0] + 256U * recipe[1]) % (frame.size() / kBlockBytes);
        const std::size_t place = block * kBlockBytes + recipe[2] % kBlockBytes;
        const std::size_t count =
            std::min({static_cast<std::size_t>(recipe[3]), size - kHeadBytes, frame.size() - place});
        std::memcpy(frame.data() + place, recipe + kHeadBytes, count);
        recipe += kHeadBytes + count;
        size -= kHeadBytes + count;
    }
    return frame;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<Bytes> sFrames = MakeFrames();
    if (size < 2) {
        return 0;
    }
    const Kind& kind = kKinds[data[0] % std::size(kKinds)];
    const Bytes& base = sFrames[data[1] % 4 == 0 ? data[1] / 4 % std::size(kKinds) : data[0] % std::size(kKinds)];
    // Exactly the frame's bytes, so that a read beyond them is seen.
    Bytes whole(static_cast<std::size_t>(kind.bytes));
    std::copy_n(base.begin(), std::min(base.size(), whole.size()), whole.begin());
    const Bytes frame = Damage(std::move(whole), data + 2, size - 2);
    Bytes picture(static_cast<std::size_t>(kind.width) * static_cast<std::size_t>(kind.height) * 4, 0xA5);
    const int result = PB_Convert(frame.data(), kind.bytes, kind.value, picture.data(), kind.width * 4, 0x4, kind.width,
                                  kind.height, 0);
    if (result != kPB_Success && result != kPB_BadData) {
        std::abort();
    }
    // The same bytes give the same picture, whatever the codec has met before.
    Bytes again(picture.size(), 0xA5);
    if (PB_Convert(frame.data(), kind.bytes, kind.value, again.data(), kind.width * 4, 0x4, kind.width, kind.height,
                   0) != result ||
        again != picture) {
        std::abort();
    }
    return 0;
}
