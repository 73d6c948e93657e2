#pragma once

/// The suite's pixel converter: conversion between every pair of formats, scaling, fills and addresses.
///
/// Rules that hold for every function here:
/// - A format is a converter value (zynmediatypes' table lists them). 0 is no format; kPB_CustomFormat stands for every
///   custom format.
/// - Row formats keep the picture's bottom row first (PB_IsOriginBottomLeft). Planar and DV images keep the top row
///   first, as their standards have it, and the converter turns them over.
/// - A stride (row bytes) may be negative: rows then lie at decreasing addresses. For a picture of height 1 it is not
///   looked at (callers pass 0). For formats with a top byte (planar, DV, custom) the image is one run of bytes and the
///   stride is not looked at, except where PB_Convert copies between equal formats, and except for DV that is decoded,
///   encoded or filled: a stride other than 0 whose magnitude is below the frame's bytes is an error.
/// - A width or height of 0 or less is nothing to do: result 0, nothing touched.
/// - Otherwise null pointers, unknown formats, strides whose magnitude is below a row and sizes that overflow give an
///   error, and nothing has been written.
/// - Sources are only read. A destination may overlap its source: the result is the same, but unless the picture is
///   converted in place to pixels that are no larger, a copy of the source is made first.
/// - Odd widths in 4:2:2, V210 and 4:2:0: what a unit holds beyond the last pixel repeats that pixel. V210 writes whole
///   groups of 16 bytes and never the rest of a row.
/// - DV (IEC 61834-2, SMPTE 314M, SMPTE 370M) has one size for each format: 720x480 or 720x576, DV100 960x720 or
///   1280x1080 (60 Hz) and 1440x1080 (50 Hz); at any other size conversions answer kPB_UnsupportedGeometry. Equal
///   formats of equal sizes copy, whatever the size. libavcodec does the coding and is loaded when the first DV picture
///   is met; where it is not installed DV answers kPB_UnsupportedFormat. A frame with other blocks than its format has,
///   or with more than an eighth of them lost, answers kPB_BadData; smaller damage is concealed. Nothing is logged.
///   Encoding a picture gives the same bytes each time. DV25 and DV50 are lower field first, 1080i upper field first.
/// - Colour: BT.601 and BT.709 in studio range, full range where the format says so. 4:2:2 and MPEG-2 chroma is sited
///   on the left of two columns, MPEG-4 chroma between them; 4:2:0 chroma lies between two rows, in field pictures
///   between two lines of its own field. DV's 4:2:2 and 4:1:1 chroma lies on the first of its columns; of PAL DV25's
///   4:2:0 chroma V lies on the even and U on the odd lines of its own field. Chroma is interpolated linearly towards
///   full size and filtered by a triangle towards half and a quarter; where neither matrix nor siting changes it is not
///   resampled. Linear light goes through the sRGB
///   curve (IEC 61966-2-1), continued as an odd function below 0 and by its power above 1.
/// - Alpha: colours are multiplied or divided in the encoding of the premultiplied side; alpha 0 gives colour 0.
///   Towards formats without alpha, colours stay as they are and the fourth channel becomes opaque.
/// - Codes are rounded to the nearest, halves up, and clipped to what the format holds; NaN becomes the lowest code.
///   Conversions give the same bytes on every processor.
/// - All functions may be called from any thread at any time, also before PB_Initialize; two calls must not write the
///   same destination at once. None throws, PB_PlanScaleConvert excepted.

#include "SymbolVisibility.h"

#include <cstddef>
#include <cstdint>
#include <string>

#if defined(PixelBlitter_EXPORTS)
#define PIXELBLITTER_API VF_SYMBOL_EXPORT
#else
#define PIXELBLITTER_API VF_SYMBOL_IMPORT
#endif

/// A converter value. The top byte is 0 for row formats.
using PB_PixelFormat = std::int32_t;

/// The same under its enumeration name.
using PixelBlitterPixelFormat = PB_PixelFormat;

inline constexpr PB_PixelFormat kPB_NoFormat = 0;
inline constexpr PB_PixelFormat kPB_CustomFormat = 0x7F000020;

/// Results. Every other negative value is reserved.
enum PB_Result : int {
    kPB_Success = 0,
    kPB_BadArgument = -1,       ///< null pointer, stride below a row, size that overflows, rectangle without an address
    kPB_UnsupportedFormat = -2, ///< unknown format, or a pair that cannot be converted
    kPB_UnsupportedGeometry = -3, ///< a size that the format cannot have, such as DV off its raster
    kPB_BadData = -4,             ///< compressed data that cannot be decoded
    kPB_OutOfMemory = -16,        ///< memory exhausted, and only that
};

