#pragma once

/// Polygons and Bézier outlines filled with the pixels of another pixel map. C and C++.
///
/// Coordinates count pixels from the first stored row and the first column: x to the right, y in stored-row order, so
/// y = 0 is the picture's bottom line; the centre of pixel (x, y) is (x + 0.5, y + 0.5). A pixel belongs to the polygon
/// when its centre lies inside by the even-odd rule, and takes a bilinear sample of the source at the same coordinates.
/// All arithmetic is in single precision and in a fixed order, so a polygon gives the same bytes everywhere.
///
/// Both records are of 32-bit pixels with four 8-bit channels; the destination's alpha becomes the sample's. Nothing is
/// drawn, and no error reported, when a record is null, of other pixels or of more than 2^24 pixels a side, when the
/// destination's frame must not be written, when a coordinate is infinite or not a number, or when memory is exhausted.
/// What lies outside the destination is clipped. Different destinations may be drawn at once from several threads.

#include "TPix.h"

#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct PolygonPoint {
    float x;
    float y;
} PolygonPoint;

/// The caller's growable array, which is only read: `size` points from `data` on.
typedef struct PolygonPointArray {
    PolygonPoint* data;
    size_t size;
    size_t capacity; ///< points that fit in data; not looked at
} PolygonPointArray;

/// Fills the polygon whose last point connects to its first. The host SDK's pixel format does not change what is drawn.
VF_API void DoRenderPolygon(TPixHand inDestination, TPixHand inSource, const PolygonPointArray* inPoints,
                            uint32_t inKxPixelFormat);

/// Fills the closed outline of (size - 1) / 3 cubic segments; segment k has the control points 3k to 3k + 3. Points
/// beyond the last whole segment are ignored. Each segment becomes lines that are at most half a pixel off.
VF_API void DoRenderPolyBezier(TPixHand inDestination, TPixHand inSource, const PolygonPointArray* inPoints,
                               uint32_t inKxPixelFormat);

#if defined(__cplusplus)
}
#endif
