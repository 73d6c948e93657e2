#include "PixelBlitter.h"

#include "Alpha.h"
#include "CompositeToBlack.h"
#include "Convert.h"
#include "MaskComposite.h"
#include "MemoryRegime.h"
#include "Mix.h"
#include "Scale.h"
#include "Warp.h"
#include "dv/CoderPool.h"
#include "dv/DvConversion.h"
#include "dv/DvFill.h"
#include "dv/DvMerge.h"
#include "scale/Resampler.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

using namespace PixelBlitter;

namespace {

std::atomic<int> sUsers{0};

// Counts one user less; true when it was the last. There may be none.
bool DropLastUser() noexcept {
    int users = sUsers.load(std::memory_order_relaxed);
    while (users > 0) {
        if (sUsers.compare_exchange_weak(users, users - 1, std::memory_order_acq_rel)) {
            return users == 1;
        }
    }
    return false;
}

std::uint64_t Magnitude(int value) noexcept {
    return static_cast<std::uint64_t>(value < 0 ? -std::int64_t{value} : std::int64_t{value});
}

// Equal formats whose bytes mean nothing to us, or mean a whole compressed picture.
int MoveOneRun(const void* source, void* destination, std::uint64_t bytes) noexcept {
    if (source == nullptr || destination == nullptr) {
        return kPB_BadArgument;
    }
    std::memmove(destination, source, bytes);
    return kPB_Success;
}

// What a stride says about the size of a whole image; 0 says nothing.
std::uint64_t LimitByStride(std::uint64_t bytes, int rowBytes) noexcept {
    return rowBytes == 0 ? bytes : std::min(bytes, Magnitude(rowBytes));
}

PB_Result CheckBoth(const PictureArguments& source, const PictureArguments& destination, SourcePicture& outSource,
                    SourcePicture& outDestination) noexcept {
    const PB_Result result = CheckPicture(source, outSource);
    return result == kPB_Success ? CheckPicture(destination, outDestination) : result;
}

int ConvertSameSize(const PictureArguments& source, const PictureArguments& destination) noexcept {
    if (source.format == kPB_CustomFormat && destination.format == kPB_CustomFormat) {
        return MoveOneRun(source.data, const_cast<void*>(destination.data),
                          std::min(Magnitude(source.rowBytes), Magnitude(destination.rowBytes)));
    }
    SourcePicture from;
    SourcePicture to;
    if (const PB_Result result = CheckBoth(source, destination, from, to); result != kPB_Success) {
        return result;
    }
    return dv::TakesPart(from, to) ? dv::Convert(from, Writable(to), {}, 0) : ConvertPicture(from, Writable(to));
}

template <class Void>
int AddressOf(Void* buffer, int rowBytes, int width, int height, PB_PixelFormat value, int left, int top,
              Void** outStart) noexcept {
    if (width <= 0 || height <= 0) {
        return kPB_Success;
    }
    const std::optional<Format> format = FindFormat(value);
    if (!format) {
        return kPB_UnsupportedFormat;
    }
    if (buffer == nullptr || outStart == nullptr || left < 0 || top < 0) {
        return kPB_BadArgument;
    }
    if (!format->HasRows()) {
        // Callers cut the size of a whole image to the 32 bits of a stride.
        const std::uint64_t size = PB_PixelFormatSize(value, width, height);
        const bool whole = format->packing == Packing::Opaque ||
                           static_cast<std::uint32_t>(size) == static_cast<std::uint32_t>(rowBytes);
        if (left != 0 || top != 0 || !whole) {
            return kPB_BadArgument;
        }
        *outStart = buffer;
        return kPB_Success;
    }
    const std::int64_t right = std::int64_t{left} + width;
    if (right > INT32_MAX) {
        return kPB_BadArgument;
    }
    if ((height > 1 || top > 0) && PB_PixelFormatSize(value, static_cast<int>(right), 1) > Magnitude(rowBytes)) {
        return kPB_BadArgument;
    }
    std::int64_t leftBytes = 0;
    if (format->packing == Packing::Pairs) {
        leftBytes = std::int64_t{left} / 2 * 4;
    } else if (format->packing == Packing::Groups) {
        leftBytes = std::int64_t{left} / 6 * 16;
    } else {
        leftBytes = left * static_cast<std::int64_t>(BytesPerPixel(*format));
    }
    using Byte = std::conditional_t<std::is_const_v<Void>, const std::uint8_t, std::uint8_t>;
    const std::int64_t offset = std::int64_t{top} * rowBytes + leftBytes; // within 2^62 and 2^35
    if (offset < 0 && static_cast<std::uint64_t>(-offset) > reinterpret_cast<std::uintptr_t>(buffer)) {
        return kPB_BadArgument; // before the first address that there is
    }
    *outStart = static_cast<Byte*>(buffer) + offset;
    return kPB_Success;
}

} // namespace

