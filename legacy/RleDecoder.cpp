#include "RleDecoder.h"

#include <cstring>

namespace VF::RunLength {
namespace {

/// The second byte after a zero.
enum Escape : std::uint8_t { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

/// Stores of fixed sizes that overlap in the middle: most runs are short, and a call for each would cost more than the
/// bytes do.
void Repeat(std::uint8_t* at, std::uint8_t value, std::ptrdiff_t count) {
    const std::uint64_t eight = value * 0x0101010101010101U;
    if (count >= 8 && count <= 32) {
        const std::ptrdiff_t inner = count > 16 ? 8 : 0;
        std::memcpy(at, &eight, 8);
        std::memcpy(at + inner, &eight, 8);
        std::memcpy(at + count - 8 - inner, &eight, 8);
        std::memcpy(at + count - 8, &eight, 8);
    } else if (count >= 4 && count < 8) {
        std::memcpy(at, &eight, 4);
        std::memcpy(at + count - 4, &eight, 4);
    } else if (count < 4) {
        at[0] = value;
        at[count / 2] = value;
        at[count - 1] = value;
    } else {
        std::memset(at, value, static_cast<std::size_t>(count));
    }
}

} // namespace

void Decode(Extent<const std::uint8_t> source, Extent<std::uint8_t> destination, std::uint16_t rowBytes) noexcept {
    std::ptrdiff_t read = 0;
    std::ptrdiff_t written = 0;
    std::uint16_t x = 0; // wraps, as the position in a row is a 16-bit word
    const auto room = [&](std::ptrdiff_t count) {
        return written >= 0 && written <= destination.sizeInBytes && count <= destination.sizeInBytes - written;
    };
    while (source.sizeInBytes - read >= 2) {
        const std::uint8_t first = source.data[read];
        const std::uint8_t second = source.data[read + 1];
        read += 2;
        if (first != 0) {
            if (!room(first)) {
                return;
            }
            Repeat(destination.data + written, second, first);
            written += first;
            x = static_cast<std::uint16_t>(x + first);
        } else if (second > kDelta) {
            if (source.sizeInBytes - read < second || !room(second)) {
                return;
            }
            std::memcpy(destination.data + written, source.data + read, second);
            read += second + (second & 1);
            written += second;
            x = static_cast<std::uint16_t>(x + second);
        } else if (second == kEndOfLine) {
            written += rowBytes - x;
            x = 0;
        } else if (second == kEndOfBitmap || source.sizeInBytes - read < 2) {
            return;
        } else {
            const std::uint8_t right = source.data[read];
            written += std::ptrdiff_t{source.data[read + 1]} * rowBytes + right;
            x = static_cast<std::uint16_t>(x + right);
            read += 2;
        }
    }
}

} // namespace VF::RunLength
