#include "dv/DvMerge.h"

#include "Convert.h"
#include "Scratch.h"
#include "dv/CoderPool.h"

#include <cstring>

namespace PixelBlitter::dv {
namespace {

// Copies the lines of one parity in every plane. Chroma lines alternate between the fields as luma lines do, in 4:2:0,
// too: each lies between two lines of its own field.
void CopyField(const SourcePicture& from, const DestinationPicture& to, bool odd) noexcept {
    const bool quarterWidth = to.format.dvChroma == zynmediatypes::Chroma::C411;
    const bool halfHeight = to.format.dvChroma == zynmediatypes::Chroma::C420;
    const auto chromaBytes = static_cast<std::size_t>(to.width / (quarterWidth ? 4 : 2));
    for (std::size_t plane = 0; plane < to.planes.size(); ++plane) {
        const int lines = plane > 0 && halfHeight ? to.height / 2 : to.height;
        for (int line = odd ? 1 : 0; line < lines; line += 2) {
            std::memcpy(to.planes[plane] + line * to.planeStrides[plane],
                        from.planes[plane] + line * from.planeStrides[plane],
                        plane == 0 ? static_cast<std::size_t>(to.width) : chromaBytes);
        }
    }
}

// Decodes a frame and stores one of its fields in the encoder's planes.
PB_Result DecodeField(const std::uint8_t* frame, const Kind& kind, const Format& format, const DestinationPicture& to,
                      bool odd, bool& outSameLayout) noexcept {
    const CoderLoan decoder(kind, Task::Decode);
    PB_Result result = decoder.Result();
    if (result == kPB_Success) {
        result = decoder->Decode(frame);
    }
    if (result != kPB_Success) {
        return result;
    }
    DestinationPicture planes = decoder->Planes(format);
    outSameLayout = planes.format.dvChroma == to.format.dvChroma;
    if (outSameLayout) {
        CopyField(ReadOnly(planes), to, odd);
        return kPB_Success;
    }
    // 625 lines in 4:1:1; an encoder's planes serve for the picture in the kind's own layout.
    const CoderLoan spare(kind, Task::Encode);
    result = spare.Result();
    if (result == kPB_Success) {
        result = spare->MakePlanes();
    }
    if (result == kPB_Success) {
        planes.format.value = kPB_NoFormat; // equal values would be copied
        result = ConvertPicture(ReadOnly(planes), spare->Planes(format));
    }
    if (result == kPB_Success) {
        CopyField(ReadOnly(spare->Planes(format)), to, odd);
    }
    return result;
}

// Everything but the picture stays as a has it.
void ReplacePicture(const Kind& kind, const std::uint8_t* a, const std::uint8_t* encoded,
                    std::uint8_t* destination) noexcept {
    for (std::uint32_t block = 0; block < kind.bytes / kBlockBytes; ++block) {
        const std::size_t at = std::size_t{block} * kBlockBytes;
        std::memmove(destination + at, (HoldsPicture(block) ? encoded : a) + at, kBlockBytes);
    }
}

PB_Result Weave(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* destination, const Kind& kind,
                const Format& format) noexcept {
    const std::optional<ScratchBlock> encoded = TakeScratch(kind.bytes);
    const CoderLoan encoder(kind, Task::Encode);
    PB_Result result = encoded ? encoder.Result() : kPB_OutOfMemory;
    if (result == kPB_Success) {
        result = encoder->MakePlanes();
    }
    if (result != kPB_Success) {
        return result;
    }
    const DestinationPicture woven = encoder->Planes(format);
    bool sameLayout = true;
    bool ignored = true;
    result = DecodeField(a, kind, format, woven, !kind.upperFieldFirst, sameLayout);
    if (result == kPB_Success) {
        result = DecodeField(b, kind, format, woven, kind.upperFieldFirst, ignored);
    }
    auto* const bytes = static_cast<std::uint8_t*>(encoded->get());
    if (result == kPB_Success) {
        result = encoder->Encode(bytes);
    }
    if (result != kPB_Success) {
        return result;
    }
    if (sameLayout) {
        ReplacePicture(kind, a, bytes, destination);
    } else {
        std::memcpy(destination, bytes, kind.bytes); // a's own blocks would announce another layout
    }
    return kPB_Success;
}

} // namespace

PB_Result Merge(const void* a, const void* b, void* destination, PB_PixelFormat value) noexcept {
    const std::optional<Format> format = FindFormat(value);
    const Kind* const kind = format ? KindOf(*format) : nullptr;
    if (kind == nullptr) {
        return kPB_UnsupportedFormat;
    }
    if (a == nullptr || b == nullptr || destination == nullptr) {
        return kPB_BadArgument;
    }
    if (!kind->interlaced) {
        std::memmove(destination, a, kind->bytes);
        return kPB_Success;
    }
    return Weave(static_cast<const std::uint8_t*>(a), static_cast<const std::uint8_t*>(b),
                 static_cast<std::uint8_t*>(destination), *kind, *format);
}

PB_PixelFormat FormatOfDV25(std::size_t frameBytes) noexcept {
    for (const PB_PixelFormat value : {0x1000821, 0x2000821}) { // 525 lines, 625 lines
        const std::optional<Format> format = FindFormat(value);
        const Kind* const kind = format ? KindOf(*format) : nullptr;
        if (kind != nullptr && kind->bytes == frameBytes) {
            return value;
        }
    }
    return kPB_NoFormat;
}

} // namespace PixelBlitter::dv