int PB_Initialize() noexcept {
    sUsers.fetch_add(1, std::memory_order_relaxed);
    return kPB_Success;
}

void PB_Terminate() noexcept {
    if (DropLastUser()) {
        ReleaseResampleTables();
        dv::CloseIdleCoders();
        dv::ReleaseFillImages();
    }
}

std::uint64_t PB_PixelFormatSize(PB_PixelFormat format, int width, int height) noexcept {
    const auto* const row = zynmediatypes::FindPixelFormatByConverterValue(static_cast<std::uint32_t>(format));
    return row ? zynmediatypes::PixelFormatSize(row->format, width, height) : 0;
}

bool PB_IsOriginBottomLeft(PB_PixelFormat format) noexcept {
    const std::optional<Format> found = FindFormat(format);
    return found && found->HasRows();
}

int PB_ClipBufferToRect(const void* buffer, int rowBytes, int width, int height, PB_PixelFormat format, int left,
                        int top, const void** outStart) noexcept {
    return AddressOf(buffer, rowBytes, width, height, format, left, top, outStart);
}

int PB_ClipBufferToRect(void* buffer, int rowBytes, int width, int height, PB_PixelFormat format, int left, int top,
                        void** outStart) noexcept {
    return AddressOf(buffer, rowBytes, width, height, format, left, top, outStart);
}

int PB_Convert(const void* source, int sourceRowBytes, PB_PixelFormat sourceFormat, void* destination,
               int destinationRowBytes, PB_PixelFormat destinationFormat, int width, int height,
               int /*quality*/) noexcept {
    const PictureArguments from{source, sourceRowBytes, width, height, sourceFormat};
    const PictureArguments to{destination, destinationRowBytes, width, height, destinationFormat};
    if (IsEmpty(from)) {
        return kPB_Success;
    }
    const std::optional<Format> format = FindFormat(sourceFormat);
    if (format && sourceFormat == destinationFormat && !format->HasRows() && format->packing != Packing::Opaque) {
        SourcePicture whole;
        if (const PB_Result result = CheckBoth(from, to, whole, whole); result != kPB_Success) {
            return result;
        }
        // A caller whose block holds less than the format says states that as its stride.
        return MoveOneRun(source, destination,
                          LimitByStride(LimitByStride(PixelBytes(whole), sourceRowBytes), destinationRowBytes));
    }
    return ConvertSameSize(from, to);
}

int PB_ScaleConvert(const void* source, int sourceRowBytes, int sourceWidth, int sourceHeight,
                    PB_PixelFormat sourceFormat, int sourceFieldType, void* destination, int destinationRowBytes,
                    int destinationWidth, int destinationHeight, PB_PixelFormat destinationFormat,
                    int destinationFieldType, int quality) noexcept {
    const PictureArguments from{source, sourceRowBytes, sourceWidth, sourceHeight, sourceFormat};
    const PictureArguments to{destination, destinationRowBytes, destinationWidth, destinationHeight, destinationFormat};
    if (IsEmpty(from) || IsEmpty(to)) {
        return kPB_Success;
    }
    if (sourceWidth == destinationWidth && sourceHeight == destinationHeight) {
        return ConvertSameSize(from, to);
    }
    SourcePicture checkedSource;
    SourcePicture checkedDestination;
    if (const PB_Result result = CheckBoth(from, to, checkedSource, checkedDestination); result != kPB_Success) {
        return result;
    }
    const FieldPair fields = ResolveFields(sourceFieldType, destinationFieldType);
    if (dv::TakesPart(checkedSource, checkedDestination)) {
        return dv::Convert(checkedSource, Writable(checkedDestination), fields, quality);
    }
    return ScalePicture(checkedSource, Writable(checkedDestination), fields, quality);
}