/// Starts and stops the converter. Calls are counted; the last PB_Terminate frees what the converter caches
/// (it fills again when needed), and one without a PB_Initialize is ignored.
PIXELBLITTER_API int PB_Initialize() noexcept;
PIXELBLITTER_API void PB_Terminate() noexcept;

/// Bytes of an image of the format; for height 1, of one row. 0 for unknown and custom formats and sizes of 0 or less.
PIXELBLITTER_API std::uint64_t PB_PixelFormatSize(PB_PixelFormat format, int width, int height) noexcept;

/// True when the first row in memory is the picture's bottom row: every row format. False for planar, DV, custom and
/// unknown formats.
PIXELBLITTER_API bool PB_IsOriginBottomLeft(PB_PixelFormat format) noexcept;

/// Stores the address of the pixel at column left, row top (counted in memory order) of a buffer in outStart. width and
/// height are those of the rectangle that the caller is going to use there. left is rounded down to an even column in
/// 4:2:2 and to a group of 6 in V210, the units that have an address. For formats with a top byte only (0, 0) has an
/// address, and only whole images may be used; anything else is an error.
PIXELBLITTER_API int PB_ClipBufferToRect(const void* buffer, int rowBytes, int width, int height, PB_PixelFormat format,
                                         int left, int top, const void** outStart) noexcept;
PIXELBLITTER_API int PB_ClipBufferToRect(void* buffer, int rowBytes, int width, int height, PB_PixelFormat format,
                                         int left, int top, void** outStart) noexcept;

/// Converts a picture of width x height pixels. The quality has RenderQuality's scale; without scaling it chooses
/// nothing today. Equal formats copy, repacking rows; equal formats with a top byte (custom included) move one run of
/// min(|source stride|, |destination stride|) bytes, for planar and DV at most the image's own size (a stride of 0 is
/// no limit there).
PIXELBLITTER_API int PB_Convert(const void* source, int sourceRowBytes, PB_PixelFormat sourceFormat, void* destination,
                                int destinationRowBytes, PB_PixelFormat destinationFormat, int width, int height,
                                int quality) noexcept;

/// Converts and scales a whole source picture onto a whole destination picture. Filters by quality: 0 and 1 box, 2
/// bilinear, 3 bicubic, 4 and more Lanczos with 3 lobes; all of which widen with the ratio when a picture shrinks.
/// Bilinear means the box where a picture is halved: where each direction is halved exactly or does not shrink. Field
/// types as zynmediatypes::FieldType: 0 progressive; 1: field 0 holds the picture's top line; 2: the line below it; 3
/// and unknown values take the other side's type, progressive when both are unset. Between sides of different sizes
/// fields are scaled apart, each line from the place where it lies in the picture: of two interlaced sides field 0 onto
/// field 0 and field 1 onto field 1; a progressive source fills both fields; a progressive destination shows field 0 of
/// its source, the first in time. A picture of one line counts as progressive. Sides of equal size convert line by line
/// without resampling, whatever their field types. Pictures are filtered in the model and encoding of the source,
/// premultiplied where both sides have alpha.
PIXELBLITTER_API int PB_ScaleConvert(const void* source, int sourceRowBytes, int sourceWidth, int sourceHeight,
                                     PB_PixelFormat sourceFormat, int sourceFieldType, void* destination,
                                     int destinationRowBytes, int destinationWidth, int destinationHeight,
                                     PB_PixelFormat destinationFormat, int destinationFieldType, int quality) noexcept;

/// Fill a picture. Formats without alpha refuse the transparent fills with kPB_UnsupportedFormat. Black and white are
/// those of the format's own range.
PIXELBLITTER_API int PB_FillWithOpaqueBlack(void* data, int rowBytes, int width, int height,
                                            PB_PixelFormat format) noexcept;
PIXELBLITTER_API int PB_FillWithOpaqueWhite(void* data, int rowBytes, int width, int height,
                                            PB_PixelFormat format) noexcept;
PIXELBLITTER_API int PB_FillWithTransparentBlack(void* data, int rowBytes, int width, int height,
                                                 PB_PixelFormat format) noexcept;
PIXELBLITTER_API int PB_FillWithTransparentWhite(void* data, int rowBytes, int width, int height,
                                                 PB_PixelFormat format) noexcept;

/// Fills a picture with one colour: one pixel of colorFormat at color (two pixels where the format pairs pixels, six in
/// V210, in which case the whole group is repeated when the formats are equal), converted to format when they differ.
PIXELBLITTER_API int PB_FillWithColor(void* data, int rowBytes, int width, int height, PB_PixelFormat format,
                                      const void* color, PB_PixelFormat colorFormat) noexcept;

