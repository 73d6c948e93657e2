#pragma once

#include "TestFrames.h"
#include "zynmediatypes.h"

#include <cstring>
#include <random>
#include <vector>

namespace vftest {

/// The formats of 4:4:4:4 pixels in rows that the converter knows.
inline std::vector<PixelFormat> PixelFormats() {
    std::vector<PixelFormat> formats;
    for (const auto& row : zynmediatypes::kPixelFormatTable) {
        if (row.converterValue != 0 && zynmediatypes::StorageOf(row.format) == zynmediatypes::Storage::Rows &&
            zynmediatypes::ChromaOf(row.format) == zynmediatypes::Chroma::C444) {
            formats.push_back(row.format);
        }
    }
    return formats;
}

/// Row y of the picture, counted from its top.
inline std::uint8_t* RowAt(const FrameRef& frame, int y) {
    return Pixels(frame) + std::ptrdiff_t{frame->GetBounds().bottom - 1 - y} * RowBytes(frame);
}

/// The components of a row in the order of memory, four for each pixel: codes or floats.
inline std::vector<double> Components(const FrameRef& frame, int y) {
    const auto pixelSize = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame)->GetPixelSize();
    const std::uint8_t* at = RowAt(frame, y);
    std::vector<double> row(4 * static_cast<std::size_t>(frame->GetBounds().right));
    for (double& component : row) {
        std::uint16_t word = *at;
        float value = 0;
        if (pixelSize == 8) {
            std::memcpy(&word, at, 2);
        } else if (pixelSize == 16) {
            std::memcpy(&value, at, 4);
        }
        component = pixelSize == 16 ? static_cast<double>(value) : word;
        at += pixelSize / 4;
    }
    return row;
}

inline std::vector<std::vector<double>> AllComponents(const FrameRef& frame) {
    std::vector<std::vector<double>> rows;
    for (int y = 0; y < frame->GetBounds().bottom; ++y) {
        rows.push_back(Components(frame, y));
    }
    return rows;
}

/// A frame of noise: any codes (15-bit ones up to white), floats from -1 to 2.
inline FrameRef MakeNoise(PixelFormat format, std::uint32_t width, std::uint32_t height, std::uint32_t seed = 1) {
    const FrameRef frame = MakeFrame(format, width, height);
    std::mt19937 random(seed);
    const std::size_t bytes = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize();
    std::uint8_t* const data = Pixels(frame);
    const auto precision = zynmediatypes::PrecisionOf(format);
    const bool floats = precision == zynmediatypes::Precision::Float32;
    for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
        std::uint32_t word = random();
        if (floats) {
            const float value = static_cast<float>(word) * 0x3p-32F - 1;
            std::memcpy(&word, &value, 4);
        } else if (precision == zynmediatypes::Precision::Words16) {
            word &= 0x7FFF7FFFU;
        }
        std::memcpy(data + i, &word, 4);
    }
    return frame;
}

} // namespace vftest
