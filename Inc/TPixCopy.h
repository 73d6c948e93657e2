#pragma once

/// Copies, composites and warps between pixel maps (TPix.h). C and C++.
///
/// Rectangles and points are in picture coordinates, line 0 at the top; right and bottom are exclusive. Functions that
/// take handles write only where the pixels may be written (not where other processes read them) and touch nothing
/// outside the blocks behind their frames; what would has no effect. Handles that are null or were disposed of,
/// records without pixels in rows (planar, compressed, of a device) on either side, and null rectangles have none
/// either. Formats are those of the frames behind the handles, 32-bit BGRA where there is none. Results are 0 always.
/// Source and destination may overlap: the source is read as it was before, for which masked and blended copies take
/// memory, and do nothing without it.
///
/// No state is shared; a record belongs to one caller at a time. Functions with handles may throw what their frames
/// throw.

#include "TPix.h"
#include "VFExport.h"
#include "WindowsApi_Types.h"

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Bits of MyCopyPix' mode; others are ignored.
enum {
    kTPixCopy_Blend = 0x8000,    ///< blend with the weight in the low 8 bits: 0 copies nothing, 255 plainly
    kTPixCopy_ByteMask = 0x1000, ///< the mask is a TPixHand, one byte a pixel; wins over the next bit
    kTPixCopy_BitMask = 0x2000,  ///< the mask is a HGLOBAL of bits; with neither bit it is a HRGN
};

/// Copies a rectangle of 32-bit pixels, scaled (bicubic) where the sizes differ. What lies outside a picture is cut off
/// both rectangles: by as many pixels at equal sizes, in proportion otherwise.
///
/// At equal sizes only, with a mask pixels are copied where it selects them, and with a weight a of 1 to 254 bytes s
/// and d become (s * a + 127) / 255 + (d * (255 - a) + 127) / 255, with and without a mask of bits. A mask has the size
/// of the source rectangle before that is cut, and its walk begins with the picture's lowest line that is left: a mask
/// of bits at its last row, rows of ((width - 1) / 16 + 1) * 2 bytes, most significant bit first; a mask of bytes at
/// its first stored row, with CopyMask8's rule and without blending. A region is drawn into such a mask; when there is
/// no memory for that, or a HGLOBAL cannot be locked, the copy goes on without. A HGLOBAL that is smaller than its mask
/// copies nothing; a mask of bytes selects no pixels beyond its own.
///
/// The arguments are the records: what is behind them is not asked, so both rectangles of the pictures must be there,
/// and may be written. Records whose pixels have fewer than 32 bits copy nothing.
VF_API void MyCopyPix(const TPix* inSource, TPix* ioDestination, const RECT* inSourceRect,
                      const RECT* inDestinationRect, uint16_t inMode, void* inMask);

/// The same with handles; the first without a mask. The last two are one function.
VF_API void tpixCopy(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect, const RECT* inDestinationRect,
                     uint16_t inMode);
VF_API void tpixCopyRgn(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                        const RECT* inDestinationRect, uint16_t inMode, void* inMask);
VF_API void bn_StretchBits(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                           const RECT* inDestinationRect, uint16_t inMode, void* inMask);

/// Copies pixels into a rectangle, converting them to the destination's format. The rectangle is cut to the
/// destination's bounds where it stands; the point, which its left top corner comes from, moves into the source's
/// bounds, but does not follow that cut. The source must hold as many pixels from there on.
VF_API int32_t tpixStraightCopyRect(TPixHand inSource, POINT inSourcePoint, TPixHand ioDestination,
                                    RECT* ioDestinationRect);
VF_API int32_t tpixStraightCopy(TPixHand inSource, TPixHand ioDestination);

/// The same scaled (bicubic); both rectangles are cut to their bounds where they stand.
VF_API int32_t tpixStraightScaleRect(TPixHand inSource, RECT* ioSourceRect, TPixHand ioDestination,
                                     RECT* ioDestinationRect);
VF_API int32_t tpixStraightScale(TPixHand inSource, TPixHand ioDestination);

/// Fills a rectangle, which is cut to the destination's bounds where it stands, with pixels of A where bits of a mask
/// are set and of B elsewhere, converted to the destination's format. The mask has the destination's width and height:
/// rows of (width + 7) / 8 bytes rounded up to even, the top line first, most significant bit first. The points are
/// where the rectangle's left top corner lies in A, B and the mask; they move into the bounds of A, B and the
/// destination. Pixels that the mask has no bits for stay. Without a mask nothing happens.
VF_API int32_t tpixOneBitMaskCompositeRect(TPixHand inA, POINT inAPoint, TPixHand inB, POINT inBPoint,
                                           TPixHand ioDestination, RECT* ioDestinationRect, const void* inMaskBits,
                                           POINT inMaskPoint);
VF_API int32_t tpixOneBitMaskComposite(TPixHand inA, TPixHand inB, TPixHand ioDestination, const void* inMaskBits);

/// The same with the pixels of a region; nothing when there is no memory for its mask.
VF_API int32_t tpixOneBitMaskRegionCompositeRect(TPixHand inA, POINT inAPoint, TPixHand inB, POINT inBPoint,
                                                 TPixHand ioDestination, RECT* ioDestinationRect, HRGN inRegion,
                                                 POINT inMaskPoint);
VF_API int32_t tpixOneBitMaskRegionComposite(TPixHand inA, TPixHand inB, TPixHand ioDestination, HRGN inRegion);

/// Composites a picture over black into one of the same format and size; otherwise nothing.
VF_API int32_t tpixCompositeToBlack(TPixHand inSource, TPixHand ioDestination);

/// A point whose coordinates have 16 bits behind the binary point.
typedef struct TPixFixedPoint {
    int32_t x;
    int32_t y;
} TPixFixedPoint;

/// Projects a quadrilateral of the source, taken as 32-bit BGRA, onto one of the destination (PB_WarpAffineQuad): four
/// corners each, in the same order. Pixels outside the destination's quadrilateral stay; ones that are not convex
/// change nothing.
VF_API void bn_FixedToFixed(TPixHand inSource, TPixHand ioDestination, const TPixFixedPoint* inSourceQuad,
                            const TPixFixedPoint* inDestinationQuad);

/// The same with corners in whole pixels, which wrap beyond 16 bits.
VF_API void bn_MapPolygon(TPixHand inSource, TPixHand ioDestination, const POINT* inSourceQuad,
                          const POINT* inDestinationQuad);

/// The same from a rectangle, from its left top corner clockwise.
VF_API void bn_DistortPolygon(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                              const POINT* inDestinationQuad);
VF_API void bn_DistortFixed(TPixHand inSource, TPixHand ioDestination, const RECT* inSourceRect,
                            const TPixFixedPoint* inDestinationQuad);

/// One function, which does nothing. Kept because programs link against these names.
VF_API void bn_AudioMix(void);
VF_API void bn_AudioLimit(void);
VF_API void bn_AudioMunge(void);
VF_API void bn_AudioStretch(void);
VF_API void bn_AudioSum(void);
VF_API void bn_ImageKey(void);
VF_API void bn_Resample(void);

#if defined(__cplusplus)
}
#endif
