#include "zynmediatypes.h"

#include <algorithm>
#include <limits>

namespace zynmediatypes {
namespace {

// What an impossible size answers: no allocation can satisfy it, and adding a header to it does not wrap.
constexpr std::uint64_t kImpossibleSize = std::numeric_limits<std::int64_t>::max();

constexpr bool AllWordsDistinct() {
    for (std::size_t i = 0; i < kPixelFormatTable.size(); ++i) {
        for (std::size_t j = i + 1; j < kPixelFormatTable.size(); ++j) {
            const auto& a = kPixelFormatTable[i];
            const auto& b = kPixelFormatTable[j];
            if (a.format.name == b.format.name || a.format.properties == b.format.properties ||
                (a.converterValue != 0 && a.converterValue == b.converterValue)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(AllWordsDistinct(), "names, properties and converter values must invert");

template <class Predicate>
const PixelFormatRow* FindRow(Predicate predicate) noexcept {
    const auto* const row = std::find_if(kPixelFormatTable.begin(), kPixelFormatTable.end(), predicate);
    return row == kPixelFormatTable.end() ? nullptr : row;
}

constexpr std::uint64_t RowBytes(PixelFormat format, std::uint64_t width) noexcept {
    const Precision precision = PrecisionOf(format);
    if (ChromaOf(format) == Chroma::C422) {
        // V210 packs 48 pixels into 128 bytes and pads rows to that; 8-bit 4:2:2 shares four bytes between two pixels.
        return precision == Precision::Bits10 ? (width + 47) / 48 * 128 : (width + 1) / 2 * 4;
    }
    switch (precision) {
    case Precision::Bits8:
        return width * 4;
    case Precision::Words16:
        return width * 8;
    case Precision::Float32:
        return width * 16;
    case Precision::Bits10:
    case Precision::None:
        break;
    }
    return 0;
}

struct DVKind {
    Storage storage;
    std::uint32_t sizeInBytes;
    RasterSize raster;
};

// SMPTE 314M (DV25, DV50) and SMPTE 370M (DV100).
constexpr std::array kDVKinds{
    DVKind{Storage::NTSCDV25, 120000, {720, 480}},          DVKind{Storage::PALDV25, 144000, {720, 576}},
    DVKind{Storage::NTSCDV100_720p, 240000, {960, 720}},    DVKind{Storage::PALDV100_720p, 288000, {960, 720}},
    DVKind{Storage::NTSCDV100_1080i, 480000, {1280, 1080}}, DVKind{Storage::PALDV100_1080i, 576000, {1440, 1080}},
    DVKind{Storage::NTSCDV50, 240000, {720, 480}},          DVKind{Storage::PALDV50, 288000, {720, 576}},
};

const DVKind* FindDVKind(Storage storage) noexcept {
    const auto* const kind = std::find_if(kDVKinds.begin(), kDVKinds.end(),
                                          [storage](const DVKind& candidate) { return candidate.storage == storage; });
    return kind == kDVKinds.end() ? nullptr : kind;
}

} // namespace

PixelFormatProperties LookupPropertiesForName(PixelFormatName name) noexcept {
    if (const PixelFormatRow* const row = FindPixelFormat(name)) {
        return row->format.properties;
    }
    return IsCustomName(name) ? kPixelFormatProperties_Custom : kPixelFormatProperties_Invalid;
}

PixelFormatName GuessNameForProperties(PixelFormatProperties properties) noexcept {
    const PixelFormatRow* const row =
        FindRow([properties](const PixelFormatRow& candidate) { return candidate.format.properties == properties; });
    return row ? row->format.name : kPixelFormat_Invalid.name;
}

const PixelFormatRow* FindPixelFormat(PixelFormatName name) noexcept {
    return FindRow([name](const PixelFormatRow& candidate) { return candidate.format.name == name; });
}

const PixelFormatRow* FindPixelFormatByConverterValue(std::uint32_t converterValue) noexcept {
    if (converterValue == 0) {
        return nullptr;
    }
    return FindRow(
        [converterValue](const PixelFormatRow& candidate) { return candidate.converterValue == converterValue; });
}

std::uint64_t PixelFormatSize(PixelFormat format, std::int32_t width, std::int32_t height) noexcept {
    if (width <= 0 || height <= 0 || IsCustomName(format.name) ||
        (format.properties & kPropertyMask_Family) != kPropertyFamily_Uncompressed) {
        return 0;
    }
    const auto columns = static_cast<std::uint64_t>(width);
    const auto rows = static_cast<std::uint64_t>(height);
    const Storage storage = StorageOf(format);
    if (IsDV(storage)) {
        return FindDVKind(storage)->sizeInBytes;
    }
    if (IsPlanar(storage)) {
        return columns * rows + 2 * ((columns + 1) / 2) * ((rows + 1) / 2);
    }
    if (storage != Storage::Rows) {
        return 0;
    }
    const std::uint64_t rowBytes = RowBytes(format, columns);
    return rowBytes > kImpossibleSize / rows ? kImpossibleSize : rowBytes * rows;
}

std::int32_t UncompressedPixelFormatRowBytes(PixelFormat format, std::int32_t width) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(PixelFormatSize(format, width, 1)));
}

RasterSize DVRaster(Storage storage) noexcept {
    const DVKind* const kind = FindDVKind(storage);
    return kind ? kind->raster : RasterSize{};
}

bool IsRectValidForFormat(PixelFormat format, std::int32_t width, std::int32_t height,
                          PixelAspectRatio /*aspectRatio*/) noexcept {
    if (width < 1 || height < 1 || !FindPixelFormat(format.name)) {
        return false;
    }
    const Storage storage = StorageOf(format);
    if (IsDV(storage)) {
        const RasterSize raster = DVRaster(storage);
        for (const std::int32_t divisor : {1, 2, 4}) {
            if (width == raster.width / divisor && height == raster.height / divisor) {
                return true;
            }
        }
        return false;
    }
    if (IsPlanar(storage)) {
        const bool fields = storage == Storage::PlanarMPEG2Field || storage == Storage::PlanarMPEG4Field;
        return width % 2 == 0 && height % (fields ? 4 : 2) == 0;
    }
    return ChromaOf(format) != Chroma::C422 || width % 2 == 0;
}

PixelFormat Select4444PixelFormat(PixelFormat format, RenderQuality /*quality*/) noexcept {
    if (!FindPixelFormat(format.name)) {
        return kPixelFormat_Invalid;
    }
    // Only what a 4:4:4:4 row can say survives: model, matrix, light and precision.
    PixelFormatProperties properties = (format.properties & (kProperty_YUV | kProperty_BT709 | kProperty_Linear |
                                                             kPropertyMask_Precision | kProperty_FullRange16)) |
                                       (kAlphaType_Straight << kPropertyShift_Alpha) | kPropertyFamily_Uncompressed;
    if (PrecisionOf(format) == Precision::Bits10) {
        properties = (properties & ~kPropertyMask_Precision) |
                     (static_cast<std::uint32_t>(Precision::Float32) << kPropertyShift_Precision);
    }
    return {GuessNameForProperties(properties), properties};
}

} // namespace zynmediatypes
