// Depth conversions, masked and blended copies, convolutions, colour maps and moves of alpha on 1080p pictures, beside
// OpenCV's filter2D and LUT where that is installed (they round, ours truncates). Turns.h says how times are taken.
//
// Usage: bench_channels [turns]

#include "AlphaChannels.h"
#include "ChannelFilters.h"
#include "DepthConversion.h"
#include "MaskedCopy.h"
#include "Record.h"
#include "TPixCopy.h"
#include "WindowsApi_Memory.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <span>

#ifdef BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace pixmapbench;

constexpr int kRow8 = kWidth, kRow16 = 2 * kWidth, kRow24 = 3 * kWidth, kRow32 = 4 * kWidth;
constexpr std::uint16_t kHalf = kTPixCopy_Blend | 128;
static_assert(int{kTPixCopy_Blend} == int{kPixelCopy_Blend});

struct Job {
    const char* name;
    double moved; // bytes of a pixel that are read and written
    std::function<void(const Pictures&)> ours;
    std::function<void(const Pictures&)> openCV = nullptr;
};

std::vector<std::uint8_t> Noise(std::size_t bytes) {
    std::vector<std::uint8_t> noise(bytes);
    for (std::size_t i = 0; i < bytes; ++i) {
        noise[i] = static_cast<std::uint8_t>(i * 2654435761U >> 24);
    }
    return noise;
}

// One byte a pixel. Runs of 0 and of 255 between edges, as mattes have them.
std::vector<std::uint8_t> Mattes() {
    std::vector<std::uint8_t> mattes = Noise(kPixels * kPictures);
    for (std::size_t i = 0; i < mattes.size(); ++i) {
        const std::size_t place = i % 256;
        mattes[i] = place < 110 ? 0 : place < 128 ? mattes[i] : place < 238 ? 255 : mattes[i];
    }
    return mattes;
}

struct FreeGlobal {
    void operator()(HGLOBAL global) const { GlobalFree(global); }
};
using Global = std::unique_ptr<std::remove_pointer_t<HGLOBAL>, FreeGlobal>;

Global BitMask() {
    const std::vector<std::uint8_t> noise = Noise(kPixels / 8);
    Global global(GlobalAlloc(GHND, noise.size()));
    std::copy(noise.begin(), noise.end(), static_cast<std::uint8_t*>(GlobalLock(global.get())));
    GlobalUnlock(global.get());
    return global;
}

using Kernel = std::array<std::int16_t, kConvolveKernel_Numbers>;
constexpr Kernel kWords{1, 2, 1, 2, 4, 2, 1, 2, 1, 0, 16};
constexpr Kernel kDwords{100, 200, 100, 200, 400, 200, 100, 200, 100, 0, 1600};
constexpr Kernel kFloats{-4200, -4200, -4200, -4200, 32767, -4200, -4200, -4200, -4200, 0, 4096};

Job Convolution(const char* name, const Kernel& kernel) {
    Job job{name, 8, [&kernel](const Pictures& p) { DoConvolve(p.a, p.to, kernel.data(), kRow32, kWidth, kHeight); }};
#ifdef BENCH_WITH_OPENCV
    job.openCV = [&kernel](const Pictures& p) {
        cv::Mat weights(3, 3, CV_32F);
        for (int i = 0; i < 9; ++i) {
            weights.at<float>(i / 3, i % 3) = static_cast<float>(kernel[static_cast<std::size_t>(i)]) / kernel[10];
        }
        const cv::Mat source(kHeight, kWidth, CV_8UC4, p.a);
        cv::Mat destination(kHeight, kWidth, CV_8UC4, p.to);
        cv::filter2D(source, destination, -1, weights, {-1, -1}, 0, cv::BORDER_REPLICATE);
    };
#endif
    return job;
}

Job ColourMap(std::span<const std::uint8_t> map) {
    Job job{"bn_DoIndexMap", 8, [map](const Pictures& p) {
                bn_DoIndexMap(p.a, p.to, kRow32, kWidth, kHeight, map.data(), map.data(), map.data());
            }};
#ifdef BENCH_WITH_OPENCV
    cv::Mat tables(1, 256, CV_8UC4);
    for (int i = 0; i < 256; ++i) {
        const std::uint8_t to = map[static_cast<std::size_t>(i)];
        tables.at<cv::Vec4b>(0, i) = {to, to, to, static_cast<std::uint8_t>(i)};
    }
    job.openCV = [tables](const Pictures& p) {
        const cv::Mat source(kHeight, kWidth, CV_8UC4, p.a);
        cv::Mat destination(kHeight, kWidth, CV_8UC4, p.to);
        cv::LUT(source, tables, destination);
    };
#endif
    return job;
}

