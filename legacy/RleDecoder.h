#pragma once

/// The one loop that decodes BI_RLE8 streams, with limits for what must not be trusted.

#include <cstddef>
#include <cstdint>

namespace VF::RunLength {

/// Bytes from an address on.
template <class Byte>
struct Extent {
    Byte* data = nullptr;
    std::ptrdiff_t sizeInBytes = 0;
};

/// The size of an extent whose end the caller does not know and answers for.
inline constexpr std::ptrdiff_t kUnlimited = PTRDIFF_MAX;

/// Decodes until the stream's end-of-bitmap code. Ends early, with what was decoded so far, at the first code that
/// would read beyond the source or write outside the destination.
void Decode(Extent<const std::uint8_t> source, Extent<std::uint8_t> destination, std::uint16_t rowBytes) noexcept;

/// The distance of decoded rows, for a header's width.
constexpr std::uint16_t RowBytes(std::int32_t width) {
    return static_cast<std::uint16_t>((static_cast<std::uint32_t>(width) + 3) & 0xFFFC);
}

} // namespace VF::RunLength
