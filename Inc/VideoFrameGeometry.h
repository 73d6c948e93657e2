#pragma once

/// What follows from a frame's format, size and field type alone. Shared by all frame classes.

#include "RenderKit.h"

#include <cstddef>
#include <cstdint>

namespace VF::Details {

/// The product of two 32-bit words as a signed 32-bit word that wraps, which is how interfaces define offsets.
constexpr std::int32_t WrappingProduct(std::int32_t a, std::int32_t b) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

/// A pointer moved by an offset. The result may lie outside the object; it is only an address until it is used.
inline void* OffsetPointer(void* pointer, std::int64_t offsetInBytes) noexcept {
    return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(pointer) + // NOLINT(performance-no-int-to-ptr)
                                   static_cast<std::uintptr_t>(offsetInBytes));
}

constexpr bool IsUncompressed(zynmediatypes::PixelFormat format) noexcept {
    return (format.properties & zynmediatypes::kPropertyMask_Family) == zynmediatypes::kPropertyFamily_Uncompressed;
}

/// Whether rows of the format can be addressed through the 2D interface.
constexpr bool IsRowAddressable(zynmediatypes::PixelFormat format) noexcept {
    return format != zynmediatypes::kPixelFormat_Invalid &&
           !(IsUncompressed(format) && (format.properties & zynmediatypes::kPropertyMask_Storage) != 0);
}

/// Whether the format is stored as rows of 4:4:4:4 pixels or of pairs.
constexpr bool IsInterleaved(zynmediatypes::PixelFormat format) noexcept {
    return IsUncompressed(format) && (format.properties & zynmediatypes::kPropertyMask_Storage) == 0;
}

/// Bytes per pixel: 4, 8 or 16 for 8-bit, 16-bit and float 4:4:4:4, half of that where two pixels share a unit of 8-bit
/// or float components; 0 for everything else.
constexpr std::uint32_t PixelSize(zynmediatypes::PixelFormat format) noexcept {
    if (!IsInterleaved(format)) {
        return 0;
    }
    const bool pairs = (format.properties & zynmediatypes::kPropertyMask_Chroma) != 0;
    switch ((format.properties & zynmediatypes::kPropertyMask_Precision) >> zynmediatypes::kPropertyShift_Precision) {
    case 0:
        return pairs ? 2 : 4;
    case 2:
    case 3:
        return 8;
    case 5:
        return pairs ? 8 : 16;
    default:
        return 0;
    }
}

/// Whether a format's pixels carry alpha.
constexpr bool FormatHasAlpha(zynmediatypes::PixelFormat format) noexcept {
    return IsUncompressed(format) && (format.properties & zynmediatypes::kPropertyMask_Chroma) == 0 &&
           zynmediatypes::AlphaOf(format) != zynmediatypes::kAlphaType_None;
}

/// The row in memory at which a field begins. Rows are stored bottom first, so where the picture's top line falls
/// depends on whether the height is odd.
constexpr std::uint32_t FieldFirstLine(zynmediatypes::FieldType fieldType, std::int32_t height,
                                       std::uint32_t field) noexcept {
    const bool odd = (height & 1) != 0;
    const bool firstFieldStartsAtRow1 = (fieldType == zynmediatypes::kFieldType_UpperFirst) != odd;
    return firstFieldStartsAtRow1 == (field == 0) ? 1 : 0;
}

} // namespace VF::Details
