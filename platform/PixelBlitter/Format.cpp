#include "Format.h"

namespace PixelBlitter {
namespace {

using zynmediatypes::Chroma;
using zynmediatypes::Precision;
using zynmediatypes::Storage;

std::optional<Packing> PackingOf(zynmediatypes::PixelFormat format) noexcept {
    const Storage storage = zynmediatypes::StorageOf(format);
    if (zynmediatypes::IsDV(storage)) {
        return Packing::Compressed;
    }
    if (zynmediatypes::IsPlanar(storage)) {
        return Packing::Planar;
    }
    const bool pairs = zynmediatypes::ChromaOf(format) == Chroma::C422;
    switch (zynmediatypes::PrecisionOf(format)) {
    case Precision::Bits8:
        return pairs ? Packing::Pairs : Packing::Bytes;
    case Precision::Bits10:
        return Packing::Groups;
    case Precision::Words16:
        return Packing::Words;
    case Precision::Float32:
        return Packing::Floats;
    case Precision::None:
        break;
    }
    return std::nullopt;
}

AlphaKind AlphaKindOf(zynmediatypes::PixelFormat format) noexcept {
    switch (zynmediatypes::AlphaOf(format)) {
    case zynmediatypes::kAlphaType_Straight:
        return AlphaKind::Straight;
    case zynmediatypes::kAlphaType_Premultiplied:
        return AlphaKind::Premultiplied;
    default: // a field of bits, not an enumeration
        return AlphaKind::None;
    }
}

ColourModel ModelOf(zynmediatypes::PixelFormat format) noexcept {
    if ((format.properties & zynmediatypes::kProperty_YUV) == 0) {
        return ColourModel::RGB;
    }
    return (format.properties & zynmediatypes::kProperty_BT709) != 0 ? ColourModel::BT709 : ColourModel::BT601;
}

} // namespace

std::optional<Format> FindFormat(PB_PixelFormat value) noexcept {
    Format format;
    format.value = value;
    if (value == kPB_CustomFormat) {
        return format;
    }
    const auto* const row = zynmediatypes::FindPixelFormatByConverterValue(static_cast<std::uint32_t>(value));
    if (row == nullptr) {
        return std::nullopt;
    }
    const std::optional<Packing> packing = PackingOf(row->format);
    if (!packing) {
        return std::nullopt;
    }
    const std::uint32_t properties = row->format.properties;
    const Storage storage = zynmediatypes::StorageOf(row->format);
    format.suite = row->format;
    format.packing = *packing;
    format.model = ModelOf(row->format);
    format.alpha = AlphaKindOf(row->format);
    format.linear = (properties & zynmediatypes::kProperty_Linear) != 0;
    format.fullRange = (properties & zynmediatypes::kProperty_FullRangeYUV) != 0;
    format.alphaFirst = (properties & zynmediatypes::kPropertyMask_Order) != 0;
    format.centredChroma = storage == Storage::PlanarMPEG4Field || storage == Storage::PlanarMPEG4Frame;
    format.fieldChroma = storage == Storage::PlanarMPEG2Field || storage == Storage::PlanarMPEG4Field;
    return format;
}

std::size_t BytesPerPixel(const Format& format) noexcept {
    switch (format.packing) {
    case Packing::Bytes:
        return 4;
    case Packing::Words:
        return 8;
    case Packing::Floats:
        return 16;
    case Packing::Pairs:
    case Packing::Groups:
    case Packing::Planar:
    case Packing::Compressed:
    case Packing::DvPlanes:
    case Packing::Opaque:
        break;
    }
    return 0;
}

std::uint64_t UsedRowBytes(const Format& format, int width) noexcept {
    const auto columns = static_cast<std::uint64_t>(width);
    if (format.packing == Packing::Pairs) {
        return (columns + 1) / 2 * 4;
    }
    if (format.packing == Packing::Groups) {
        return (columns + 5) / 6 * 16;
    }
    return columns * BytesPerPixel(format);
}

CodeRange AlphaCodes(const Format& format) noexcept {
    switch (format.packing) {
    case Packing::Words:
        return {0, 32768, 32768};
    case Packing::Groups:
        return {0, 1023, 1023};
    case Packing::Bytes:
    case Packing::Pairs:
    case Packing::Planar:
    case Packing::DvPlanes:
        return {0, 255, 255};
    case Packing::Floats:
    case Packing::Compressed:
    case Packing::Opaque:
        break;
    }
    return {0, 1, 0}; // floats have no codes
}

// ITU-R BT.601 and BT.709: luma 16 to 235 and chroma 16 to 240 in 8 bits, four times that in 10.
CodeRange LumaCodes(const Format& format) noexcept {
    const CodeRange whole = AlphaCodes(format);
    if (!format.IsYUV() || format.fullRange || whole.largest == 0) {
        return whole;
    }
    const double step = format.packing == Packing::Groups ? 4 : 1;
    return {16 * step, 219 * step, whole.largest};
}

CodeRange ChromaCodes(const Format& format) noexcept {
    const CodeRange whole = AlphaCodes(format);
    if (!format.IsYUV() || whole.largest == 0) {
        return whole;
    }
    const double step = format.packing == Packing::Groups ? 4 : 1;
    return {128 * step, format.fullRange ? 255 : 224 * step, whole.largest};
}

Dequantiser DequantiserOf(const CodeRange& range) noexcept {
    return {static_cast<float>(range.zero), static_cast<float>(1 / range.span)};
}

Quantiser QuantiserOf(const CodeRange& range) noexcept {
    // Adding 2^23 rounds halves to even. One unit in the last place of the largest codes lifts them above a half.
    const double lift = range.largest < 256 ? 0x1p-16 : range.largest < 1024 ? 0x1p-14 : 0x1p-9;
    return {static_cast<float>(range.span), static_cast<float>(range.zero + lift), static_cast<float>(range.largest)};
}

ComponentCodes CodesOf444(const Format& format) noexcept {
    const CodeRange chroma = ChromaCodes(format);
    return {{chroma, chroma, LumaCodes(format), AlphaCodes(format)}};
}

} // namespace PixelBlitter
