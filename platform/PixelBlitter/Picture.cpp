#include "Picture.h"

#include <algorithm>

namespace PixelBlitter {
namespace {

// No address space of today's machines is larger, so a picture that claims more cannot exist.
constexpr std::uint64_t kLargestExtent = std::uint64_t{1} << 56;

std::uint64_t Magnitude(std::int64_t value) noexcept {
    return static_cast<std::uint64_t>(value < 0 ? -value : value);
}

} // namespace

PB_Result CheckPlace(const PictureArguments& arguments, const Format& format) noexcept {
    if (arguments.data == nullptr) {
        return kPB_BadArgument;
    }
    std::uint64_t extent = 0;
    if (!format.HasRows()) {
        extent = PB_PixelFormatSize(arguments.format, arguments.width, arguments.height);
    } else if (arguments.height > 1) {
        const std::uint64_t stride = Magnitude(arguments.rowBytes);
        if (stride < PB_PixelFormatSize(arguments.format, arguments.width, 1)) {
            return kPB_BadArgument;
        }
        extent = stride * static_cast<std::uint64_t>(arguments.height); // below 2^62
    }
    return extent > kLargestExtent ? kPB_BadArgument : kPB_Success;
}

PB_Result CheckPicture(const PictureArguments& arguments, SourcePicture& outPicture) noexcept {
    const std::optional<Format> format = FindFormat(arguments.format);
    if (!format) {
        return kPB_UnsupportedFormat;
    }
    const PB_Result result = CheckPlace(arguments, *format);
    if (result == kPB_Success) {
        outPicture = CheckedPicture(arguments, *format);
    }
    return result;
}

SourcePicture CheckedPicture(const PictureArguments& arguments, const Format& format) noexcept {
    const bool hasStride = format.HasRows() ? arguments.height > 1 : format.packing == Packing::Compressed;
    return {format, static_cast<const std::uint8_t*>(arguments.data), hasStride ? arguments.rowBytes : 0,
            arguments.width, arguments.height};
}

DestinationPicture Writable(const SourcePicture& picture) noexcept {
    // The caller handed this memory in as a destination; only the check in common takes it as const.
    return {picture.format, const_cast<std::uint8_t*>(picture.base), picture.stride, picture.width, picture.height};
}

AddressRange AddressesOf(const SourcePicture& picture) noexcept {
    const auto base = reinterpret_cast<std::uintptr_t>(picture.base);
    if (!picture.format.HasRows()) {
        return {base, base + PixelBytes(picture)};
    }
    const auto last = base + static_cast<std::uintptr_t>((picture.height - 1) * picture.stride);
    return {std::min(base, last), std::max(base, last) + UsedRowBytes(picture.format, picture.width)};
}

bool Overlap(const SourcePicture& a, const SourcePicture& b) noexcept {
    const AddressRange first = AddressesOf(a);
    const AddressRange second = AddressesOf(b);
    return first.first < second.end && second.first < first.end;
}

std::uint64_t PixelBytes(const SourcePicture& picture) noexcept {
    if (!picture.format.HasRows()) {
        return PB_PixelFormatSize(picture.format.value, picture.width, picture.height);
    }
    return UsedRowBytes(picture.format, picture.width) * static_cast<std::uint64_t>(picture.height);
}

} // namespace PixelBlitter