/// Mixes two pictures of one format into a third: a * (1 - weight) + b * weight, component by component and without
/// regard to alpha, in the format's own codes or floats. weight is the share of b, from 0 (a itself) to 1 (b itself);
/// values outside are taken as the nearer end, NaN as 0. Codes are rounded to the nearest, at weight 0.5 always halves
/// up; at other weights they are within 0.51 of the unrounded mix. Codes of 15-bit formats above white are mixed as
/// they are, and so are infinities and NaN in floats. All three formats must be equal, else kPB_UnsupportedFormat; so
/// answer custom and DV formats, too. Planar images are mixed as one run of bytes. quality chooses nothing.
///
/// destination may be a or b, or have its rows between theirs; where it overlaps a source in any other way that source
/// is copied first, and kPB_OutOfMemory is possible.
PIXELBLITTER_API int PB_CrossDissolve(const void* a, int aRowBytes, PB_PixelFormat aFormat, const void* b,
                                      int bRowBytes, PB_PixelFormat bFormat, void* destination, int destinationRowBytes,
                                      PB_PixelFormat destinationFormat, int width, int height, float weight,
                                      int quality) noexcept;

/// Copies bytes, which may overlap. 0 bytes and null pointers copy nothing.
PIXELBLITTER_API void PB_CopyMemory(void* destination, const void* source, std::size_t bytes) noexcept;

/// Merges two DV25 frames: the destination becomes a with the second field of b. Both are decoded, their lines woven,
/// and the frame is encoded again as an interlaced one; everything but the picture (sound, subcode, auxiliary data)
/// stays as a has it. frameBytes is 120000 (525 lines) or 144000 (625 lines), the bytes that each of the three
/// addresses must have; any other number is kPB_BadArgument. The first field is the lower one. The destination may be
/// a or b. kPB_BadData when one of them is no such frame, kPB_UnsupportedFormat without libavcodec; nothing has been
/// written then. quality chooses nothing.
PIXELBLITTER_API int PB_MergeDV(const void* a, const void* b, void* destination, std::size_t frameBytes,
                                int quality) noexcept;

/// The same for two frames of any DV format, each of PB_PixelFormatSize bytes at the format's raster. Field order is
/// the format's own; 720p has no fields, and the destination becomes a copy of a. kPB_UnsupportedFormat for formats
/// other than DV.
PIXELBLITTER_API int PB_MergeDVCPRO(const void* a, const void* b, void* destination, PB_PixelFormat format,
                                    int quality) noexcept;

/// Copies a picture with the complement of its alpha: full scale less alpha, in 15-bit formats not below 0. Colours
/// stay as they are, those of premultiplied formats, too, which then belong to another alpha than they were multiplied
/// by. Formats without alpha answer kPB_UnsupportedFormat. The destination may be the source; otherwise overlapping
/// rows are copied first.
PIXELBLITTER_API int PB_InvertAlpha(const void* source, int sourceRowBytes, void* destination, int destinationRowBytes,
                                    PB_PixelFormat format, int width, int height) noexcept;

/// The same with one alpha for all pixels, from 0 to 1 (opaque); values outside are taken as the nearer end, NaN as 0.
PIXELBLITTER_API int PB_CopyAndSetAlpha(const void* source, int sourceRowBytes, void* destination,
                                        int destinationRowBytes, PB_PixelFormat format, int width, int height,
                                        float alpha) noexcept;

/// Takes pixels from a where a bit of the mask is set and from b where it is not. Bits run from the most significant of
/// a byte to the least; that of the first pixel of the first row is bit startBit of the first byte, and each further
/// row begins maskRowBytes, which may be negative, after the one before. Rows of the mask belong to rows of the
/// pictures in the order in which these are addressed. a and b are converted where their formats are not the
/// destination's; every format with rows will do, others answer kPB_UnsupportedFormat. Two pixels that share chroma and
/// come from both pictures get the mean of both. quality chooses nothing.
///
/// destination may be a or b, or have its rows between theirs; where it overlaps a source in any other way that source
/// is copied first, and kPB_OutOfMemory is possible, as it is for conversions. The mask must not overlap it.
/// kPB_BadArgument without a mask, for a negative startBit and for mask rows that are shorter than the picture's.
PIXELBLITTER_API int PB_OneBitMaskComposite(const void* a, int aRowBytes, PB_PixelFormat aFormat, const void* b,
                                            int bRowBytes, PB_PixelFormat bFormat, const void* mask, int maskRowBytes,
                                            int startBit, void* destination, int destinationRowBytes,
                                            PB_PixelFormat destinationFormat, int width, int height,
                                            int quality) noexcept;

