// Run-length data of a resource or of a packed bitmap. Two bytes of the input are the width, two the destination's
// size; the rest is the stream.

#include "RleDecoder.h"

#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    const auto word = [data](std::size_t at) { return static_cast<std::uint16_t>(data[at] | data[at + 1] << 8); };
    std::vector<std::uint8_t> decoded(word(2)); // a vector's ends are where the sanitizer looks
    std::vector<std::uint8_t> stream(data + 4, data + size);
    VF::RunLength::Decode({stream.data(), std::ssize(stream)}, {decoded.data(), std::ssize(decoded)},
                          VF::RunLength::RowBytes(word(0)));
    return 0;
}
