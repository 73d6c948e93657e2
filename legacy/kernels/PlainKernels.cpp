// The kernels as ordinary loops.

#include "PixmapKernels.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace VF::Pixmaps {
namespace {

constexpr std::uint8_t kOpaque = 255;
constexpr std::uint8_t kMarked = 31; // what a mask byte that was found becomes

void StoreWord(std::uint8_t* at, unsigned word) noexcept {
    at[0] = static_cast<std::uint8_t>(word);
    at[1] = static_cast<std::uint8_t>(word >> 8);
}

template <std::size_t pixelBytes>
void To555(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, source += pixelBytes, destination += 2) {
        StoreWord(destination, (source[2] & 0xF8U) << 7 | (source[1] & 0xF8U) << 2 | source[0] >> 3);
    }
}

void From32To24(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::memmove(destination + 3 * i, source + 4 * i, 3);
    }
}

void From24To32(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::memcpy(destination + 4 * i, source + 3 * i, 3);
        destination[4 * i + 3] = kOpaque;
    }
}

void From555To32(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, source += 2, destination += 4) {
        const unsigned word = source[0] | static_cast<unsigned>(source[1]) << 8;
        destination[0] = static_cast<std::uint8_t>((word & 0x1F) << 3);
        destination[1] = static_cast<std::uint8_t>((word >> 5 & 0x1F) << 3);
        destination[2] = static_cast<std::uint8_t>((word >> 10 & 0x1F) << 3);
        destination[3] = kOpaque;
    }
}

template <bool inverse>
void AlphaToColour(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                   const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t alpha = source[4 * i + 3];
        std::memset(destination + 4 * i, inverse ? kOpaque - alpha : alpha, 3);
        destination[4 * i + 3] = alpha;
    }
}

void From8To32(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const PaletteTables& palette,
               const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::memcpy(destination + 4 * i, palette.entries[source[i]], 4);
    }
}

std::uint8_t LargestByte(const std::uint8_t* bytes, std::size_t count) noexcept {
    return count == 0 ? std::uint8_t{0} : *std::max_element(bytes, bytes + count);
}

void ReadAlpha(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        destination[i] = source[4 * i + 3];
    }
}

void WriteAlpha(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        destination[4 * i + 3] = source[i];
    }
}

void SelectAlpha(const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* selector, std::uint8_t* pixels,
                 std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        pixels[4 * i + 3] = selector[i] != 0 ? a[i] : b[i];
    }
}

void MarkValue(std::uint8_t* bytes, std::size_t count, std::uint8_t value) noexcept {
    std::transform(bytes, bytes + count, bytes,
                   [=](std::uint8_t byte) { return byte == value ? kMarked : std::uint8_t{0}; });
}

void MapColours(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t red[256],
                const std::uint8_t green[256], const std::uint8_t blue[256], const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, source += 4, destination += 4) {
        destination[0] = blue[source[0]];
        destination[1] = green[source[1]];
        destination[2] = red[source[2]];
        destination[3] = source[3];
    }
}

void ThroughBytes(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
                  const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, source += 4, destination += 4) {
        const int kept = 255 - mask[i];
        if (kept == 0) {
            std::memmove(destination, source, 4);
        } else if (kept < 255) {
            for (int c = 0; c < 3; ++c) {
                // An arithmetic shift: towards the lower.
                destination[c] = static_cast<std::uint8_t>(source[c] + ((destination[c] - source[c]) * kept >> 8));
            }
            destination[3] =
                static_cast<std::uint8_t>(destination[3] + (255 - destination[3]) * source[3] * kept / 65536);
        }
    }
}

bool BitOf(const std::uint8_t* mask, std::size_t i) noexcept {
    return mask == nullptr || (mask[i / 8] << i % 8 & 0x80) != 0;
}

void ThroughBits(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const std::uint8_t* mask,
                 const Transfer&) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        if (BitOf(mask, i)) {
            std::memmove(destination + 4 * i, source + 4 * i, 4);
        }
    }
}

template <int rounding>
void BlendThroughBits(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels,
                      const std::uint8_t* mask, std::uint8_t weight, const Transfer&) noexcept {
    std::array<std::array<std::uint8_t, 2>, 256> table;
    for (int i = 0; i < 256; ++i) {
        table[static_cast<std::size_t>(i)] = {static_cast<std::uint8_t>((weight * i + rounding) / 255),
                                              static_cast<std::uint8_t>((i * (255 - weight) + rounding) / 255)};
    }
    for (std::size_t i = 0; i < pixels; ++i) {
        for (std::size_t at = 4 * i; BitOf(mask, i) && at < 4 * i + 4; ++at) {
            destination[at] = static_cast<std::uint8_t>(table[source[at]][0] + table[destination[at]][1]);
        }
    }
}

