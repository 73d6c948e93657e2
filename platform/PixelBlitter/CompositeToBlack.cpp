#include "CompositeToBlack.h"

#include "Alpha.h"
#include "Convert.h"
#include "FusedWeights.h"
#include "MemoryRegime.h"
#include "RowPlaces.h"
#include "Tiles.h"

#include <algorithm>

namespace PixelBlitter {
namespace {

// Both pictures, checked, with the source where nothing overwrites it.
struct Job {
    Format format;
    PictureArguments destination;
    RowPlaces from;
    RowPlaces to;
    RowExtent extent; ///< of bytes in all rows
    bool stream;

    std::uint8_t* Row(int row) const noexcept {
        return static_cast<std::uint8_t*>(const_cast<void*>(destination.data)) + row * to.stride;
    }
};

// The same pixels multiplied by their alpha. It is no caller's format.
Format Associated(const Format& straight) noexcept {
    Format format = straight;
    format.value = kPB_NoFormat;
    format.alpha = AlphaKind::Premultiplied;
    return format;
}

// 8-bit straight pixels in one pass: premultiplied, with 0 of alpha and all of 255 in its place.
void MultiplyBytes(const Job& job, const Kernels& kernels) noexcept {
    AlphaProduct product = AlphaProductBetween(job.format, Associated(job.format));
    const int alpha = job.format.alphaFirst ? 0 : 3;
    const std::uint32_t opaque = std::uint32_t{255} << (16 * (alpha / 2));
    (alpha % 2 == 0 ? product.evenOpaque : product.oddOpaque) = 0;
    (alpha % 2 == 0 ? product.evenZero : product.oddZero) |= opaque;
    const RowExtent extent = Joined(job.extent, {&job.from, &job.to});
    const Transfer transfer{job.stream, extent.count == 1 ? FetchDistance() : job.from.stride};
    for (int row = 0; row < extent.count; ++row) {
        kernels.fused.premultiply(job.from[row], job.Row(row), extent.bytes / 4, product, transfer);
    }
}

// With a weight, through floats.
void MultiplyTiles(const Job& job, const Kernels& kernels, float weight) noexcept {
    Dequantiser dequantisers[4];
    Quantiser quantisers[4];
    DequantisersInMemoryOrder(job.format, dequantisers);
    QuantisersInMemoryOrder(job.format, quantisers);
    const std::size_t pixelBytes = BytesPerPixel(job.format);
    const bool straight = job.format.alpha == AlphaKind::Straight;
    alignas(64) float samples[4][kTilePixels + kPlanePadding];
    float* const planes[4] = {samples[0], samples[1], samples[2], samples[3]};
    for (int row = 0; row < job.extent.count; ++row) {
        for (std::size_t at = 0; at < job.extent.bytes; at += kTilePixels * pixelBytes) {
            const std::size_t count = std::min(kTilePixels, (job.extent.bytes - at) / pixelBytes);
            Unpack444(kernels, job.format, job.from[row] + at, planes, count, dequantisers);
            std::transform(planes[3], planes[3] + count, planes[3],
                           [=](float alpha) { return straight ? alpha * weight : weight; });
            kernels.premultiply(planes, count);
            kernels.setToOne(planes[3], count);
            Pack444(kernels, job.format, planes, job.Row(row) + at, count, quantisers);
        }
    }
}

} // namespace

PB_Result CompositeToBlack(const PictureArguments& source, const PictureArguments& destination, float weight) noexcept {
    const std::optional<Format> format = FindFormat(source.format);
    if (!format || !format->Is444()) {
        return kPB_UnsupportedFormat;
    }
    for (const PictureArguments* const picture : {&source, &destination}) {
        if (const PB_Result result = CheckPlace(*picture, *format); result != kPB_Success) {
            return result;
        }
    }
    if (weight >= 1 && format->alpha == AlphaKind::Premultiplied) {
        return SetAlpha(source, destination, 1);
    }
    if (weight >= 1 && format->alpha == AlphaKind::None) {
        return ConvertPicture(CheckedPicture(source, *format), Writable(CheckedPicture(destination, *format)));
    }
    if (weight >= 1 && format->packing != Packing::Bytes) {
        return MultiplyByAlpha(source, destination);
    }
    Job job{*format, destination, PlacesOf(source, *format), PlacesOf(destination, *format), ExtentOf(source, *format),
            false};
    // What is written in place has just been read into the caches.
    job.stream = StreamsStores(2 * job.extent.Total()) && job.from != job.to;
    const std::optional<ScratchBlock> copy = MoveApart(job.from, job.to, job.extent);
    if (!copy) {
        return kPB_OutOfMemory;
    }
    const Kernels& kernels = KernelsOfThisMachine();
    if (!(weight >= 1)) {
        MultiplyTiles(job, kernels, weight > 0 ? weight : 0);
        return kPB_Success;
    }
    MultiplyBytes(job, kernels);
    if (job.stream) {
        kernels.finishStreaming();
    }
    return kPB_Success;
}

} // namespace PixelBlitter
