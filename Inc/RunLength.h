#pragma once

/// Run-length encoded bitmaps of 8 bits a pixel (BI_RLE8), and fields rebuilt from one another. C and C++.

#include "TPix.h"

#if defined(__cplusplus)
extern "C" {
#endif

/// Decodes a stream of runs, absolute runs, line ends and deltas until its end-of-bitmap code. Decoded rows lie
/// (biWidth + 3) & 0xFFFC bytes apart, biWidth being cut to 16 bits, in the order of the stream; what deltas and line
/// ends pass over keeps its bytes. The stream is trusted: it must end, and fit the destination. Null pointers are
/// nothing to do.
VF_API void DecodeRle(const BITMAPINFOHEADER* inHeader, void* outDestination, const void* inSource);
VF_API void PlayRle(const BITMAPINFOHEADER* inHeader, void* outDestination, const void* inSource);

/// The same between two packed bitmaps in global memory (header, biClrUsed * 4 bytes of colours, pixels), which are
/// locked meanwhile. The destination's header gives the width.
VF_API void PlayRleDib(HGLOBAL inDestinationDib, HGLOBAL inSourceDib);

/// Rebuilds the rows of one field of a picture of 32-bit pixels from those of the other: each becomes the average of
/// its two neighbours, rounded down, and one at the edge a copy of its only neighbour. With h the rectangle's height,
/// the even stored rows are kept when h is odd and the field is 1, or h is even and the field is not 1; else the odd
/// ones. The low 16 bits of the rectangle's bottom count the rows, those of its right the averaged pixels. Of an odd
/// number of rows the last one is not touched, nor need it be there. A copy moves the record's rowbytes, which in the
/// view of a field takes the other field's line behind a row along; of a row behind which that is not in the picture's
/// memory, the averaged pixels. Nothing happens when fewer than two rows are asked for, when the rows do not lie in
/// that memory or are not as long, or when the frame must not be written.
VF_API void InterpFrame(TPixHand inHand, const RECT* inRectangle, uint16_t inField);

#if defined(__cplusplus)
}
#endif
