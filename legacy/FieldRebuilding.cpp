#include "LentPixmaps.h"
#include "RunLength.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using VF::Details::LentPixels;

/// The average of every byte of two words, rounded down: halves of both, and 1 where both had lost one.
std::uint64_t AverageBytes(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t lowest = 0x0101010101010101U;
    constexpr std::uint64_t others = 0x7F7F7F7F7F7F7F7FU;
    return (a & b & lowest) + ((a >> 1) & others) + ((b >> 1) & others);
}

/// A pixel at the end of an odd width is half a word.
template <class Word>
void AverageAt(std::uint8_t* to, const std::uint8_t* above, const std::uint8_t* below) {
    Word a = 0;
    Word b = 0;
    std::memcpy(&a, above, sizeof a);
    std::memcpy(&b, below, sizeof b);
    const auto average = static_cast<Word>(AverageBytes(a, b));
    std::memcpy(to, &average, sizeof average);
}

void AverageRow(std::uint8_t* to, const std::uint8_t* above, const std::uint8_t* below, std::size_t pixels) {
    for (std::size_t pixel = 0; pixel + 1 < pixels; pixel += 2) {
        AverageAt<std::uint64_t>(to + pixel * 4, above + pixel * 4, below + pixel * 4);
    }
    if (pixels % 2 != 0) {
        const std::size_t last = (pixels - 1) * 4;
        AverageAt<std::uint32_t>(to + last, above + last, below + last);
    }
}

/// The rows that a call works on, of which it touches pairs: the last one of an odd count is left alone.
struct Rows {
    std::uint8_t* first = nullptr;
    std::int32_t step = 0;
    std::int32_t count = 0;
    std::size_t averagedPixels = 0;

    std::uint8_t* At(std::int32_t row) const { return first + std::ptrdiff_t{row} * step; }
    void Average(std::int32_t row) const { AverageRow(At(row), At(row - 1), At(row + 1), averagedPixels); }
    std::size_t AveragedBytes() const { return averagedPixels * 4; }
    std::size_t StepInBytes() const { return static_cast<std::size_t>(std::abs(std::int64_t{step})); }

    bool PairLiesIn(const LentPixels& memory, std::int32_t row) const {
        return memory.Contain(VF::Details::PixelRows{At(row), step, 2, StepInBytes()});
    }
    /// Copies one row of a pair onto the other. A whole step is moved, except where there is less behind the picture's
    /// last row.
    void Copy(const LentPixels& memory, std::int32_t from, std::int32_t to) const {
        std::memmove(At(to), At(from), PairLiesIn(memory, std::min(from, to)) ? StepInBytes() : AveragedBytes());
    }
};

void RebuildEvenRows(const Rows& rows, const LentPixels& memory) {
    rows.Copy(memory, 1, 0);
    for (std::int32_t row = 2; row < rows.count - 1; row += 2) {
        rows.Average(row);
    }
}

void RebuildOddRows(const Rows& rows, const LentPixels& memory) {
    std::int32_t row = 1;
    for (; row < rows.count - 2; row += 2) {
        rows.Average(row);
    }
    rows.Copy(memory, row - 1, row);
}

} // namespace

void InterpFrame(TPixHand inHand, const RECT* inRectangle, uint16_t inField) {
    if (inHand == nullptr || *inHand == nullptr || inRectangle == nullptr || (*inHand)->pixels == nullptr) {
        return;
    }
    const TPix& record = **inHand;
    const LentPixels memory(inHand);
    const Rows rows{record.pixels, record.rowbytes, inRectangle->bottom & 0xFFFF,
                    static_cast<std::size_t>(inRectangle->right & 0xFFFF)};
    const VF::Details::PixelRows touched{record.pixels, record.rowbytes, rows.count & ~1, rows.AveragedBytes()};
    if (rows.count < 2 || !memory.MayWrite() || rows.AveragedBytes() > rows.StepInBytes() || !memory.Contain(touched)) {
        return;
    }
    const bool oddHeight = ((std::int64_t{inRectangle->bottom} - inRectangle->top) & 1) != 0;
    if (oddHeight == (inField == 1)) {
        RebuildOddRows(rows, memory);
    } else {
        RebuildEvenRows(rows, memory);
    }
}
