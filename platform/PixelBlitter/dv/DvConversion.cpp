#include "dv/DvConversion.h"

#include "Convert.h"
#include "dv/CoderPool.h"

#include <cstdlib>

namespace PixelBlitter::dv {
namespace {

// Checks a side's kind, which is null for other formats, against what the caller stated.
PB_Result CheckSide(const Kind* kind, const SourcePicture& picture) noexcept {
    if (kind == nullptr) {
        return picture.format.Is444() || picture.format.IsSubsampled() ? kPB_Success : kPB_UnsupportedFormat;
    }
    if (!HasRaster(*kind, picture.width, picture.height)) {
        return kPB_UnsupportedGeometry;
    }
    return StatesWholeFrame(*kind, picture.stride) ? kPB_Success : kPB_BadArgument;
}

PB_Result CheckSides(const Kind* from, const SourcePicture& source, const Kind* to,
                     const SourcePicture& destination) noexcept {
    const PB_Result result = CheckSide(from, source);
    return result == kPB_Success ? CheckSide(to, destination) : result;
}

bool SameSize(const SourcePicture& a, const SourcePicture& b) noexcept {
    return a.width == b.width && a.height == b.height;
}

PB_Result ConvertPlanes(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                        int quality) noexcept {
    return SameSize(source, ReadOnly(destination)) ? ConvertPicture(source, destination)
                                                   : ScalePicture(source, destination, fields, quality);
}

PB_Result ConvertAndEncode(const SourcePicture& source, const Kind& kind, const DestinationPicture& destination,
                           const FieldPair& fields, int quality) noexcept {
    const CoderLoan encoder(kind, Task::Encode);
    PB_Result result = encoder.Result();
    if (result == kPB_Success) {
        result = encoder->MakePlanes();
    }
    if (result == kPB_Success) {
        result = ConvertPlanes(source, encoder->Planes(destination.format), fields, quality);
    }
    return result == kPB_Success ? encoder->Encode(destination.base) : result;
}

// The planes of a side for a plan: as they would be, without memory.
DestinationPicture Outlined(const Kind* kind, DestinationPicture picture) noexcept {
    if (kind != nullptr) {
        picture.format.packing = Packing::DvPlanes;
        picture.format.dvChroma = kind->chroma;
    }
    return picture;
}

std::uint64_t TemporaryBytes(const Kind* kind) noexcept {
    if (kind == nullptr) {
        return 0;
    }
    const std::uint64_t luma = static_cast<std::uint64_t>(kind->width) * static_cast<std::uint64_t>(kind->height);
    return kind->bytes + (kind->chroma == zynmediatypes::Chroma::C422 ? 2 * luma : luma * 3 / 2);
}

} // namespace

bool TakesPart(const SourcePicture& source, const SourcePicture& destination) noexcept {
    const bool any = KindOf(source.format) != nullptr || KindOf(destination.format) != nullptr;
    return any && !(source.format.value == destination.format.value && SameSize(source, destination));
}

PB_Result Convert(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                  int quality) noexcept {
    const Kind* const from = KindOf(source.format);
    const Kind* const to = KindOf(destination.format);
    if (const PB_Result result = CheckSides(from, source, to, ReadOnly(destination)); result != kPB_Success) {
        return result;
    }
    if (from == nullptr) {
        return ConvertAndEncode(source, *to, destination, fields, quality);
    }
    const CoderLoan decoder(*from, Task::Decode);
    PB_Result result = decoder.Result();
    if (result == kPB_Success) {
        result = decoder->Decode(source.base);
    }
    if (result != kPB_Success) {
        return result;
    }
    const SourcePicture planes = ReadOnly(decoder->Planes(source.format));
    return to == nullptr ? ConvertPlanes(planes, destination, fields, quality)
                         : ConvertAndEncode(planes, *to, destination, fields, quality);
}

void Outline(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields, int quality,
             PB_Plan& plan) {
    const Kind* const from = KindOf(source.format);
    const Kind* const to = KindOf(destination.format);
    plan.result = CheckSides(from, source, to, ReadOnly(destination));
    if (plan.result == kPB_Success && LoadedCodecLibrary() == nullptr) {
        plan.result = kPB_UnsupportedFormat;
    }
    if (plan.result != kPB_Success) {
        return;
    }
    const DestinationPicture read = Outlined(from, Writable(source));
    const DestinationPicture written = Outlined(to, destination);
    if (SameSize(source, ReadOnly(destination))) {
        OutlineConversion(ReadOnly(read), written, plan);
    } else {
        OutlineScale(ReadOnly(read), written, fields, quality, plan);
    }
    plan.path = (from ? "DV decode, " : "") + plan.path + (to ? ", DV encode" : "");
    plan.temporaryBytes += TemporaryBytes(from) + TemporaryBytes(to);
}

} // namespace PixelBlitter::dv
