#include "Alpha.h"

#include "Convert.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace PixelBlitter {
namespace {

template <class Sample, class Replace>
void ReplaceAlpha(const DestinationPicture& picture, const Replace& replace) noexcept {
    for (int row = 0; row < picture.height; ++row) {
        for (int x = 0; x < picture.width; ++x) {
            std::uint8_t* const at = picture.MemoryRow(row) + (4 * x + (picture.format.alphaFirst ? 0 : 3)) *
                                                                  static_cast<std::ptrdiff_t>(sizeof(Sample));
            Sample sample;
            std::memcpy(&sample, at, sizeof sample);
            sample = replace(sample);
            std::memcpy(at, &sample, sizeof sample);
        }
    }
}

} // namespace

PB_Result InvertAlpha(const SourcePicture& source, const DestinationPicture& destination) noexcept {
    if (const PB_Result result = ConvertPicture(source, destination); result != kPB_Success) {
        return result;
    }
    if (destination.format.packing == Packing::Bytes) {
        ReplaceAlpha<std::uint8_t>(destination, [](std::uint8_t a) { return static_cast<std::uint8_t>(255 - a); });
    } else if (destination.format.packing == Packing::Words) {
        ReplaceAlpha<std::uint16_t>(
            destination, [](std::uint16_t a) { return static_cast<std::uint16_t>(a > 32768 ? 0 : 32768 - a); });
    } else {
        ReplaceAlpha<float>(destination, [](float a) { return 1 - a; });
    }
    return kPB_Success;
}

PB_Result SetAlpha(const SourcePicture& source, const DestinationPicture& destination, float alpha) noexcept {
    if (const PB_Result result = ConvertPicture(source, destination); result != kPB_Success) {
        return result;
    }
    const float unit = alpha > 0 ? std::min(alpha, 1.0F) : 0;
    if (destination.format.packing == Packing::Bytes) {
        ReplaceAlpha<std::uint8_t>(destination,
                                   [=](std::uint8_t) { return static_cast<std::uint8_t>(unit * 255 + 0.5F); });
    } else if (destination.format.packing == Packing::Words) {
        ReplaceAlpha<std::uint16_t>(destination,
                                    [=](std::uint16_t) { return static_cast<std::uint16_t>(unit * 32768 + 0.5F); });
    } else {
        ReplaceAlpha<float>(destination, [=](float) { return unit; });
    }
    return kPB_Success;
}

} // namespace PixelBlitter
