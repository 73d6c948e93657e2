#pragma once

/// Where 4:2:0 and 4:2:2 chroma samples lie, and the triangle filters between the grids.
///
/// Horizontally the chroma sample k lies on column 2k (left: 4:2:2, MPEG-2) or between 2k and 2k + 1 (centre: MPEG-4).
/// Vertically, in frame pictures, chroma row k lies midway between rows 2k and 2k + 1. In field pictures chroma row k
/// belongs to field k mod 2, field 0 being that of the top line, and lies at row 2k + 0.5 of the frame (ISO/IEC
/// 13818-2, 6.1.1.8): a quarter and three quarters of the way between two lines of its own field. Filters stay within
/// the field. Edges repeat. A picture with one chroma row (height 1 or 2) is a frame picture, because its second field
/// would have no chroma.
///
/// DV's 4:2:0 of 625 lines (IEC 61834-2) has fields, too, but no sample between lines: of the lines of a field the
/// first carries V and the second U, and so on in turn. V of chroma row k lies on line 2i of its field and U on line 2i
/// + 1, where i is k / 2. Its columns are those of 4:2:2.

namespace PixelBlitter {

/// Weights for Kernels::widenChroma and narrowChroma.
struct HorizontalSiting {
    float widen[4];
    float narrow[4];
};
inline constexpr HorizontalSiting kLeftSited{{0, 1, 0.5F, 0.5F}, {0.25F, 0.5F, 0.25F, 0}};
inline constexpr HorizontalSiting kCentreSited{{0.25F, 0.75F, 0.75F, 0.25F}, {0.125F, 0.375F, 0.375F, 0.125F}};

/// The vertical grid of a 4:2:0 picture.
class VerticalSiting {
public:
    /// alternateLines: U and V lie on alternate lines of a field, as in DV.
    VerticalSiting(int height, bool fieldPicture, bool alternateLines = false) noexcept;

    /// The chroma of a picture row: weightA * row a + weightB * row b. Weights are eighths.
    struct Mix {
        int a;
        int b;
        float weightA;
        float weightB;
    };
    /// plane: 0 is U, 1 is V; they differ in DV only.
    Mix ChromaOfRow(int row, int plane = 0) const noexcept;

    /// The picture rows that make a chroma row. Weights are sixteenths and sum to 1.
    struct Rows {
        int row[4];
        float weight[4];
        int last; ///< the largest of row
    };
    Rows RowsOfChroma(int chromaRow, int plane = 0) const noexcept;

    /// Rows that RowsOfChroma can reach back from its last one, plus one, at most; a power of two.
    static constexpr int kReach = 8;

private:
    int FieldOf(int row) const noexcept { return mFields ? row % 2 : 0; }
    int OffsetInQuarters(int field, int plane) const noexcept;
    int mHeight;
    int mChromaHeight;
    bool mFields;
    bool mAlternateLines;
};

} // namespace PixelBlitter
