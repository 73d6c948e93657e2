#include "FillUnit.h"

#include <algorithm>

namespace DK::Details {
namespace {

/// A multiple of what any format repeats in: pairs, groups of six.
constexpr int kSampleWidth = 12;
constexpr std::size_t kLargestPixel = 16;

bool Repeats(const std::uint8_t* bytes, std::size_t count, std::size_t period) noexcept {
    return std::equal(bytes + period, bytes + count, bytes);
}

} // namespace

std::uint64_t UsedRowBytes(zynmediatypes::PixelFormat format, int width) noexcept {
    if (zynmediatypes::PrecisionOf(format) == zynmediatypes::Precision::Bits10) {
        return (static_cast<std::uint64_t>(width) + 5) / 6 * 16; // V210 pads its rows behind whole groups
    }
    return zynmediatypes::PixelFormatSize(format, width, 1);
}

int MakeFillUnit(const FillJob& job, FillUnit& outUnit) noexcept {
    std::array<std::uint8_t, kSampleWidth * kLargestPixel> row{};
    const int result = job.fill(row.data(), 0, kSampleWidth, 1, job.converterFormat);
    if (result != kPB_Success) {
        return CodeOfConverterResult(result);
    }
    const std::size_t count = std::min<std::size_t>(UsedRowBytes(job.format, kSampleWidth), row.size());
    for (outUnit.size = 1; outUnit.size < outUnit.bytes.size(); outUnit.size *= 2) {
        if (Repeats(row.data(), count, outUnit.size)) {
            break;
        }
    }
    std::copy_n(row.begin(), outUnit.bytes.size(), outUnit.bytes.begin());
    return kResult_Success;
}

int MakePlaneCodes(const FillJob& job, std::array<std::uint8_t, 3>& outCodes) noexcept {
    std::array<std::uint8_t, 6> picture{}; // 2x2 pixels: four of luma, one of each chroma
    const int result = job.fill(picture.data(), 0, 2, 2, job.converterFormat);
    outCodes = {picture[0], picture[4], picture[5]};
    return CodeOfConverterResult(result);
}

} // namespace DK::Details
