#pragma once

#include "kernels/PixmapKernels.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace VF::Pixmaps {

/// Copies of three rows on their way through a picture, so that its rows can be overwritten behind them. Beyond the
/// first and last row, and beside each row's ends, the nearest element is repeated.
class RollingRows {
public:
    /// Bytes that the copies take.
    static constexpr std::size_t SizeInBytes(std::size_t rowBytes, std::size_t elementBytes,
                                             std::size_t padding) noexcept {
        return 3 * (rowBytes + 2 * elementBytes + padding);
    }

    /// buffer holds SizeInBytes of these arguments. padding bytes behind the repeated element may be read; they are 0.
    RollingRows(std::uint8_t* buffer, const std::uint8_t* source, std::size_t rowBytes, std::ptrdiff_t step,
                std::int32_t height, std::size_t elementBytes, std::size_t padding) noexcept
        : mBuffer(buffer), mSource(source), mRowBytes(rowBytes), mStep(step), mHeight(height), mElement(elementBytes),
          mStride(SizeInBytes(rowBytes, elementBytes, padding) / 3) {
        std::memset(buffer, 0, 3 * mStride);
        Copy(0);
    }

    /// Moves on to a row, the one after that of the call before. The rows before, at and after it.
    std::array<const std::uint8_t*, 3> Advance(std::int32_t row) noexcept {
        if (row + 1 < mHeight) {
            Copy(row + 1);
        }
        return {Place(std::max(row - 1, 0)), Place(row), Place(std::min(row + 1, mHeight - 1))};
    }

private:
    std::uint8_t* Place(std::int32_t row) const noexcept {
        return mBuffer + static_cast<std::size_t>(row % 3) * mStride + mElement;
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
};

} // namespace VF::Pixmaps
