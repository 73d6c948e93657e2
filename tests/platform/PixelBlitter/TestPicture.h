#pragma once

/// Pictures in memory that ends at a page which may not be touched, with every byte outside the pixels watched.

#include "PixelBlitter.h"
#include "ReferencePixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <sys/mman.h>
#include <vector>

/// Memory that ends exactly at a forbidden page.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t bytes) : mBytes(bytes), mMapped((bytes + 4095) / 4096 * 4096 + 8192) {
        mMap = static_cast<std::uint8_t*>(mmap(nullptr, mMapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(mMap + 4096, mMapped - 8192, PROT_READ | PROT_WRITE);
    }
    ~GuardedBuffer() { munmap(mMap, mMapped); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    std::uint8_t* data() const { return mMap + mMapped - 4096 - mBytes; }
    std::size_t size() const { return mBytes; }

private:
    std::size_t mBytes;
    std::size_t mMapped;
    std::uint8_t* mMap;
};

class TestPicture {
public:
    /// padding: bytes between rows; its parity moves rows off every alignment. upsideDown: negative stride.
    TestPicture(std::int32_t value, int pictureWidth, int pictureHeight, int padding = 0, bool upsideDown = false)
        : format(value), width(pictureWidth), height(pictureHeight), mBuffer(Bytes(padding)) {
        const auto magnitude = static_cast<std::ptrdiff_t>(format.StrideUnit(width)) + padding;
        std::memset(mBuffer.data(), kUntouched, mBuffer.size());
        base = mBuffer.data();
        if (height > 1 && format.HasRows()) {
            stride = upsideDown ? -magnitude : magnitude;
            base += upsideDown ? magnitude * (height - 1) : 0;
        }
    }

    /// Random codes over the whole range; floats between -0.2 and 1.2 with alpha in 0..1, some of it 0 and 1.
    void Randomise(std::uint32_t seed) {
        std::minstd_rand random(seed + 1);
        const auto next = [&] { return static_cast<std::uint32_t>(random() >> 7); };
        if (!format.HasRows()) {
            for (std::size_t i = 0; i < mBuffer.size(); ++i) {
                base[i] = static_cast<std::uint8_t>(next());
            }
            return;
        }
        for (int row = 0; row < height; ++row) {
            std::uint8_t* const line = base + row * stride;
            const std::size_t bytes = format.RowBytes(width);
            for (std::size_t i = 0; i < bytes; ++i) {
                line[i] = static_cast<std::uint8_t>(next());
            }
            for (int x = 0; format.layout == reference::Layout::Floats && x < 4 * width; ++x) {
                const bool alpha = x % 4 == (format.alphaFirst ? 0 : 3);
                const std::uint32_t dice = next() % 16;
                const float unit = static_cast<float>(next() % 100000) / 100000.0F;
                const float value = !alpha      ? unit * 1.4F - 0.2F
                                    : dice == 0 ? 0.0F
                                    : dice == 1 ? 1.0F
                                                : unit * 0.9F + 0.1F;
                std::memcpy(line + 4 * x, &value, 4);
            }
            for (int x = 0; format.layout == reference::Layout::Words && x < 4 * width; ++x) {
                const auto word = static_cast<std::uint16_t>(next() % 16 == 0 ? next() : next() % 32769);
                std::memcpy(line + 2 * x, &word, 2);
            }
        }
    }

    /// The used bytes of all rows, in memory order.
    std::vector<std::uint8_t> Pixels() const {
        std::vector<std::uint8_t> pixels;
        if (!format.HasRows()) {
            return {base, base + mBuffer.size()};
        }
        for (int row = 0; row < height; ++row) {
            const std::uint8_t* const line = base + row * stride;
            pixels.insert(pixels.end(), line, line + format.RowBytes(width));
        }
        return pixels;
    }

    /// The same where they lie; planar pictures as lines of Y, U and V.
    std::vector<std::span<std::uint8_t>> Lines() const {
        std::vector<std::span<std::uint8_t>> lines;
        for (int row = 0; format.HasRows() && row < height; ++row) {
            lines.emplace_back(base + row * stride, format.RowBytes(width));
        }
        std::uint8_t* line = base;
        const int chromaWidth = (width + 1) / 2;
        const int count = format.HasRows() ? 0 : height + 2 * ((height + 1) / 2);
        for (int row = 0; row < count; ++row) {
            lines.emplace_back(line, static_cast<std::size_t>(row < height ? width : chromaWidth));
            line += lines.back().size();
        }
        return lines;
    }

    /// Whether all bytes between the rows still hold what the constructor put there.
    bool PaddingUntouched() const {
        std::size_t changed = 0;
        std::size_t changedInRows = 0;
        for (std::size_t i = 0; i < mBuffer.size(); ++i) {
            changed += mBuffer.data()[i] != kUntouched;
        }
        for (const std::uint8_t byte : Pixels()) {
            changedInRows += byte != kUntouched;
        }
        return changed == changedInRows;
    }
    bool Untouched() const {
        const auto pixels = Pixels();
        return PaddingUntouched() &&
               std::count(pixels.begin(), pixels.end(), kUntouched) == static_cast<std::ptrdiff_t>(pixels.size());
    }
    reference::Picture Codes() const { return reference::ReadCodes(format, base, stride, width, height); }

    static constexpr std::uint8_t kUntouched = 0xA5;
    reference::Format format;
    int width;
    int height;
    std::uint8_t* base = nullptr;
    std::ptrdiff_t stride = 0;
    int RowBytes() const { return static_cast<int>(stride); }

private:
    std::size_t Bytes(int padding) const {
        if (!format.HasRows()) {
            return format.ImageBytes(width, height);
        }
        return (format.StrideUnit(width) + static_cast<std::size_t>(padding)) * static_cast<std::size_t>(height - 1) +
               format.RowBytes(width);
    }
    GuardedBuffer mBuffer;
};

inline int Convert(const TestPicture& from, TestPicture& to) {
    return PB_Convert(from.base, from.RowBytes(), from.format.value, to.base, to.RowBytes(), to.format.value,
                      from.width, from.height, 4);
}
