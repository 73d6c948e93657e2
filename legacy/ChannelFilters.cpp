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

constexpr auto kTogether = static_cast<std::int32_t>(kConvolvedTogether);
using Window = RowWindow<kTogether>;

class Convolver {
public:
    Convolver(const std::int16_t* kernel, const void* source, void* destination, std::int32_t rowBytes,
              std::int32_t width, std::int32_t height) noexcept
        : mConvolve(KernelsOfThisMachine().convolve[static_cast<int>(Prepare(kernel, mConvolution))]),
          mSource(static_cast<const std::uint8_t*>(source)), mDestination(static_cast<std::uint8_t*>(destination)),
          mStep(rowBytes), mBytes(4 * static_cast<std::size_t>(width)), mHeight(height) {}

    void Run(std::uint8_t* scratch) noexcept {
        const std::uint64_t distance = Distance();
        if (distance >= static_cast<std::uint64_t>(mStep) * static_cast<std::uint64_t>(mHeight)) {
            mConvolution.ahead = kTogether * mStep;
            EachRows(kTogether, [&](std::int32_t row, std::int32_t count) { ConvolveApart(row, count); });
            return;
        }
        // Pictures that overlap otherwise than whole change rows ahead, which are read row by row.
        Window window(scratch, mSource, mBytes, mStep, mHeight, kPixelBytes, kConvolvePadding);
        EachRows(distance == 0 ? kTogether : 1, [&](std::int32_t row, std::int32_t count) {
            Convolve(window.Advance(row, count).data(), row, count, 0, mBytes);
        });
    }

private:
    static constexpr std::size_t kPixelBytes = 4;

    std::uint64_t Distance() const noexcept {
        const auto from = reinterpret_cast<std::uintptr_t>(mSource),
                   to = reinterpret_cast<std::uintptr_t>(mDestination);
        return from < to ? to - from : from - to;
    }
    template <class Rows>
    void EachRows(std::int32_t together, const Rows& rows) const noexcept {
        for (std::int32_t row = 0; row < mHeight; row += together) {
            rows(row, std::min(together, mHeight - row));
        }
    }
    const std::uint8_t* Row(std::int32_t row) const noexcept {
        return mSource + std::clamp(row, 0, mHeight - 1) * mStep;
    }
    void Convolve(const std::uint8_t* const* rows, std::int32_t row, std::int32_t count, std::size_t begin,
                  std::size_t end) const noexcept {
        mConvolve(rows, static_cast<std::size_t>(count), mDestination + row * mStep + begin, mStep, end - begin,
                  mConvolution);
    }

    // What lies inside of rows is read where it is.
    void ConvolveApart(std::int32_t row, std::int32_t count) const noexcept {
        const std::size_t inside = (mBytes - kPixelBytes) / kConvolveStep * kConvolveStep;
        if (inside <= kConvolveStep) {
            ConvolveCopies(row, count, 0, mBytes);
            return;
        }
        ConvolveCopies(row, count, 0, kConvolveStep);
        const std::uint8_t* rows[kTogether + 2];
        for (std::int32_t i = 0; i < count + 2; ++i) {
            rows[i] = Row(row + i - 1) + kConvolveStep;
        }
        Convolve(rows, row, count, kConvolveStep, inside);
        ConvolveCopies(row, count, inside, mBytes);
    }

    // At most two steps, whose neighbours beside the picture are to be repeated.
    void ConvolveCopies(std::int32_t row, std::int32_t count, std::size_t begin, std::size_t end) const noexcept {
        std::uint8_t copies[kTogether + 2][2 * kPixelBytes + 2 * kConvolveStep + kConvolvePadding] = {};
        const std::uint8_t* rows[kTogether + 2];
        for (std::int32_t i = 0; i < count + 2; ++i) {
            const std::uint8_t* const from = Row(row + i - 1);
            std::uint8_t* const to = copies[i] + kPixelBytes;
            std::memcpy(to - kPixelBytes, from + (begin == 0 ? 0 : begin - kPixelBytes), kPixelBytes);
            std::memcpy(to, from + begin, end - begin);
            std::memcpy(to + (end - begin), from + std::min(end, mBytes - kPixelBytes), kPixelBytes);
            rows[i] = to;
        }
        Convolve(rows, row, count, begin, end);
    }

    Convolution mConvolution{};
    ConvolveRows mConvolve;
    const std::uint8_t* mSource;
    std::uint8_t* mDestination;
    std::ptrdiff_t mStep;
    std::size_t mBytes;
    std::int32_t mHeight;
};

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
    Convolver convolver(inKernel, inSource, outDestination, inRowBytes, inWidth, inHeight);
    const ScratchPtr scratch =
        NewScratch(std::max(static_cast<std::size_t>(inRowBytes) * 8 + 64,
                            Window::SizeInBytes(4 * static_cast<std::size_t>(inWidth), 4, kConvolvePadding)));
    if (scratch) {
        convolver.Run(scratch.get());
    }
}
