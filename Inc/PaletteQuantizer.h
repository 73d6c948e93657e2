#pragma once

/// Palettes for pictures that have more colours than a palette holds, and the reduction of pixels to a palette's
/// indexes. C and C++.
///
/// The colours of a histogram (ColourHistogram.h) are boxed: the box with the largest spread is cut where that
/// separates its colours best, until there are as many boxes as colours are wanted; each box's mean is an entry. A
/// lookup map is 32,768 bytes, one palette index per colour index. Nothing is dithered.
///
/// HistogramToPalette, HistogramPalette and the counting functions hold one lock while they run; so does no other
/// function here: the boxes, the current histogram and the current map are one set for the process, and who calls the
/// box functions has to see that nobody else uses them. None throws.

#include "ColourHistogram.h"
#include "VFExport.h"
#include "WindowsApi_Types.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// A part of the colour cube. Bounds are inclusive, in 5-bit units.
typedef struct ColourBox {
    struct ColourBox* next; ///< in the list of used boxes, or of free ones
    int32_t redMin;
    int32_t redMax;
    int32_t greenMin;
    int32_t greenMax;
    int32_t blueMin;
    int32_t blueMax;
    int32_t score;  ///< spread: the sum of AddAxisVariance over the three axes
    uint32_t count; ///< pixels of the histogram in the box
} ColourBox;

/// Where to cut a box: after place on an axis (0 red, 1 green, 2 blue).
typedef struct ColourCut {
    int32_t place;
    int32_t axis;
} ColourCut;

/// Allocates inCount boxes: one in use, which is the whole cube with a score of 9999999, the others free. Boxes that
/// there were are freed. 1; 0 when inCount is less than 1 or memory is exhausted.
VF_API int32_t InitBoxes(int32_t inCount);
VF_API void DeleteBoxes(void);

/// Brings the used boxes into the order of their counts, largest first; of equal counts the later one comes first.
VF_API void SortBoxes(void);

/// With S1 and S2 the sums of inProjection[v] * v and inProjection[v] * v * v for v from inLow to inHigh:
/// S2 - (S1 / inTotal) * S1 - ((S1 mod inTotal) * S1) / inTotal, in unsigned 32-bit arithmetic that wraps. 0 when
/// inTotal is 0. The axis makes no difference.
VF_API uint32_t AddAxisVariance(int32_t inAxis, const uint32_t* inProjection, int32_t inLow, int32_t inHigh,
                                uint32_t inTotal);

/// Set a box's count and score. Bounds stay. Here and below, the functions without Hist take the current histogram;
/// without one they count nothing. Bounds must lie in 0..31.
VF_API void ShrinkBox(ColourBox* ioBox);
VF_API void ShrinkBoxHist(ColourBox* ioBox, const void* inHistogram);

/// The cut that separates a box's colours best: with m the mean of all N pixels on an axis and L pixels up to a place
/// that have the mean l there, L / (N - L) * (m - l)^2 in doubles, strictly larger than at every place before, axis by
/// axis. Axis 0 and place 0 when nothing beats 0.
VF_API ColourCut FindSplitAxis(const ColourBox* inBox);
VF_API ColourCut FindSplitAxisHist(const ColourBox* inBox, const void* inHistogram);

/// Cuts a box: it keeps what lies up to the place, and the first free box, which stays free, becomes the rest. 0; 1
/// when the box's score is 0 or no box is free, and nothing was done.
VF_API int32_t SplitBoxAxis(ColourBox* ioBox, ColourCut inCut);

/// Finds the cut and cuts, then measures both parts and puts them where their scores belong in the list of used boxes,
/// each before the first box whose score is not larger. As SplitBoxAxis.
VF_API int32_t SplitBox(ColourBox* ioBox);
VF_API int32_t SplitBoxHist(ColourBox* ioBox, const void* inHistogram);

/// The mean colour of a box's pixels, red | green << 8 | blue << 16; 0 for an empty box. Each channel is
/// ((sum of 5-bit values + N / 2) * 255 / N) / 32. Every cell of the box gets inIndex in the current map, or in the
/// given one, where there is one.
VF_API uint32_t DetermineRepresentative(const ColourBox* inBox, int32_t inIndex);
VF_API uint32_t DetermineRepresentativeHist(const ColourBox* inBox, int32_t inIndex, void* outMap,
                                            const void* inHistogram);

/// Makes a palette of at most inColours colours of a histogram, the most frequent box first; the caller deletes it.
/// Above 236 it has 256 entries: at either end the ten static colours of the system palette, between them at most 236
/// colours, the rest black. Otherwise it has as many as there are boxes, which may be fewer than wanted. Every cell of
/// outMap, which may be null, gets the index of its box's colour.
///
/// While a counter is above 65535, all are halved, but for those of 1. Null without a histogram, for inColours below 1,
/// and when memory is exhausted. HistogramPalette does the same through the current histogram and map: it leaves the
/// histogram the current one.
VF_API HPALETTE HistogramToPalette(void* ioHistogram, void* outMap, int32_t inColours);
VF_API HPALETTE HistogramPalette(void* ioHistogram, void* outMap, int32_t inColours);

/// Fills a lookup map with the GetNearestPaletteIndex of every cell's lowest colour, RGB(red5 * 8, green5 * 8,
/// blue5 * 8).
VF_API void MakePalLookup(void* outMap, HPALETTE inPalette);

/// Reduces a bitmap of 1, 4, 8, 16, 24 or 32 bits to indexes of 8 bits, through a lookup map; other depths do nothing.
/// Width, height and depth are those of the source's header; the destination has rows of its width, rounded up to 4
/// bytes, and must hold as many. For null bits the pixels follow their header and its colour table. At 4 bits and an
/// odd width one byte more is written, into the row's padding. Steps between rows are (row bytes - bytes of the row's
/// pixels) AND 0xFFFF. A null header or map, and a width or height of 0 or less, are nothing to do. inPalette is not
/// looked at.
VF_API void ReducePixels(const BITMAPINFOHEADER* inSourceHeader, const void* inSourceBits,
                         const BITMAPINFOHEADER* inDestinationHeader, void* outDestinationBits, HPALETTE inPalette,
                         const void* inMap);

/// The same with the caller's row bytes, 0 for the bitmap's own, and always for pixels of 32 bits.
VF_API void ReducePixelsHist(const BITMAPINFOHEADER* inSourceHeader, const void* inSourceBits,
                             const BITMAPINFOHEADER* inDestinationHeader, void* outDestinationBits, HPALETTE inPalette,
                             const void* inMap, int32_t inSourceRowBytes, int32_t inDestinationRowBytes);

#if defined(__cplusplus)
}
#endif