// Of a byte and its four neighbours, the outer ones of the middle row so many bytes away.
unsigned SumOfFive(ThreeRows rows, std::size_t at) noexcept {
    const std::uint8_t* const middle = rows[1] + at;
    return static_cast<unsigned>(rows[0][at]) + middle[-1] + middle[0] + middle[1] + rows[2][at];
}
constexpr unsigned kFringeEnd = 128;

void SmoothFringe(ThreeRows mask, ThreeRows pixels, std::uint8_t* outMask, std::uint8_t* outPixels,
                  std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned sum = SumOfFive(mask, i);
        if (sum == 0 || sum >= kFringeEnd) {
            continue;
        }
        outMask[i] = kOpaque;
        for (std::size_t at = 4 * i; at < 4 * i + 4; ++at) {
            const std::uint8_t* const middle = pixels[1] + at;
            const int vertical = (pixels[2][at] / 2 + pixels[0][at] / 2) / 2;
            const int horizontal = (middle[-4] / 2 + middle[4] / 2) / 2;
            outPixels[at] = static_cast<std::uint8_t>((vertical + horizontal) / 2 + middle[0] / 2);
        }
    }
}

void PaintFringe(ThreeRows mask, std::uint8_t* outMask, std::uint8_t* outPixels, std::size_t count,
                 std::uint32_t colour) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned sum = SumOfFive(mask, i);
        const bool fringe = sum > 0 && sum < kFringeEnd;
        outMask[i] = fringe ? kMarked : std::uint8_t{0};
        if (fringe) {
            std::memcpy(outPixels + 4 * i, &colour, 4);
        }
    }
}

void Convolve(const std::uint8_t* const* rows, std::size_t count, std::uint8_t* destination, std::ptrdiff_t step,
              std::size_t bytes, const Convolution& convolution) noexcept {
    for (; count > 0; --count, ++rows, destination += step) {
        for (std::size_t i = 0; i < bytes; ++i) {
            float sum = 0;
            for (int k = 0; k < 9; ++k) {
                const std::uint8_t* const at = rows[k / 3] + i;
                sum += static_cast<float>(convolution.weights[k]) * static_cast<float>(at[4 * (k % 3 - 1)]);
            }
            const float scaled = (sum + static_cast<float>(convolution.bias)) * convolution.scale;
            destination[i] = static_cast<std::uint8_t>(std::clamp(static_cast<int>(scaled), 0, 255));
        }
    }
}

void Nearest(const std::int32_t distances[256], const std::int32_t blue[32][256], std::uint8_t* entries) noexcept {
    for (std::size_t b = 0; b < 32; ++b) {
        std::int32_t least = INT32_MAX;
        for (std::size_t i = 0; i < 256; ++i) {
            least = std::min(least, distances[i] + blue[b][i]);
        }
        entries[b] = static_cast<std::uint8_t>(least);
    }
}

void FinishStreaming() noexcept {}

} // namespace

const PixmapKernels& PlainKernels() noexcept {
    static constexpr PixmapKernels table{
        .depth = {.from32To555 = To555<4>,
                  .from24To555 = To555<3>,
                  .from32To24 = From32To24,
                  .from24To32 = From24To32,
                  .from555To32 = From555To32,
                  .alphaToColour = AlphaToColour<false>,
                  .alphaToInverseColour = AlphaToColour<true>,
                  .largestByte = LargestByte},
        .channels = {.readAlpha = ReadAlpha,
                     .writeAlpha = WriteAlpha,
                     .selectAlpha = SelectAlpha,
                     .markValue = MarkValue},
        .masks = {.throughBytes = ThroughBytes,
                  .throughBits = ThroughBits,
                  .blendThroughBits = BlendThroughBits<0>,
                  .blendRounded = BlendThroughBits<127>},
        .mattes = {.smoothFringe = SmoothFringe, .paintFringe = PaintFringe},
        .convolve = {Convolve, Convolve},
        .nearestEntries = Nearest,
        .finishStreaming = FinishStreaming,
    };
    return table;
}

const LookUpKernels& PlainLookUps() noexcept {
    static constexpr LookUpKernels table{.from8To32 = From8To32, .mapColours = MapColours};
    return table;
}

} // namespace VF::Pixmaps
