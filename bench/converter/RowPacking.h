#pragma once

/// Rows of pixels to and from rows of planes, for the libraries that only know planes.

#include <cstddef>
#include <cstdint>

namespace converterbench {

/// count pixels of four components, in the order in which they lie.
void Unpack4(const std::uint8_t* pixels, std::size_t count, std::uint8_t* const planes[4]) noexcept;
void Pack4(const std::uint8_t* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept;
void Unpack4(const float* pixels, std::size_t count, float* const planes[4]) noexcept;
void Pack4(const float* const planes[4], std::size_t count, float* pixels) noexcept;

/// The same between codes and codes / 255.
void Unpack4(const std::uint8_t* pixels, std::size_t count, float* const planes[4]) noexcept;
void Pack4(const float* const planes[4], std::size_t count, std::uint8_t* pixels) noexcept;

/// Rows of UYVY, or of YUYV where luma lies first; planes are Y, U, V. The width is even.
void UnpackPairs(const std::uint8_t* pixels, std::size_t width, bool lumaFirst, std::uint8_t* const planes[3]) noexcept;
void PackPairs(const std::uint8_t* const planes[3], std::size_t width, bool lumaFirst, std::uint8_t* pixels) noexcept;

/// Rows of V210 as far as its whole groups of six pixels; planes are Y, U, V, codes of 10 bits.
void UnpackV210(const std::uint8_t* pixels, std::size_t width, std::uint16_t* const planes[3]) noexcept;
void PackV210(const std::uint16_t* const planes[3], std::size_t width, std::uint8_t* pixels) noexcept;

} // namespace converterbench
