#include "DepthConversion.h"

#include "BaseSuite.h"
#include "PixelBlitter.h"
#include "RowWalk.h"

#include <algorithm>

using namespace VF::Pixmaps;

namespace {

constexpr PB_PixelFormat kBGRA = 0x4;
constexpr PB_PixelFormat kARGB = 0x1004;
constexpr int kCopyQuality = 2;
constexpr int kConvertQuality = 4;

RowPair Rows(const void* source, void* destination, std::int32_t width, std::int32_t height,
             std::int32_t sourceRowBytes, std::int32_t destinationRowBytes) noexcept {
    return {static_cast<const std::uint8_t*>(source),
            static_cast<std::uint8_t*>(destination),
            width,
            height,
            sourceRowBytes,
            destinationRowBytes};
}

// Conversions that write more than they read are held up by stores past the caches, which a core does at a fixed pace:
// from and to the shared cache those of 1080p pictures took 1.1 to 2.1 times as long with them, from and to memory 0.9
// to 1.0. Pictures much larger are not cached.
constexpr std::uint64_t kLargestCached = std::uint64_t{16} << 20; // written bytes

template <class Run>
void EachWideningRun(const RowPair& rows, std::size_t sourcePixelBytes, const Run& run) {
    constexpr std::size_t kPixelBytes = 4;
    const bool cached =
        rows.IsEmpty() || kPixelBytes * rows.Pixels() * static_cast<std::uint64_t>(rows.height) <= kLargestCached;
    EachRun(rows, sourcePixelBytes, kPixelBytes,
            [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, Transfer transfer) {
                transfer.stream = transfer.stream && !cached;
                run(source, destination, pixels, transfer);
            });
}

} // namespace

std::int32_t Copy32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                    std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    return PB_ScaleConvert(inSource, inSourceRowBytes, inWidth, inHeight, kBGRA, 0, outDestination,
                           inDestinationRowBytes, inWidth, inHeight, kBGRA, 0, kCopyQuality);
}

std::int32_t _KxCopy32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                       std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    Copy32(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes);
    return 0;
}

void DepthCon32To16(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                    std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    EachRun(Rows(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes), 4, 2,
            KernelsOfThisMachine().depth.from32To555);
}

std::int32_t _KxDepthCon32To24(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                               std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    EachRun(Rows(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes), 4, 3,
            KernelsOfThisMachine().depth.from32To24);
    return 0;
}

std::int32_t DepthCon32To24(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                            std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    return CallSuite(kDepth32To24Entry, inSource, outDestination, inWidth, inHeight, inSourceRowBytes,
                     inDestinationRowBytes);
}

void DepthCon8To32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                   std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes, const std::uint32_t* inPalette) {
    if (inPalette == nullptr) {
        return;
    }
    // Kernels want a whole palette, and the caller's may end behind the last entry that is used.
    PaletteTables palette{};
    const auto* const entries = reinterpret_cast<const std::uint8_t*>(inPalette);
    std::size_t known = 0;
    constexpr std::size_t kPiece = 4096; // pixels, whose indexes stay in the first-level cache between both looks
    const auto largestByte = KernelsOfThisMachine().depth.largestByte;
    const auto convert = LookUpsOfThisMachine().from8To32;
    EachWideningRun(
        Rows(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes), 1,
        [&](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer& transfer) {
            for (std::size_t i = 0, count = 0; i < pixels; i += count) {
                count = std::min(known == 256 ? pixels : kPiece, pixels - i);
                const std::size_t used = known == 256 ? 256 : std::size_t{largestByte(source + i, count)} + 1;
                for (; known < used; ++known) {
                    palette.Set(known, entries + 4 * known);
                }
                convert(source + i, destination + 4 * i, count, palette, transfer);
            }
        });
}

void DepthCon16To32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                    std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    EachWideningRun(Rows(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes), 2,
                    KernelsOfThisMachine().depth.from555To32);
}

std::int32_t _KxDepthCon24To32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                               std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    EachWideningRun(Rows(inSource, outDestination, inWidth, inHeight, inSourceRowBytes, inDestinationRowBytes), 3,
                    KernelsOfThisMachine().depth.from24To32);
    return 0;
}

std::int32_t DepthCon24To32(const void* inSource, void* outDestination, std::int32_t inWidth, std::int32_t inHeight,
                            std::int32_t inSourceRowBytes, std::int32_t inDestinationRowBytes) {
    return CallSuite(kDepth24To32Entry, inSource, outDestination, inWidth, inHeight, inSourceRowBytes,
                     inDestinationRowBytes);
}

std::int32_t Con32ToQ32(const void* inSource, void* outDestination, std::int32_t inSourceRowBytes,
                        std::int32_t inDestinationRowBytes, std::int32_t inWidth, std::int32_t inHeight) {
    // Negated without a sign's overflow.
    const auto backwards = static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(inDestinationRowBytes));
    return PB_Convert(inSource, inSourceRowBytes, kBGRA, outDestination, backwards, kARGB, inWidth, inHeight,
                      kConvertQuality);
}

void A_AlphaToRGB(void* ioPixels, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes) {
    EachRun(Rows(ioPixels, ioPixels, inWidth, inHeight, inRowBytes, inRowBytes), 4, 4,
            KernelsOfThisMachine().depth.alphaToColour);
}

extern "C" std::int32_t KxCopy32(const void*, void*, std::int32_t, std::int32_t, std::int32_t, std::int32_t)
    __attribute__((alias("_KxCopy32")));
