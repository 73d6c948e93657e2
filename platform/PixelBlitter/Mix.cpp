#include "Mix.h"

#include "Convert.h"
#include "Scratch.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace PixelBlitter {
namespace {

template <class Sample>
Sample MixSample(Sample a, Sample b, double weight) noexcept {
    return static_cast<Sample>(std::floor(a * (1 - weight) + b * weight + 0.5));
}
template <>
float MixSample(float a, float b, double weight) noexcept {
    const auto share = static_cast<float>(weight);
    return a * (1 - share) + b * share;
}

template <class Sample>
void MixRow(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::uint64_t bytes,
            double weight) noexcept {
    for (std::uint64_t i = 0; i < bytes; i += sizeof(Sample)) {
        Sample x, y;
        std::memcpy(&x, a + i, sizeof x);
        std::memcpy(&y, b + i, sizeof y);
        x = MixSample(x, y, weight);
        std::memcpy(destination + i, &x, sizeof x);
    }
}

void MixGroups(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, std::uint64_t bytes,
               double weight) noexcept {
    for (std::uint64_t i = 0; i < bytes; i += 4) {
        std::uint32_t x, y, mixed = 0;
        std::memcpy(&x, a + i, sizeof x);
        std::memcpy(&y, b + i, sizeof y);
        for (const int shift : {0, 10, 20}) {
            mixed |= MixSample(x >> shift & 1023, y >> shift & 1023, weight) << shift;
        }
        std::memcpy(destination + i, &mixed, sizeof mixed);
    }
}

} // namespace

PB_Result MixPictures(const SourcePicture& a, const SourcePicture& b, const DestinationPicture& destination,
                      float weight) noexcept {
    const Packing packing = destination.format.packing;
    if (packing == Packing::Compressed || packing == Packing::Opaque) {
        return kPB_UnsupportedFormat;
    }
    const auto mix = packing == Packing::Words    ? MixRow<std::uint16_t>
                     : packing == Packing::Floats ? MixRow<float>
                     : packing == Packing::Groups ? MixGroups
                                                  : MixRow<std::uint8_t>;
    const double share = weight > 0 ? std::min(weight, 1.0F) : 0;
    const bool rows = destination.format.HasRows();
    const std::uint64_t bytes =
        rows ? UsedRowBytes(destination.format, destination.width) : PixelBytes(ReadOnly(destination));
    for (int row = 0; row < (rows ? destination.height : 1); ++row) {
        mix(a.MemoryRow(row), b.MemoryRow(row), destination.MemoryRow(row), bytes, share);
    }
    return kPB_Success;
}

} // namespace PixelBlitter
