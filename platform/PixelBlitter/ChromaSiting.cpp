#include "ChromaSiting.h"

#include <algorithm>
#include <cstdlib>

namespace PixelBlitter {
namespace {

// Lines of one field (or of the frame) and its chroma rows, as indices within it.
int ClampIndex(int index, int count) noexcept {
    return std::clamp(index, 0, count - 1);
}

} // namespace

VerticalSiting::VerticalSiting(int height, bool fieldPicture, bool alternateLines) noexcept
    : mHeight(height), mChromaHeight(height / 2 + height % 2), mFields(fieldPicture && mChromaHeight > 1),
      mAlternateLines(alternateLines) {}

// Position of chroma sample i of a field is 2i + offset in lines of that field, in quarters.
int VerticalSiting::OffsetInQuarters(int field, int plane) const noexcept {
    if (mAlternateLines) {
        return plane == 0 ? 4 : 0;
    }
    if (!mFields) {
        return 2;
    }
    return field == 0 ? 1 : 3;
}

VerticalSiting::Mix VerticalSiting::ChromaOfRow(int row, int plane) const noexcept {
    const int step = mFields ? 2 : 1;
    const int field = FieldOf(row);
    const int line = row / step;
    const int chromaCount = (mChromaHeight - field + step - 1) / step;
    // The line lies between chroma samples i and i + 1; the distance from i is counted in eighths of their distance.
    const int offset = OffsetInQuarters(field, plane);
    const int i = (line % 2 * 4 < offset) ? line / 2 - 1 : line / 2;
    const int eighths = (line % 2 * 4 - offset + 8) % 8;
    const int a = ClampIndex(i, chromaCount) * step + field;
    const int b = ClampIndex(i + 1, chromaCount) * step + field;
    return {a, b, static_cast<float>(8 - eighths) / 8, static_cast<float>(eighths) / 8};
}

VerticalSiting::Rows VerticalSiting::RowsOfChroma(int chromaRow, int plane) const noexcept {
    const int step = mFields ? 2 : 1;
    const int field = FieldOf(chromaRow);
    const int i = chromaRow / step;
    const int lineCount = (mHeight - field + step - 1) / step;
    const int offset = OffsetInQuarters(field, plane);
    Rows rows{};
    for (int tap = 0; tap < 4; ++tap) {
        // Triangle two lines wide on either side of 2i + offset.
        const int distance = std::abs((tap - 1) * 4 - offset);
        rows.row[tap] = ClampIndex(2 * i - 1 + tap, lineCount) * step + field;
        rows.weight[tap] = static_cast<float>(8 - distance) / 16;
        rows.last = std::max(rows.last, rows.row[tap]);
    }
    return rows;
}

} // namespace PixelBlitter