std::function<void(const Pictures&)> Copy(std::uint16_t mode, HGLOBAL mask) {
    return [=](const Pictures& p) {
        Record from(p.a), to(p.to);
        MyCopyPix(from.Get(), to.Get(), from.Bounds(), to.Bounds(), mode, mask);
    };
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    std::printf("milliseconds and ratio to memcpy, hot / cold\n");
#ifdef BENCH_WITH_OPENCV
    cv::setNumThreads(1);
#endif
    const std::vector<std::uint8_t> palette = Noise(1024), map = Noise(256);
    std::vector<std::uint8_t> mattes = Mattes();
    const auto matte = [&](const Pictures& p) { return mattes.data() + p.index * kPixels; };
    const Global bits = BitMask();
    const void* const bytesOfBits = GlobalLock(bits.get());
    const auto maskedRecords = [=](std::uint16_t mode) {
        return [=](const Pictures& p) {
            Record from(p.a), to(p.to);
            CopyMaskTPix(from.Get(), to.Get(), from.Bounds(), to.Bounds(), mode, bytesOfBits);
        };
    };
    const Job jobs[] = {
        {"KxCopy32", 8, [](const Pictures& p) { KxCopy32(p.a, p.to, kWidth, kHeight, kRow32, kRow32); }},
        {"DepthCon32To16", 6, [](const Pictures& p) { DepthCon32To16(p.a, p.to, kWidth, kHeight, kRow32, kRow16); }},
        {"DepthCon16To32", 6, [](const Pictures& p) { DepthCon16To32(p.a, p.to, kWidth, kHeight, kRow16, kRow32); }},
        {"DepthCon32To24", 7, [](const Pictures& p) { _KxDepthCon32To24(p.a, p.to, kWidth, kHeight, kRow32, kRow24); }},
        {"DepthCon24To32", 7, [](const Pictures& p) { _KxDepthCon24To32(p.a, p.to, kWidth, kHeight, kRow24, kRow32); }},
        {"DepthCon8To32", 5,
         [&](const Pictures& p) {
             DepthCon8To32(p.a, p.to, kWidth, kHeight, kRow8, kRow32,
                           reinterpret_cast<const std::uint32_t*>(palette.data()));
         }},
        {"Con32ToQ32", 8,
         [](const Pictures& p) {
             Con32ToQ32(p.a, p.to + (kHeight - 1) * std::size_t{kRow32}, kRow32, kRow32, kWidth, kHeight);
         }},
        {"CopyMask8", 13,
         [=](const Pictures& p) {
             CopyMask8(p.a, p.to, kWidth, kHeight, kRow32, kRow32, kRow8, matte(p) + (kHeight - 1) * kRow8);
         }},
        {"CopyMaskTPix", 12.125, maskedRecords(0)},
        {"CopyMaskTPix, blended", 12.125, maskedRecords(kHalf)},
        {"MyCopyPix", 8, Copy(0, nullptr)},
        {"MyCopyPix, blended", 12, Copy(kHalf, nullptr)},
        {"MyCopyPix, bits", 12.125, Copy(kTPixCopy_BitMask, bits.get())},
        {"MyCopyPix, bits, blended", 12.125, Copy(kTPixCopy_BitMask | kHalf, bits.get())},
        {"MyCopyPix, bytes", 13,
         [=](const Pictures& p) {
             Record from(p.a), to(p.to), mask(matte(p), 1);
             MyCopyPix(from.Get(), to.Get(), from.Bounds(), to.Bounds(), kTPixCopy_ByteMask, mask.Hand());
         }},
        Convolution("DoConvolve, words", kWords),
        Convolution("DoConvolve, double words", kDwords),
        Convolution("DoConvolve, floats", kFloats),
        ColourMap(map),
        {"AlphaToRGB", 8, [](const Pictures& p) { AlphaToRGB(Record(p.to).Hand()); }},
        {"AlphaToGreyBuffer", 5, [](const Pictures& p) { AlphaToGreyBuffer(Record(p.a).Hand(), p.to); }},
        {"GreyBufferToAlpha", 9, [](const Pictures& p) { GreyBufferToAlpha(Record(p.to).Hand(), p.a); }},
        {"EdgeReconstructAlphas", 11,
         [=](const Pictures& p) { EdgeReconstructAlphas(p.a, p.b, p.to, matte(p), kWidth, kHeight, kRow32); }},
    };
    Memory memory(4);
    for (const Job& job : jobs) {
        std::vector<Contestant> contestants{{"ours", job.ours}};
        if (job.openCV) {
            contestants.push_back({"OpenCV", job.openCV});
        }
        Run(job.name, static_cast<std::size_t>(job.moved * static_cast<double>(kPixels)), memory,
            std::move(contestants), turns);
    }
    GlobalUnlock(bits.get());
}
