#include "VideoFrameManipulators.h"

#include "FrameAccess.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

namespace VF::VideoFrameManipulators {
namespace {

using Word = std::uint64_t;
static_assert(std::endian::native == std::endian::little, "the masks say where alpha lies in a word of memory");

// Where alpha lies in the two words that any of the layouts repeats after. A float's sign does not count: -0.0 is
// transparent, while NaN is not.
struct AlphaLayout {
    std::uint32_t pixelSize;
    Word mask[2];
};
constexpr AlphaLayout kBytes{4, {0xFF000000FF000000U, 0xFF000000FF000000U}};
constexpr AlphaLayout kWords{8, {0xFFFF000000000000U, 0xFFFF000000000000U}};
constexpr AlphaLayout kFloats{16, {0, 0x7FFFFFFF00000000U}};

struct ScannedFormat {
    zynmediatypes::PixelFormat format;
    const AlphaLayout& layout;
};
constexpr ScannedFormat kScannedFormats[] = {
    {RK::kPixelFormat_BGRA_4444_8u, kBytes},     {RK::kPixelFormat_VUYA_4444_8u, kBytes},
    {RK::kPixelFormat_VUYA_4444_8u_709, kBytes}, {RK::kPixelFormat_BGRA_4444_16u, kWords},
    {RK::kPixelFormat_VUYA_4444_16u, kWords},    {RK::kPixelFormat_BGRA_4444_32f, kFloats},
    {RK::kPixelFormat_VUYA_4444_32f, kFloats},   {RK::kPixelFormat_VUYA_4444_32f_709, kFloats},
};

// Bytes that are looked at before the next decision: enough for the loop over them to run at memory speed, little
// enough to read hardly more than what is asked for.
constexpr std::size_t kStep = 256;

// Whether any of kStep bytes is alpha that is not 0.
bool AnyVisible(const std::uint8_t* data, const Word (&mask)[2]) noexcept {
    Word any[4] = {};
    for (std::size_t i = 0; i < kStep; i += sizeof(any)) {
        for (std::size_t lane = 0; lane < std::size(any); ++lane) {
            Word word;
            std::memcpy(&word, data + i + lane * sizeof(Word), sizeof(Word));
            any[lane] |= word;
        }
    }
    return (((any[0] | any[2]) & mask[0]) | ((any[1] | any[3]) & mask[1])) != 0;
}

bool IsVisible(const std::uint8_t* pixel, const AlphaLayout& layout) noexcept {
    Word words[2] = {0, 0};
    std::memcpy(words, pixel, layout.pixelSize);
    return ((words[0] & layout.mask[0]) | (words[1] & layout.mask[1])) != 0;
}

// One row of pixels, and how far from it the row lies that is looked at next.
struct Row {
    const std::uint8_t* data;
    std::int32_t width;
    const AlphaLayout& layout;
    std::int64_t toNextRow;

    const std::uint8_t* At(std::int32_t x) const noexcept { return data + std::int64_t{x} * layout.pixelSize; }
};

// The first visible pixel, width without one.
std::int32_t FirstVisible(const Row& row) noexcept {
    const auto pixelsPerStep = static_cast<std::int32_t>(kStep / row.layout.pixelSize);
    std::int32_t x = 0;
    while (row.width - x >= pixelsPerStep && !AnyVisible(row.At(x), row.layout.mask)) {
        Details::FetchAhead(row.At(x) + row.toNextRow, kStep);
        x += pixelsPerStep;
    }
    while (x < row.width && !IsVisible(row.At(x), row.layout)) {
        ++x;
    }
    return x;
}

// The exclusive right edge of the visible pixels in a row that has one.
std::int32_t EndOfVisible(const Row& row) noexcept {
    const auto pixelsPerStep = static_cast<std::int32_t>(kStep / row.layout.pixelSize);
    std::int32_t end = row.width;
    while (end >= pixelsPerStep && !AnyVisible(row.At(end - pixelsPerStep), row.layout.mask)) {
        end -= pixelsPerStep;
    }
    while (end > 0 && !IsVisible(row.At(end - 1), row.layout)) {
        --end;
    }
    return end;
}

} // namespace

void CalculateAlphaBounds(BRT::InterfaceRef<RK::IVideoFrame> inFrame, BRT::ParamRect<BRT::CRect>& outBounds) {
    const BRT::ParamRect<BRT::CRect> bounds = inFrame->GetBounds();
    outBounds = bounds;
    const Details::FrameAccess access(inFrame);
    if (!access.rows) {
        return;
    }
    const zynmediatypes::PixelFormat format = inFrame->GetPixelType();
    const auto* const scanned =
        std::find_if(std::begin(kScannedFormats), std::end(kScannedFormats),
                     [&](const ScannedFormat& candidate) { return candidate.format == format; });
    if (scanned == std::end(kScannedFormats)) {
        return;
    }
    const Details::PixelRows rows{access.memory->GetData(), access.rows->GetRowBytes(), bounds.bottom,
                                  Details::UsedRowBytes(bounds.right, scanned->layout.pixelSize)};
    if (!Details::LiesInFrame(rows, inFrame)) {
        return;
    }
    std::int32_t left = bounds.right;
    std::int32_t top = bounds.bottom;
    std::int32_t right = 0;
    std::int32_t lastRow = 0;
    for (std::int32_t y = 0; y < rows.height; ++y) {
        const std::int64_t offset = std::int64_t{rows.height - 1 - y} * rows.rowBytes; // the bottom row comes first
        const Row row{static_cast<const std::uint8_t*>(rows.data) + offset, bounds.right, scanned->layout,
                      y + 1 < rows.height ? -std::int64_t{rows.rowBytes} : 0};
        const std::int32_t first = FirstVisible(row);
        if (first >= row.width) {
            continue;
        }
        left = std::min(left, first);
        top = std::min(top, y);
        lastRow = std::max(lastRow, y);
        if (right < row.width) {
            right = std::max(right, EndOfVisible(row));
        }
    }
    if (left == bounds.right) {
        outBounds = {0, 0, 0, 0};
    } else {
        outBounds = {left, top, right, lastRow + 1};
    }
}

} // namespace VF::VideoFrameManipulators
