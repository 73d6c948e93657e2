#pragma once

/// Counts of a picture's colours, with 5 bits a channel. C and C++.
///
/// A histogram is 32,768 unsigned 32-bit counters, one per colour index red5 << 10 | green5 << 5 | blue5. A counter
/// that has reached 0xFFFFFFFF stays there. The top bit of 16-bit indexes is ignored everywhere.
///
/// One histogram is the current one of the process; counting functions make theirs current, and nobody keeps it alive.
/// The counting functions and the palette builders (PaletteQuantizer.h) hold one lock while they run, so calls from
/// several threads are safe, one after the other, where each has a histogram of its own. UseHistogram,
/// FreeHistogram, GetHistogram and the two increments take no lock. None throws.
///
/// Counting functions walk inHeight rows of inWidth pixels. From the end of a row's pixels they step to the next row by
/// (inRowBytes - bytes of the row's pixels) AND 0xFFFF: rows must not be shorter than their pixels, and not run
/// backwards. Pixels of 24 and 32 bits are bytes blue, green, red(, unused). A width or height of 0 or less and null
/// pointers count nothing.

#include "VFExport.h"
#include "WindowsApi_Types.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

enum { kColourIndexes = 32768 }; ///< counters of a histogram, entries of a lookup map

/// Returns inHistogram when it is not null, as it is; else a new histogram of zeros from global memory (131,072 bytes),
/// which FreeHistogram frees; null when memory is exhausted.
VF_API void* InitHistogram(void* inHistogram);

/// Frees a histogram that InitHistogram made. It stops being the current one. Null and addresses that are not global
/// memory's are left alone; a block of the caller's own global memory would be freed.
VF_API void FreeHistogram(void* inHistogram);

/// Makes a histogram the current one; null: none.
VF_API void UseHistogram(void* inHistogram);

/// A counter of the current histogram, 0 without one. Of each channel the lower 5 bits count.
VF_API uint32_t GetHistogram(int32_t inRed5, int32_t inGreen5, int32_t inBlue5);

/// Adds 1 to a counter of the current histogram, or of the given one.
VF_API void IncHistogram(uint16_t inIndex);
VF_API void IncHistogramHist(uint16_t inIndex, void* ioHistogram);

VF_API void Histogram32(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram);
VF_API void Histogram24(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram);
VF_API void Histogram16(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram);

/// Pixels of 8, 4 and 1 bits are places in a table of colour indexes of 256, 16 and 2 entries. The highest bits of a
/// byte are its first pixel, and whole bytes are counted: where a row ends inside a byte, what follows there counts,
/// too.
VF_API void Histogram8(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram,
                       const uint16_t* inTable);
VF_API void Histogram4(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram,
                       const uint16_t* inTable);
VF_API void Histogram1(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes, void* ioHistogram,
                       const uint16_t* inTable);

/// As Histogram32, but the step between rows is taken as a signed 16-bit number, so rows may run backwards. inHeight.
VF_API int32_t Histogram32Hist(const void* inBits, int32_t inWidth, int32_t inHeight, int32_t inRowBytes,
                               void* ioHistogram);

/// Counts a rectangle of a device-independent bitmap of 1, 4, 8, 16, 24 or 32 bits; other depths count nothing. inX
/// (down to a whole byte) and inY count from the first stored row. A width below 0 or above the bitmap's is taken as
/// that, a height likewise. Null for inBits: the pixels follow the header and its colour table. In a header of up to 8
/// bits, a biClrUsed of 0 is replaced by the number of colours that its depth has. Row bytes are those of a bitmap's
/// rows with only the lower 16 bits kept. No byte before the first row or behind the last is read, where the header
/// tells the truth about its size. 1; 0 without a header or a histogram.
VF_API int32_t DibHistogram(BITMAPINFOHEADER* ioHeader, const void* inBits, int32_t inX, int32_t inY, int32_t inWidth,
                            int32_t inHeight, void* ioHistogram);

#if defined(__cplusplus)
}
#endif