int PB_CrossDissolve(const void* a, int aRowBytes, PB_PixelFormat aFormat, const void* b, int bRowBytes,
                     PB_PixelFormat bFormat, void* destination, int destinationRowBytes,
                     PB_PixelFormat destinationFormat, int width, int height, float weight, int /*quality*/) noexcept {
    const PictureArguments first{a, aRowBytes, width, height, aFormat};
    const PictureArguments second{b, bRowBytes, width, height, bFormat};
    const PictureArguments to{destination, destinationRowBytes, width, height, destinationFormat};
    if (IsEmpty(to)) {
        return kPB_Success;
    }
    return aFormat == destinationFormat && bFormat == destinationFormat ? MixPictures(first, second, to, weight)
                                                                        : kPB_UnsupportedFormat;
}

void PB_CopyMemory(void* destination, const void* source, std::size_t bytes) noexcept {
    if (bytes == 0 || destination == nullptr || source == nullptr) {
        return;
    }
    const auto from = reinterpret_cast<std::uintptr_t>(source);
    const auto to = reinterpret_cast<std::uintptr_t>(destination);
    if (!StreamsStores(2 * std::uint64_t{bytes}) || (from < to + bytes && to < from + bytes)) {
        std::memmove(destination, source, bytes);
        return;
    }
    const Kernels& kernels = KernelsOfThisMachine();
    kernels.copyAhead(static_cast<const std::uint8_t*>(source), static_cast<std::uint8_t*>(destination), bytes,
                      FetchDistance());
    kernels.finishStreaming();
}

int PB_MergeDV(const void* a, const void* b, void* destination, std::size_t frameBytes, int /*quality*/) noexcept {
    const PB_PixelFormat format = dv::FormatOfDV25(frameBytes);
    return format == kPB_NoFormat ? kPB_BadArgument : dv::Merge(a, b, destination, format);
}

int PB_MergeDVCPRO(const void* a, const void* b, void* destination, PB_PixelFormat format, int /*quality*/) noexcept {
    return dv::Merge(a, b, destination, format);
}

int PB_InvertAlpha(const void* source, int sourceRowBytes, void* destination, int destinationRowBytes,
                   PB_PixelFormat format, int width, int height) noexcept {
    const PictureArguments from{source, sourceRowBytes, width, height, format};
    return IsEmpty(from) ? kPB_Success : InvertAlpha(from, {destination, destinationRowBytes, width, height, format});
}

int PB_CopyAndSetAlpha(const void* source, int sourceRowBytes, void* destination, int destinationRowBytes,
                       PB_PixelFormat format, int width, int height, float alpha) noexcept {
    const PictureArguments from{source, sourceRowBytes, width, height, format};
    return IsEmpty(from) ? kPB_Success
                         : SetAlpha(from, {destination, destinationRowBytes, width, height, format}, alpha);
}

int PB_OneBitMaskComposite(const void* a, int aRowBytes, PB_PixelFormat aFormat, const void* b, int bRowBytes,
                           PB_PixelFormat bFormat, const void* mask, int maskRowBytes, int startBit, void* destination,
                           int destinationRowBytes, PB_PixelFormat destinationFormat, int width, int height,
                           int /*quality*/) noexcept {
    const PictureArguments to{destination, destinationRowBytes, width, height, destinationFormat};
    return IsEmpty(to)
               ? kPB_Success
               : CompositeThroughMask({a, aRowBytes, width, height, aFormat}, {b, bRowBytes, width, height, bFormat},
                                      {mask, maskRowBytes, startBit}, to);
}

