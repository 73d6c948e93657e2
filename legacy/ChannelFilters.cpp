#include "ChannelFilters.h"

#include "RollingRows.h"
#include "RowWalk.h"
#include "ScratchPtr.h"

#include <cstdlib>

using namespace VF::Pixmaps;

namespace {

constexpr int kLargestWord = INT16_MAX;

int Scaled(int sum, float scale) noexcept {
    return static_cast<int>(static_cast<float>(sum) * scale);
}

// The smallest sum whose scaled value reaches a byte's; both grow with each other.
int FirstSumOf(int byte, int divisor, float scale) noexcept {
    int sum = byte * divisor;
    while (Scaled(sum, scale) < byte) {
        ++sum;
    }
    while (Scaled(sum - 1, scale) >= byte) {
        --sum;
    }
    return sum;
}

// Looks for a product of integers that gives the very bytes of the float product, by the sums at which the bytes
// change.
bool FindWordScale(int divisor, Convolution& convolution) noexcept {
    convolution.wordScale = static_cast<std::uint16_t>((32768 + divisor - 1) / divisor);
    convolution.wordLimit = 0;
    const auto product = [&](int sum) { return 2 * sum * convolution.wordScale >> 16; };
    for (int byte = 1; byte <= 255; ++byte) {
        const int first = FirstSumOf(byte, divisor, convolution.scale);
        if (first - 1 > kLargestWord) {
            break;
        }
        if (product(first - 1) != byte - 1 || (first <= kLargestWord && product(first) != byte)) {
            return false;
        }
        convolution.wordLimit = static_cast<std::int16_t>(std::min(first, kLargestWord));
    }
    return true;
}

std::uint64_t DistanceBetween(const void* a, const void* b) noexcept {
    const auto first = reinterpret_cast<std::uintptr_t>(a), second = reinterpret_cast<std::uintptr_t>(b);
    return first < second ? second - first : first - second;
}

SumWidth Prepare(const std::int16_t* kernel, Convolution& convolution) noexcept {
    std::copy_n(kernel, 9, convolution.weights);
    convolution.bias = kernel[kConvolveKernel_Bias];
    const int divisor = kernel[kConvolveKernel_Divisor];
    convolution.scale = divisor == 0 ? 0.0F : 1.0F / static_cast<float>(divisor);
    int largest = std::abs(int{convolution.bias});
    bool fitBytes = true;
    for (const int weight : convolution.weights) {
        largest += 255 * std::abs(weight);
        fitBytes = fitBytes && weight >= INT8_MIN && weight <= INT8_MAX;
    }
    return largest <= kLargestWord && fitBytes && divisor > 0 && FindWordScale(divisor, convolution) ? SumWidth::Words
                                                                                                     : SumWidth::Floats;
}

} // namespace

void bn_DoIndexMap(const void* inSource, void* outDestination, std::uint16_t inRowBytes, std::uint16_t inWidth,
                   std::uint16_t inHeight, const std::uint8_t* inRedMap, const std::uint8_t* inGreenMap,
                   const std::uint8_t* inBlueMap) {
    if (inRedMap == nullptr || inGreenMap == nullptr || inBlueMap == nullptr) {
        return;
    }
    const auto map = LookUpsOfThisMachine().mapColours;
    EachRun({static_cast<const std::uint8_t*>(inSource), static_cast<std::uint8_t*>(outDestination), inWidth, inHeight,
             inRowBytes, inRowBytes},
            4, 4,
            [=](const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels, const Transfer& transfer) {
                map(source, destination, pixels, inRedMap, inGreenMap, inBlueMap, transfer);
            });
}

void DoConvolve(const void* inSource, void* outDestination, const std::int16_t* inKernel, std::int32_t inRowBytes,
                std::int32_t inWidth, std::int32_t inHeight) {
    if (inSource == nullptr || outDestination == nullptr || inKernel == nullptr || inWidth <= 0 || inHeight <= 0 ||
        inRowBytes < std::int64_t{4} * inWidth) {
        return;
    }
    const std::size_t bytes = 4 * static_cast<std::size_t>(inWidth);
    constexpr auto kTogether = static_cast<std::int32_t>(kConvolvedTogether);
    using Window = RowWindow<kTogether>;
    const ScratchPtr scratch = NewScratch(
        std::max(static_cast<std::size_t>(inRowBytes) * 8 + 64, Window::SizeInBytes(bytes, 4, kConvolvePadding)));
    if (!scratch) {
        return;
    }
    Convolution convolution{};
    const auto convolve = KernelsOfThisMachine().convolve[static_cast<int>(Prepare(inKernel, convolution))];
    Window window(scratch.get(), static_cast<const std::uint8_t*>(inSource), bytes, inRowBytes, inHeight, 4,
                  kConvolvePadding);
    auto* const destination = static_cast<std::uint8_t*>(outDestination);
    // Pictures that overlap otherwise than whole change rows ahead, which are read row by row.
    const std::uint64_t distance = DistanceBetween(inSource, outDestination);
    const bool together =
        distance == 0 || distance >= static_cast<std::uint64_t>(inRowBytes) * static_cast<std::uint64_t>(inHeight);
    for (std::int32_t row = 0, count = 0; row < inHeight; row += count) {
        count = together ? std::min(kTogether, inHeight - row) : 1;
        convolve(window.Advance(row, count).data(), static_cast<std::size_t>(count),
                 destination + std::ptrdiff_t{row} * inRowBytes, inRowBytes, bytes, convolution);
    }
}
