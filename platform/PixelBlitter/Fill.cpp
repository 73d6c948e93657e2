// Fills: one unit of the format is made and stored over and over, by the processor's own repetition where the unit
// divides its word, else through a cached block that is copied.

#include "Convert.h"
#include "MemoryRegime.h"
#include "PixelBlitter.h"
#include "dv/DvFill.h"
#include "zyncore/Sanitizers.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace PixelBlitter;

namespace {

constexpr PB_PixelFormat kFloatBGRA = 0x104;
constexpr PB_PixelFormat kFloatVUYA = 0x905;
constexpr PB_PixelFormat kFloatVUYA709 = 0xB05;
constexpr PB_PixelFormat kPlanar = 0xA000831;
constexpr PB_PixelFormat kPlanar709 = 0xA000A31;

// The widest unit: six pixels of V210, or one of four floats.
constexpr std::size_t kUnitBytes = 16;
constexpr int kUnitPixels = 6;

// What repeats in the rows of a picture: for planar pictures one code per plane.
struct FillUnit {
    alignas(16) std::array<std::uint8_t, kUnitBytes> bytes{};
    std::size_t size = 0;
};

std::size_t UnitSize(const Format& format) noexcept {
    return format.packing == Packing::Planar ? 3 : static_cast<std::size_t>(UsedRowBytes(format, 1));
}

// What the processor repeats by itself, as fast as a memset: with nothing read, it does not fetch lines that it is
// going to overwrite, so the same stores serve pictures in the cache (3.5 times as fast as stores past the caches) and
// pictures in memory (as fast as those).
using RepeatedWord = std::uint64_t;

#if defined(__x86_64__)
constexpr bool kRepeatsWords = true;
void RepeatWord(RepeatedWord word, std::uint8_t* destination, std::uint64_t words) noexcept {
    asm volatile("rep stosq" : "+D"(destination), "+c"(words) : "a"(word) : "memory");
}
#else
constexpr bool kRepeatsWords = false;
void RepeatWord(RepeatedWord, std::uint8_t*, std::uint64_t) noexcept {}
#endif

// The sanitizers see what C++ writes.
constexpr bool kIsWatched = zyncore::detail::kAddressSanitizer || zyncore::detail::kThreadSanitizer;

// Starting a repetition takes as long as storing some hundred bytes.
constexpr std::uint64_t kShortRun = 512;

class Filler {
public:
    Filler(const FillUnit& unit, bool stream, const Kernels& kernels) noexcept
        : mRepeats(kRepeatsWords && !kIsWatched && sizeof(RepeatedWord) % unit.size == 0), mStream(stream && !mRepeats),
          mKernels(kernels) {
        for (std::size_t i = 0; i < mBlock.size(); i += unit.size) {
            std::copy_n(unit.bytes.begin(), unit.size, mBlock.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    ~Filler() {
        if (mStream) {
            mKernels.finishStreaming();
        }
    }
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

    void Fill(std::uint8_t* destination, std::uint64_t bytes) const noexcept {
        if (mRepeats && bytes > kShortRun) {
            RepeatedWord word = 0;
            std::memcpy(&word, mBlock.data(), sizeof word);
            RepeatWord(word, destination, bytes / sizeof word);
            std::memcpy(destination + bytes / sizeof word * sizeof word, mBlock.data(), bytes % sizeof word);
            return;
        }
        for (std::uint64_t done = 0; done < bytes; done += mBlock.size()) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(mBlock.size(), bytes - done));
            if (mStream) {
                mKernels.streamCopy(mBlock.data(), destination + done, count);
            } else {
                std::memcpy(destination + done, mBlock.data(), count);
            }
        }
    }

private:
    alignas(64) std::array<std::uint8_t, 8192> mBlock; // a multiple of every unit
    bool mRepeats;
    bool mStream;
    const Kernels& mKernels;
};

void FillPlanes(const DestinationPicture& picture, const FillUnit& unit, bool stream, const Kernels& kernels) noexcept {
    const auto fillPlane = [&](std::uint8_t* plane, std::uint64_t bytes, std::uint8_t code) {
        FillUnit one;
        one.bytes[0] = code;
        one.size = 1;
        Filler(one, stream, kernels).Fill(plane, bytes);
    };
    const std::uint64_t chroma =
        static_cast<std::uint64_t>(picture.ChromaWidth()) * static_cast<std::uint64_t>(picture.ChromaHeight());
    fillPlane(picture.base, static_cast<std::uint64_t>(picture.width) * static_cast<std::uint64_t>(picture.height),
              unit.bytes[0]);
    fillPlane(picture.ChromaRow(0, 0), chroma, unit.bytes[1]);
    fillPlane(picture.ChromaRow(1, 0), chroma, unit.bytes[2]);
}

void FillPicture(const DestinationPicture& picture, const FillUnit& unit) noexcept {
    const Kernels& kernels = KernelsOfThisMachine();
    const std::uint64_t bytes = PixelBytes(ReadOnly(picture));
    const bool stream = StreamsStores(bytes);
    if (picture.format.packing == Packing::Planar) {
        FillPlanes(picture, unit, stream, kernels);
        return;
    }
    const Filler filler(unit, stream, kernels);
    const std::uint64_t rowBytes = UsedRowBytes(picture.format, picture.width);
    if (picture.stride == static_cast<std::ptrdiff_t>(rowBytes)) {
        filler.Fill(picture.base, bytes);
        return;
    }
    for (int row = 0; row < picture.height; ++row) {
        filler.Fill(picture.MemoryRow(row), rowBytes);
    }
}

// One pixel of a colour as the unit of a format: the bytes themselves when the formats are equal, otherwise the pixel
// repeated over the unit and converted.
PB_Result MakeUnit(const Format& format, const void* colour, const Format& colourFormat, FillUnit& outUnit) noexcept {
    outUnit.size = UnitSize(format);
    if (format.value == colourFormat.value) {
        std::memcpy(outUnit.bytes.data(), colour, outUnit.size);
        return kPB_Success;
    }
    // The first pixel as floats of the colour's own model and light, which lose nothing, then a row of it.
    const PB_PixelFormat floats = colourFormat.model == ColourModel::RGB     ? kFloatBGRA
                                  : colourFormat.model == ColourModel::BT709 ? kFloatVUYA709
                                                                             : kFloatVUYA;
    const std::optional<Format> found = FindFormat(floats);
    if (!found) {
        return kPB_UnsupportedFormat;
    }
    std::array<std::array<float, 4>, kUnitPixels> pixels{};
    Format middle = *found;
    middle.alpha = colourFormat.alpha == AlphaKind::None ? AlphaKind::Straight : colourFormat.alpha;
    middle.linear = colourFormat.linear;
    const SourcePicture one{colourFormat, static_cast<const std::uint8_t*>(colour), 0, 1, 1};
    const DestinationPicture onePixel{middle, reinterpret_cast<std::uint8_t*>(pixels.data()), 0, 1, 1};
    if (const PB_Result result = ConvertPicture(one, onePixel); result != kPB_Success) {
        return result;
    }
    pixels.fill(pixels[0]);
    const int width = format.IsSubsampled() && format.packing != Packing::Planar ? kUnitPixels : 1;
    std::array<std::uint8_t, 64> converted{};
    const SourcePicture row{middle, reinterpret_cast<const std::uint8_t*>(pixels.data()), 0, width, 1};
    const PB_Result result = ConvertPicture(row, {format, converted.data(), 0, width, 1});
    std::copy_n(converted.begin(), outUnit.size, outUnit.bytes.begin());
    return result;
}

// DV pictures have the codes of planes.
PB_Result FillCompressed(const DestinationPicture& picture, const void* colour, const Format& colourFormat) noexcept {
    const std::optional<Format> planar = FindFormat(picture.format.model == ColourModel::BT709 ? kPlanar709 : kPlanar);
    if (!planar) {
        return kPB_UnsupportedFormat;
    }
    FillUnit unit;
    const PB_Result result = MakeUnit(*planar, colour, colourFormat, unit);
    return result == kPB_Success ? dv::Fill(picture, {unit.bytes[0], unit.bytes[1], unit.bytes[2]}) : result;
}

int FillWith(const PictureArguments& arguments, const void* colour, PB_PixelFormat colourFormat,
             bool needsAlpha) noexcept {
    if (IsEmpty(arguments)) {
        return kPB_Success;
    }
    SourcePicture picture;
    if (const PB_Result result = CheckPicture(arguments, picture); result != kPB_Success) {
        return result;
    }
    const std::optional<Format> from = FindFormat(colourFormat);
    if (!from || !(from->Is444() || from->IsSubsampled()) || picture.format.packing == Packing::Opaque ||
        (needsAlpha && picture.format.alpha == AlphaKind::None)) {
        return kPB_UnsupportedFormat;
    }
    if (colour == nullptr) {
        return kPB_BadArgument;
    }
    if (picture.format.packing == Packing::Compressed) {
        return FillCompressed(Writable(picture), colour, *from);
    }
    FillUnit unit;
    if (const PB_Result result = MakeUnit(picture.format, colour, *from, unit); result != kPB_Success) {
        return result;
    }
    FillPicture(Writable(picture), unit);
    return kPB_Success;
}

// Black and white of every format, said in B G R A floats.
constexpr float kOpaqueBlack[4] = {0, 0, 0, 1};
constexpr float kOpaqueWhite[4] = {1, 1, 1, 1};
constexpr float kTransparentBlack[4] = {0, 0, 0, 0};
constexpr float kTransparentWhite[4] = {1, 1, 1, 0};

} // namespace

int PB_FillWithOpaqueBlack(void* data, int rowBytes, int width, int height, PB_PixelFormat format) noexcept {
    return FillWith({data, rowBytes, width, height, format}, kOpaqueBlack, kFloatBGRA, false);
}

int PB_FillWithOpaqueWhite(void* data, int rowBytes, int width, int height, PB_PixelFormat format) noexcept {
    return FillWith({data, rowBytes, width, height, format}, kOpaqueWhite, kFloatBGRA, false);
}

int PB_FillWithTransparentBlack(void* data, int rowBytes, int width, int height, PB_PixelFormat format) noexcept {
    return FillWith({data, rowBytes, width, height, format}, kTransparentBlack, kFloatBGRA, true);
}

int PB_FillWithTransparentWhite(void* data, int rowBytes, int width, int height, PB_PixelFormat format) noexcept {
    return FillWith({data, rowBytes, width, height, format}, kTransparentWhite, kFloatBGRA, true);
}

int PB_FillWithColor(void* data, int rowBytes, int width, int height, PB_PixelFormat format, const void* color,
                     PB_PixelFormat colorFormat) noexcept {
    return FillWith({data, rowBytes, width, height, format}, color, colorFormat, false);
}