int PB_CompositeToBlack(const void* source, int sourceRowBytes, PB_PixelFormat sourceFormat, void* destination,
                        int destinationRowBytes, PB_PixelFormat destinationFormat, int width, int height, float weight,
                        int /*quality*/) noexcept {
    const PictureArguments from{source, sourceRowBytes, width, height, sourceFormat};
    const PictureArguments to{destination, destinationRowBytes, width, height, destinationFormat};
    if (IsEmpty(to)) {
        return kPB_Success;
    }
    return sourceFormat == destinationFormat ? CompositeToBlack(from, to, weight) : kPB_UnsupportedFormat;
}

int PB_WarpAffineQuad(int sourceWidth, int sourceHeight, const void* source, int sourceRowBytes, PB_Point sourceOrigin,
                      const PB_Corner sourceCorners[4], void* destination, int destinationRowBytes,
                      PB_Point destinationOrigin, const PB_Corner destinationCorners[4], PB_Point destinationSize,
                      PB_PixelFormat sourceFormat, int opacity, int bilinear, int clipped,
                      PB_PixelFormat destinationFormat, int setting0, int setting1, int setting2,
                      int setting3) noexcept {
    const PictureArguments from{source, sourceRowBytes, sourceWidth, sourceHeight, sourceFormat};
    const PictureArguments to{destination, destinationRowBytes, destinationSize.x, destinationSize.y,
                              destinationFormat};
    if (IsEmpty(from) || IsEmpty(to)) {
        return kPB_Success;
    }
    const bool known = opacity == 255 && bilinear == 1 && clipped == 1 && setting0 == 0 && setting1 == 0 &&
                       setting2 == 1 && setting3 == 0;
    if (!known || sourceCorners == nullptr || destinationCorners == nullptr) {
        return kPB_BadArgument;
    }
    const auto inPicture = [](const PB_Corner corners[4], PB_Point origin) {
        Quad quad;
        for (std::size_t i = 0; i < quad.size(); ++i) {
            quad[i] = {corners[i].x - origin.x, corners[i].y - origin.y};
        }
        return quad;
    };
    return WarpPicture(from, inPicture(sourceCorners, sourceOrigin), to,
                       inPicture(destinationCorners, destinationOrigin));
}

PB_Plan PB_PlanScaleConvert(int sourceWidth, int sourceHeight, PB_PixelFormat sourceFormat, int sourceFieldType,
                            int destinationWidth, int destinationHeight, PB_PixelFormat destinationFormat,
                            int destinationFieldType, int quality) {
    PB_Plan plan;
    plan.filter = "none";
    // Any address will do: nothing is read or written.
    unsigned char nowhere = 0;
    const auto packed = [](PB_PixelFormat format, int width) {
        return static_cast<int>(std::min<std::uint64_t>(PB_PixelFormatSize(format, width, 1), INT32_MAX));
    };
    const PictureArguments from{&nowhere, packed(sourceFormat, sourceWidth), sourceWidth, sourceHeight, sourceFormat};
    const PictureArguments to{&nowhere, packed(destinationFormat, destinationWidth), destinationWidth,
                              destinationHeight, destinationFormat};
    if (IsEmpty(from) || IsEmpty(to)) {
        plan.path = "nothing";
        return plan;
    }
    SourcePicture source;
    SourcePicture destination;
    plan.result = CheckBoth(from, to, source, destination);
    if (plan.result != kPB_Success) {
        return plan;
    }
    plan.bytesMoved = PixelBytes(source) + PixelBytes(destination);
    const FieldPair fields = ResolveFields(sourceFieldType, destinationFieldType);
    if (dv::TakesPart(source, destination)) {
        dv::Outline(source, Writable(destination), fields, quality, plan);
    } else if (sourceWidth != destinationWidth || sourceHeight != destinationHeight) {
        OutlineScale(source, Writable(destination), fields, quality, plan);
    } else {
        OutlineConversion(source, Writable(destination), plan);
    }
    return plan;
}
