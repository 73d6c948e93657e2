#pragma once

#include "kernels/PixmapKernels.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace VF::Pixmaps {

/// Copies of rows and their neighbours on the way through a picture, so many rows at once, so that its rows can be
/// overwritten behind them. Beyond the first and last row, and beside each row's ends, the nearest element is repeated.
template <std::int32_t kTogether>
class RowWindow {
public:
    /// Bytes that the copies take.
    static constexpr std::size_t SizeInBytes(std::size_t rowBytes, std::size_t elementBytes,
                                             std::size_t padding) noexcept {
        return kRows * (rowBytes + 2 * elementBytes + padding);
    }

    /// buffer holds SizeInBytes of these arguments. padding bytes behind the repeated element may be read; they are 0.
    RowWindow(std::uint8_t* buffer, const std::uint8_t* source, std::size_t rowBytes, std::ptrdiff_t step,
              std::int32_t height, std::size_t elementBytes, std::size_t padding) noexcept
        : mBuffer(buffer), mSource(source), mRowBytes(rowBytes), mStep(step), mHeight(height), mElement(elementBytes),
          mStride(SizeInBytes(rowBytes, elementBytes, padding) / kRows) {
        std::memset(buffer, 0, kRows * mStride);
    }

    /// Moves on to the row behind those of the call before, and count - 1 more; the first call is for row 0. The row
    /// before them, they, and the row after them.
    std::array<const std::uint8_t*, kTogether + 2> Advance(std::int32_t row, std::int32_t count = 1) noexcept {
        for (; mCopied <= std::min(row + count, mHeight - 1); ++mCopied) {
            Copy(mCopied);
        }
        std::array<const std::uint8_t*, kTogether + 2> rows{};
        for (std::int32_t i = 0; i < count + 2; ++i) {
            rows[static_cast<std::size_t>(i)] = Place(std::clamp(row + i - 1, 0, mHeight - 1));
        }
        return rows;
    }

private:
    static constexpr std::size_t kRows = kTogether + 2;
    std::uint8_t* Place(std::int32_t row) const noexcept {
        return mBuffer + static_cast<std::size_t>(row) % kRows * mStride + mElement;
    }
    void Copy(std::int32_t row) noexcept {
        std::uint8_t* const to = Place(row);
        std::memcpy(to, mSource + row * mStep, mRowBytes);
        std::memcpy(to - mElement, to, mElement);
        std::memcpy(to + mRowBytes, to + mRowBytes - mElement, mElement);
    }

    std::uint8_t* mBuffer;
    const std::uint8_t* mSource;
    std::size_t mRowBytes;
    std::ptrdiff_t mStep;
    std::int32_t mHeight;
    std::size_t mElement;
    std::size_t mStride;
    std::int32_t mCopied = 0; ///< rows
};

using RollingRows = RowWindow<1>;

} // namespace VF::Pixmaps
