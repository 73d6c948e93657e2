#pragma once

#include <bit>
#include <cstdint>

namespace BRT::detail {

/// Alignment of every buffer: one cache line, and the widest vector register.
inline constexpr std::uint64_t kBufferAlignmentInBytes = 64;

/// Eight classes for each doubling of the size keep the slack of a buffer at 1/8 of the size asked for. Up to 512 bytes
/// the classes are the multiples of the alignment, which nothing smaller could be.
inline constexpr unsigned kClassesPerDoubling = 8;
inline constexpr std::uint64_t kLargestEvenlySpaced = kClassesPerDoubling * kBufferAlignmentInBytes;

/// Largest size that has a class.
inline constexpr std::uint64_t kLargestClassInBytes = std::uint64_t{1} << 63;

struct SizeClass {
    unsigned index;            ///< 0 .. kSizeClassCount - 1, growing with the size
    std::uint64_t sizeInBytes; ///< what buffers of the class really hold
};

/// The smallest class that holds sizeInBytes, which must be 1 .. kLargestClassInBytes.
constexpr SizeClass SizeClassFor(std::uint64_t sizeInBytes) noexcept {
    const std::uint64_t last = sizeInBytes - 1;
    if (sizeInBytes <= kLargestEvenlySpaced) {
        const auto index = static_cast<unsigned>(last / kBufferAlignmentInBytes);
        return {index, (index + 1) * kBufferAlignmentInBytes};
    }
    const auto doubling = static_cast<unsigned>(std::bit_width(last) - std::bit_width(kLargestEvenlySpaced));
    const unsigned stepShift = doubling + static_cast<unsigned>(std::countr_zero(kBufferAlignmentInBytes));
    const std::uint64_t steps = last >> stepShift; // 8 .. 15
    return {kClassesPerDoubling * doubling + static_cast<unsigned>(steps), (steps + 1) << stepShift};
}

/// The class with this index.
constexpr SizeClass SizeClassAt(unsigned index) noexcept {
    if (index < kClassesPerDoubling) {
        return {index, (index + 1) * kBufferAlignmentInBytes};
    }
    const unsigned doubling = index / kClassesPerDoubling - 1;
    const std::uint64_t steps = index % kClassesPerDoubling + kClassesPerDoubling;
    return {index, ((steps + 1) * kBufferAlignmentInBytes) << doubling};
}

inline constexpr unsigned kSizeClassCount = SizeClassFor(kLargestClassInBytes).index + 1;

} // namespace BRT::detail