/// Composites a picture over opaque black: colours are multiplied by alpha, where the format has straight alpha, and by
/// weight, which is the picture's opacity from 0 to 1 (values outside are taken as the nearer end, NaN as 0), in the
/// format's own encoding and towards its own black; alpha becomes opaque. Pictures without alpha are opaque before.
/// Both formats must be the same one of four components, else kPB_UnsupportedFormat. quality chooses nothing. The
/// destination may be the source; otherwise overlapping rows are copied first.
PIXELBLITTER_API int PB_CompositeToBlack(const void* source, int sourceRowBytes, PB_PixelFormat sourceFormat,
                                         void* destination, int destinationRowBytes, PB_PixelFormat destinationFormat,
                                         int width, int height, float weight, int quality) noexcept;

/// A place in a picture, in pixels: the pixel in column c of row r covers c to c + 1 and r to r + 1. Rows count in the
/// order of memory, so those of row formats run upwards.
struct PB_Corner {
    double x;
    double y;
};

/// A whole number of pixels.
struct PB_Point {
    int x;
    int y;
};

/// Projects a quadrilateral of a picture onto one of another: corner i comes from corner i, straight lines stay
/// straight. Corners run around each quadrilateral in either direction, so pictures can be mirrored. Pixels of the
/// destination whose centres lie in its quadrilateral are sampled bilinearly; the rest of it stays as it is, and so do
/// pixels that would come from outside the source. Along the source's edges its outermost pixels continue. Of two
/// quadrilaterals that share an edge each pixel along it belongs to one. Weights have 14 bits, which keeps codes within
/// 0.52 of the exact sample. Straight alpha weighs the colours towards destinations that have alpha.
///
/// The source has 8-bit pixels of four components; the destination any format with rows. Otherwise the answer is
/// kPB_UnsupportedFormat. An origin is where the first pixel's outer corner lies in the coordinates of the corners.
/// Quadrilaterals that are not convex, have no area or corners in a line answer kPB_UnsupportedGeometry, as do pictures
/// of more than 2^24 columns or rows; corners farther away than that, or no numbers, kPB_BadArgument. Of the settings
/// there is one each: opacity 255, bilinear 1, clipped 1, and 0, 0, 1, 0 at the end; others are kPB_BadArgument, too.
/// Where destination and source overlap the source is copied first. Large pictures are divided among threads.
PIXELBLITTER_API int PB_WarpAffineQuad(int sourceWidth, int sourceHeight, const void* source, int sourceRowBytes,
                                       PB_Point sourceOrigin, const PB_Corner sourceCorners[4], void* destination,
                                       int destinationRowBytes, PB_Point destinationOrigin,
                                       const PB_Corner destinationCorners[4], PB_Point destinationSize,
                                       PB_PixelFormat sourceFormat, int opacity, int bilinear, int clipped,
                                       PB_PixelFormat destinationFormat, int setting0, int setting1, int setting2,
                                       int setting3) noexcept;

/// How a PB_ScaleConvert with these arguments would be done.
struct PB_Plan {
    int result = kPB_Success; ///< what the call would answer; the rest is meaningful only for success
    std::string path;         ///< "nothing", "copy", "shuffle" (moves of bytes), "depth" (another element type,
                              ///< light or association of alpha in one pass), "integers" (exact on codes), "fused"
                              ///< (8-bit and 10-bit codes in one pass),
                              ///< "float tiles"; "scale" (through floats), "scale integers" (8-bit pixels
                              ///< of four components) and "scale 2:1" (those by the box), followed by
                              ///< " fields", " the first field" or " into fields" where there are any.
                              ///< With DV preceded by "DV decode, ", followed by ", DV encode", or both
    std::string filter;       ///< "none", "box", "bilinear", "bicubic", "lanczos3": the one that is used
    int bands = 1;            ///< parts that may run on different threads
    std::uint64_t temporaryBytes = 0; ///< memory beside source and destination, when these do not overlap; of DV's
                                      ///< codec its frame and its planes
    std::uint64_t bytesMoved = 0;     ///< bytes of the source read and of the destination written, each once; 0 for
                                      ///< custom formats, whose size only a call states
};

/// Plans a PB_ScaleConvert without touching pixels. Strides count as those of packed rows. A scaling is prepared as the
/// call would, memory included, which is given back; its filter tables stay cached. May throw std::bad_alloc.
PIXELBLITTER_API PB_Plan PB_PlanScaleConvert(int sourceWidth, int sourceHeight, PB_PixelFormat sourceFormat,
                                             int sourceFieldType, int destinationWidth, int destinationHeight,
                                             PB_PixelFormat destinationFormat, int destinationFieldType, int quality);
