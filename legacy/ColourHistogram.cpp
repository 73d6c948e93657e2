#include "ColourHistogram.h"

#include "BitmapLayout.h"
#include "ColourCounting.h"
#include "ColourTally.h"
#include "QuantizerState.h"
#include "WindowsApi_Memory.h"

#include <algorithm>
#include <array>
#include <atomic>

using namespace VF::Pixmaps;

namespace {

constexpr std::size_t kHistogramBytes = kColourIndexes * sizeof(std::uint32_t);

// The two that take no lock may look while another thread counts.
std::atomic<std::uint32_t*> sCurrentHistogram{nullptr};

// Of one call; makes the histogram the current one and keeps others from counting meanwhile.
class Counting {
public:
    explicit Counting(void* histogram) : mLock(QuantizerLock()), mHistogram(static_cast<std::uint32_t*>(histogram)) {
        sCurrentHistogram = mHistogram;
    }
    void Count(int bitCount, const void* bits, std::int32_t width, std::int32_t height, std::int32_t rowBytes,
               const std::uint16_t* table = nullptr, RowStep step = RowStep::Unsigned) const noexcept {
        CountPixels(bitCount, {static_cast<const std::uint8_t*>(bits), width, height, rowBytes}, step, mHistogram,
                    table);
    }

private:
    std::lock_guard<std::mutex> mLock;
    std::uint32_t* mHistogram;
};

constexpr std::int32_t kRowBytesKept = 0xFFFC;

// Of rows that are to be counted, those that lie in so many bytes, and what is there of the next one: a rectangle may
// stick out of its bitmap.
std::array<PackedRows, 2> PartsWithin(const PackedRows& rows, std::int32_t bitCount, std::int64_t bytes) noexcept {
    const std::int64_t used = (std::int64_t{rows.width} * bitCount + 7) / 8;
    const std::int64_t step = used + static_cast<std::uint16_t>(rows.rowBytes - used);
    std::array<PackedRows, 2> parts{rows, rows};
    parts[1].height = 0;
    const std::int64_t whole = bytes < used ? 0 : (bytes - used) / std::max<std::int64_t>(step, 1) + 1;
    if (whole < rows.height) {
        parts[0].height = static_cast<std::int32_t>(whole);
        const std::int64_t rest = bytes - whole * step;
        if (rest > 0 && bitCount > 0) {
            parts[1].start += whole * step;
            parts[1].width = static_cast<std::int32_t>(rest * 8 / bitCount);
            parts[1].height = 1;
        }
    }
    return parts;
}

} // namespace

namespace VF::Pixmaps {

std::mutex& QuantizerLock() noexcept {
    static constinit std::mutex sLock;
    return sLock;
}

std::uint32_t* CurrentHistogram() noexcept {
    return sCurrentHistogram;
}

} // namespace VF::Pixmaps

void* InitHistogram(void* inHistogram) {
    if (inHistogram != nullptr) {
        return inHistogram;
    }
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, kHistogramBytes);
    return memory == nullptr ? nullptr : GlobalLock(memory);
}

void FreeHistogram(void* inHistogram) {
    const HGLOBAL memory = inHistogram == nullptr ? nullptr : GlobalHandle(inHistogram);
    if (memory == nullptr) {
        return;
    }
    auto* current = static_cast<std::uint32_t*>(inHistogram);
    sCurrentHistogram.compare_exchange_strong(current, nullptr);
    GlobalUnlock(memory);
    GlobalFree(memory);
}

void UseHistogram(void* inHistogram) {
    sCurrentHistogram = static_cast<std::uint32_t*>(inHistogram);
}

std::uint32_t GetHistogram(std::int32_t inRed5, std::int32_t inGreen5, std::int32_t inBlue5) {
    const std::uint32_t* const histogram = sCurrentHistogram;
    return histogram == nullptr ? 0 : histogram[(inRed5 & 31) << 10 | (inGreen5 & 31) << 5 | (inBlue5 & 31)];
}

void IncHistogram(std::uint16_t inIndex) {
    IncHistogramHist(inIndex, sCurrentHistogram);
}

void IncHistogramHist(std::uint16_t inIndex, void* ioHistogram) {
    if (ioHistogram != nullptr) {
        AddToCounter(static_cast<std::uint32_t*>(ioHistogram)[inIndex & (kColourIndexes - 1)], 1);
    }
}

void Histogram32(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                 void* ioHistogram) {
    Counting(ioHistogram).Count(32, inBits, inWidth, inHeight, inRowBytes);
}

void Histogram24(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                 void* ioHistogram) {
    Counting(ioHistogram).Count(24, inBits, inWidth, inHeight, inRowBytes);
}

void Histogram16(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                 void* ioHistogram) {
    Counting(ioHistogram).Count(16, inBits, inWidth, inHeight, inRowBytes);
}

void Histogram8(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                void* ioHistogram, const std::uint16_t* inTable) {
    Counting(ioHistogram).Count(8, inBits, inWidth, inHeight, inRowBytes, inTable);
}

void Histogram4(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                void* ioHistogram, const std::uint16_t* inTable) {
    Counting(ioHistogram).Count(4, inBits, inWidth, inHeight, inRowBytes, inTable);
}

void Histogram1(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                void* ioHistogram, const std::uint16_t* inTable) {
    Counting(ioHistogram).Count(1, inBits, inWidth, inHeight, inRowBytes, inTable);
}

std::int32_t Histogram32Hist(const void* inBits, std::int32_t inWidth, std::int32_t inHeight, std::int32_t inRowBytes,
                             void* ioHistogram) {
    Counting(ioHistogram).Count(32, inBits, inWidth, inHeight, inRowBytes, nullptr, RowStep::Signed);
    return inHeight;
}

std::int32_t DibHistogram(BITMAPINFOHEADER* ioHeader, const void* inBits, std::int32_t inX, std::int32_t inY,
                          std::int32_t inWidth, std::int32_t inHeight, void* ioHistogram) {
    if (ioHeader == nullptr || ioHistogram == nullptr) {
        return 0;
    }
    BITMAPINFOHEADER& header = *ioHeader;
    if (header.biClrUsed == 0 && header.biBitCount < 9) { // written only then: a header may be read-only
        header.biClrUsed = ColourCount(header);
    }
    const auto* const bits =
        inBits != nullptr ? static_cast<const std::uint8_t*>(inBits) : BitsBehind(header, header.biClrUsed);
    const std::int32_t bitCount = header.biBitCount;
    const std::int32_t wholeRowBytes = BitmapRowBytes(bitCount, header.biWidth);
    const PackedRows rows{bits, inWidth < 0 || inWidth > header.biWidth ? header.biWidth : inWidth,
                          inHeight < 0 || inHeight > header.biHeight ? header.biHeight : inHeight,
                          wholeRowBytes & kRowBytesKept};
    const std::int64_t start = std::int64_t{inY} * rows.rowBytes + std::int64_t{inX} * bitCount / 8;
    if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 16 && bitCount != 24 && bitCount != 32) {
        return 1;
    }
    const Counting counting(ioHistogram);
    if (start < 0 || rows.width <= 0 || rows.height <= 0) {
        return 1;
    }
    const auto table = ColourIndexesOf(header, bitCount <= 8 ? header.biClrUsed : 0);
    for (const PackedRows& part : PartsWithin(rows, bitCount, std::int64_t{wholeRowBytes} * header.biHeight - start)) {
        counting.Count(bitCount, part.start + start, part.width, part.height, part.rowBytes, table.data());
    }
    return 1;
}
