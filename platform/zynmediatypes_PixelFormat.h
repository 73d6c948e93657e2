#pragma once

/// The pixel format of the suite: its two words, the bits of the properties word, and the one table of formats from
/// which every map between names, properties, sizes and converter values is derived.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zynmediatypes {

/// A four-character code; its first character is the lowest byte.
enum PixelFormatName : std::uint32_t {};

/// Bit field of a format's properties; the masks are below.
using PixelFormatProperties = std::uint32_t;

/// The code whose characters are text, first character in the lowest byte.
constexpr PixelFormatName FourCharacterCode(const char (&text)[5]) noexcept {
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i) {
        code = (code << 8) | static_cast<std::uint8_t>(text[i]);
    }
    return static_cast<PixelFormatName>(code);
}

/// What a frame's pixels are: name and properties. Two formats are equal only when both words are.
struct PixelFormat {
    PixelFormatName name = FourCharacterCode("badf");
    PixelFormatProperties properties = 0xC0000 | 0x3C000 | 0xE; // kPixelFormatProperties_Invalid
    friend constexpr bool operator==(const PixelFormat&, const PixelFormat&) noexcept = default;
};
static_assert(sizeof(PixelFormat) == 8);

/// Alpha codes, both in the properties word and as a frame's alpha type.
inline constexpr std::uint32_t kAlphaType_Straight = 1;
inline constexpr std::uint32_t kAlphaType_Premultiplied = 2;
inline constexpr std::uint32_t kAlphaType_None = 3;

/// Masks and values of the properties word.
inline constexpr PixelFormatProperties kProperty_YUV = 0x1;
inline constexpr PixelFormatProperties kPropertyMask_Precision = 0xE; ///< 0 = 8 bit, 1 = 10 bit, 2 = 16-bit words,
                                                                      ///< 5 = 32-bit float, 7 = none
inline constexpr int kPropertyShift_Precision = 1;
inline constexpr PixelFormatProperties kProperty_FullRange16 = 0x10; ///< 16u; clear: 15u, white = 32768
inline constexpr PixelFormatProperties kPropertyMask_Order = 0x60;   ///< 0 = BGRA, VUYA, UYVY; 1 = ARGB, YUYV
inline constexpr int kPropertyShift_Order = 5;
inline constexpr PixelFormatProperties kPropertyMask_Alpha = 0x380; ///< kAlphaType_ codes
inline constexpr int kPropertyShift_Alpha = 7;
inline constexpr PixelFormatProperties kPropertyMask_Chroma = 0xC00; ///< 0 = 4:4:4:4, 1 = 4:2:2, 2 = 4:1:1, 3 = 4:2:0
inline constexpr int kPropertyShift_Chroma = 10;
inline constexpr PixelFormatProperties kProperty_Linear = 0x1000;
inline constexpr PixelFormatProperties kProperty_FullRangeYUV = 0x2000;
inline constexpr PixelFormatProperties kPropertyMask_Storage = 0x3C000; ///< 0 rows, 1-8 DV, 9-12 planar, 15 opaque
inline constexpr int kPropertyShift_Storage = 14;
inline constexpr PixelFormatProperties kPropertyMask_Family = 0xC0000; ///< 1 = uncompressed, 3 = invalid
inline constexpr PixelFormatProperties kPropertyFamily_Uncompressed = 0x40000;
inline constexpr PixelFormatProperties kPropertyFamily_Invalid = 0xC0000;
inline constexpr PixelFormatProperties kProperty_BT709 = 0x100000;

/// Bits per component as the precision code says it: 8, 10, 16, 32, or 0.
enum class Precision : std::uint32_t { Bits8 = 0, Bits10 = 1, Words16 = 2, Float32 = 5, None = 7 };

/// Where a format keeps its pixels. The values are those of the storage bits and of the converter's top byte.
enum class Storage : std::uint32_t {
    Rows = 0,
    NTSCDV25 = 1,
    PALDV25 = 2,
    NTSCDV100_720p = 3,
    PALDV100_720p = 4,
    NTSCDV100_1080i = 5,
    PALDV100_1080i = 6,
    NTSCDV50 = 7,
    PALDV50 = 8,
    PlanarMPEG2Field = 9,
    PlanarMPEG2Frame = 10,
    PlanarMPEG4Field = 11,
    PlanarMPEG4Frame = 12,
    Opaque = 15,
};

enum class Chroma : std::uint32_t { C444 = 0, C422 = 1, C411 = 2, C420 = 3 };

constexpr Precision PrecisionOf(PixelFormat format) noexcept {
    return static_cast<Precision>((format.properties & kPropertyMask_Precision) >> kPropertyShift_Precision);
}
constexpr Storage StorageOf(PixelFormat format) noexcept {
    return static_cast<Storage>((format.properties & kPropertyMask_Storage) >> kPropertyShift_Storage);
}
constexpr Chroma ChromaOf(PixelFormat format) noexcept {
    return static_cast<Chroma>((format.properties & kPropertyMask_Chroma) >> kPropertyShift_Chroma);
}
constexpr std::uint32_t AlphaOf(PixelFormat format) noexcept {
    return (format.properties & kPropertyMask_Alpha) >> kPropertyShift_Alpha;
}
constexpr bool IsDV(Storage storage) noexcept {
    return storage >= Storage::NTSCDV25 && storage <= Storage::PALDV50;
}
constexpr bool IsPlanar(Storage storage) noexcept {
    return storage >= Storage::PlanarMPEG2Field && storage <= Storage::PlanarMPEG4Frame;
}

namespace PixelFormatTable {

/// Packs the columns of a row into the properties word.
constexpr PixelFormatProperties Pack(bool yuv, std::uint32_t precision, std::uint32_t order, std::uint32_t alpha,
                                     std::uint32_t chroma, std::uint32_t flags, Storage storage) noexcept {
    return (yuv ? kProperty_YUV : 0U) | (precision << kPropertyShift_Precision) | (order << kPropertyShift_Order) |
           (alpha << kPropertyShift_Alpha) | (chroma << kPropertyShift_Chroma) | flags |
           (static_cast<std::uint32_t>(storage) << kPropertyShift_Storage) | kPropertyFamily_Uncompressed;
}

// Columns, in the words of the table below.
inline constexpr bool RGB = false;
inline constexpr bool YUV = true;
inline constexpr std::uint32_t u8 = 0; // 8 bit
inline constexpr std::uint32_t u10 = 1;
inline constexpr std::uint32_t u15 = 2; // 16-bit words, white = 32768
inline constexpr std::uint32_t u16 = 2 | (kProperty_FullRange16 >> kPropertyShift_Precision);
inline constexpr std::uint32_t f32 = 5;
inline constexpr std::uint32_t colourFirst = 0; // BGRA, VUYA, UYVY
inline constexpr std::uint32_t alphaFirst = 1;  // ARGB, YUYV (luma first)
inline constexpr std::uint32_t straight = kAlphaType_Straight;
inline constexpr std::uint32_t premult = kAlphaType_Premultiplied;
inline constexpr std::uint32_t none = kAlphaType_None;
inline constexpr std::uint32_t c444 = 0;
inline constexpr std::uint32_t c422 = 1;
inline constexpr std::uint32_t c411 = 2;
inline constexpr std::uint32_t c420 = 3;
inline constexpr PixelFormatProperties gamma = 0;
inline constexpr PixelFormatProperties linear = kProperty_Linear;
inline constexpr PixelFormatProperties bt601 = 0;
inline constexpr PixelFormatProperties bt709 = kProperty_BT709;
inline constexpr PixelFormatProperties full601 = kProperty_FullRangeYUV;

} // namespace PixelFormatTable

// clang-format off
// name of the constant                                      code    model prec order        alpha     chroma flags    storage           converter
#define ZYNMEDIATYPES_PIXEL_FORMATS(X)                                                                                                             \
    X(BGRA_4444_8u,                                          "bgra", RGB,  u8,  colourFirst, straight, c444,  gamma,   Rows,             0x4)       \
    X(BGRP_4444_8u,                                          "bgrp", RGB,  u8,  colourFirst, premult,  c444,  gamma,   Rows,             0x8)       \
    X(BGRX_4444_8u,                                          "bgrx", RGB,  u8,  colourFirst, none,     c444,  gamma,   Rows,             0xC)       \
    X(BGRA_4444_15u,                                         "Bgra", RGB,  u15, colourFirst, straight, c444,  gamma,   Rows,             0x84)      \
    X(BGRP_4444_15u,                                         "Bgrp", RGB,  u15, colourFirst, premult,  c444,  gamma,   Rows,             0x88)      \
    X(BGRX_4444_15u,                                         "Bgrx", RGB,  u15, colourFirst, none,     c444,  gamma,   Rows,             0x8C)      \
    X(BGRA_4444_16u,                                         "Bg16", RGB,  u16, colourFirst, straight, c444,  gamma,   Rows,             0)         \
    X(BGRA_4444_32f,                                         "BGra", RGB,  f32, colourFirst, straight, c444,  gamma,   Rows,             0x104)     \
    X(BGRA_4444_32f_Linear,                                  "BGaL", RGB,  f32, colourFirst, straight, c444,  linear,  Rows,             0x106)     \
    X(BGRP_4444_32f,                                         "BGrp", RGB,  f32, colourFirst, premult,  c444,  gamma,   Rows,             0x108)     \
    X(BGRP_4444_32f_Linear,                                  "BGpL", RGB,  f32, colourFirst, premult,  c444,  linear,  Rows,             0x10A)     \
    X(BGRX_4444_32f,                                         "BGrx", RGB,  f32, colourFirst, none,     c444,  gamma,   Rows,             0x10C)     \
    X(BGRX_4444_32f_Linear,                                  "BGxL", RGB,  f32, colourFirst, none,     c444,  linear,  Rows,             0x10E)     \
    X(VUYA_4444_8u,                                          "vuya", YUV,  u8,  colourFirst, straight, c444,  bt601,   Rows,             0x805)     \
    X(VUYP_4444_8u,                                          "vuyp", YUV,  u8,  colourFirst, premult,  c444,  bt601,   Rows,             0x809)     \
    X(VUYX_4444_8u,                                          "vuyx", YUV,  u8,  colourFirst, none,     c444,  bt601,   Rows,             0x80D)     \
    X(UYVY_422_8u,                                           "uyvy", YUV,  u8,  colourFirst, none,     c422,  bt601,   Rows,             0x811)     \
    X(V210_422_10u,                                          "v210", YUV,  u10, colourFirst, none,     c422,  bt601,   Rows,             0x851)     \
    X(VUYA_4444_16u,                                         "Vuya", YUV,  u16, colourFirst, straight, c444,  bt601,   Rows,             0)         \
    X(VUYA_4444_32f,                                         "VUya", YUV,  f32, colourFirst, straight, c444,  bt601,   Rows,             0x905)     \
    X(VUYP_4444_32f,                                         "VUyp", YUV,  f32, colourFirst, premult,  c444,  bt601,   Rows,             0x909)     \
    X(VUYX_4444_32f,                                         "VUyx", YUV,  f32, colourFirst, none,     c444,  bt601,   Rows,             0x90D)     \
    X(VUYA_4444_8u_709,                                      "vUYa", YUV,  u8,  colourFirst, straight, c444,  bt709,   Rows,             0xA05)     \
    X(VUYP_4444_8u_709,                                      "vup7", YUV,  u8,  colourFirst, premult,  c444,  bt709,   Rows,             0xA09)     \
    X(VUYX_4444_8u_709,                                      "vux7", YUV,  u8,  colourFirst, none,     c444,  bt709,   Rows,             0xA0D)     \
    X(UYVY_422_8u_709,                                       "uyv7", YUV,  u8,  colourFirst, none,     c422,  bt709,   Rows,             0xA11)     \
    X(V210_422_10u_709,                                      "v211", YUV,  u10, colourFirst, none,     c422,  bt709,   Rows,             0xA51)     \
    X(VUYA_4444_32f_709,                                     "VUYA", YUV,  f32, colourFirst, straight, c444,  bt709,   Rows,             0xB05)     \
    X(VUYP_4444_32f_709,                                     "VUp7", YUV,  f32, colourFirst, premult,  c444,  bt709,   Rows,             0xB09)     \
    X(VUYX_4444_32f_709,                                     "VUx7", YUV,  f32, colourFirst, none,     c444,  bt709,   Rows,             0xB0D)     \
    X(ARGB_4444_8u,                                          "argb", RGB,  u8,  alphaFirst,  straight, c444,  gamma,   Rows,             0x1004)    \
    X(PRGB_4444_8u,                                          "prgb", RGB,  u8,  alphaFirst,  premult,  c444,  gamma,   Rows,             0x1008)    \
    X(XRGB_4444_8u,                                          "xrgb", RGB,  u8,  alphaFirst,  none,     c444,  gamma,   Rows,             0x100C)    \
    X(ARGB_4444_15u,                                         "Argb", RGB,  u15, alphaFirst,  straight, c444,  gamma,   Rows,             0x1084)    \
    X(PRGB_4444_15u,                                         "Prgb", RGB,  u15, alphaFirst,  premult,  c444,  gamma,   Rows,             0x1088)    \
    X(XRGB_4444_15u,                                         "Xrgb", RGB,  u15, alphaFirst,  none,     c444,  gamma,   Rows,             0x108C)    \
    X(ARGB_4444_32f,                                         "ARgb", RGB,  f32, alphaFirst,  straight, c444,  gamma,   Rows,             0x1104)    \
    X(ARGB_4444_32f_Linear,                                  "ARgL", RGB,  f32, alphaFirst,  straight, c444,  linear,  Rows,             0x1106)    \
    X(PRGB_4444_32f,                                         "PRgb", RGB,  f32, alphaFirst,  premult,  c444,  gamma,   Rows,             0x1108)    \
    X(PRGB_4444_32f_Linear,                                  "PRgL", RGB,  f32, alphaFirst,  premult,  c444,  linear,  Rows,             0x110A)    \
    X(XRGB_4444_32f,                                         "XRgb", RGB,  f32, alphaFirst,  none,     c444,  gamma,   Rows,             0x110C)    \
    X(XRGB_4444_32f_Linear,                                  "XRgL", RGB,  f32, alphaFirst,  none,     c444,  linear,  Rows,             0x110E)    \
    X(YUYV_422_8u,                                           "yuy2", YUV,  u8,  alphaFirst,  none,     c422,  bt601,   Rows,             0x1811)    \
    X(YUYV_422_8u_709,                                       "yuy3", YUV,  u8,  alphaFirst,  none,     c422,  bt709,   Rows,             0x1A11)    \
    X(NTSCDV25,                                              "dvn2", YUV,  u8,  colourFirst, none,     c411,  bt601,   NTSCDV25,         0x1000821) \
    X(PALDV25,                                               "dvp2", YUV,  u8,  colourFirst, none,     c420,  bt601,   PALDV25,          0x2000821) \
    X(NTSC_DV100_720p,                                       "dvn7", YUV,  u8,  colourFirst, none,     c422,  bt709,   NTSCDV100_720p,   0x3000A21) \
    X(PAL_DV100_720p,                                        "dvp7", YUV,  u8,  colourFirst, none,     c422,  bt709,   PALDV100_720p,    0x4000A21) \
    X(NTSC_DV100_1080i,                                      "dvn1", YUV,  u8,  colourFirst, none,     c422,  bt709,   NTSCDV100_1080i,  0x5000A21) \
    X(PAL_DV100_1080i,                                       "dvp1", YUV,  u8,  colourFirst, none,     c422,  bt709,   PALDV100_1080i,   0x6000A21) \
    X(NTSCDV50,                                              "dvn5", YUV,  u8,  colourFirst, none,     c422,  bt601,   NTSCDV50,         0x7000821) \
    X(PALDV50,                                               "dvp5", YUV,  u8,  colourFirst, none,     c422,  bt601,   PALDV50,          0x8000821) \
    X(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601_FullRange,   "yvif", YUV,  u8,  colourFirst, none,     c420,  full601, PlanarMPEG2Field, 0x9000031) \
    X(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601,             "yvi2", YUV,  u8,  colourFirst, none,     c420,  bt601,   PlanarMPEG2Field, 0x9000831) \
    X(YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709,             "yvi7", YUV,  u8,  colourFirst, none,     c420,  bt709,   PlanarMPEG2Field, 0x9000A31) \
    X(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601_FullRange,   "yv1f", YUV,  u8,  colourFirst, none,     c420,  full601, PlanarMPEG2Frame, 0xA000031) \
    X(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601,             "yv12", YUV,  u8,  colourFirst, none,     c420,  bt601,   PlanarMPEG2Frame, 0xA000831) \
    X(YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709,             "yv17", YUV,  u8,  colourFirst, none,     c420,  bt709,   PlanarMPEG2Frame, 0xA000A31) \
    X(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601_FullRange,   "Yvif", YUV,  u8,  colourFirst, none,     c420,  full601, PlanarMPEG4Field, 0xB000031) \
    X(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_601,             "Yvi2", YUV,  u8,  colourFirst, none,     c420,  bt601,   PlanarMPEG4Field, 0xB000831) \
    X(YUV_420_MPEG4_FIELD_PICTURE_PLANAR_8u_709,             "Yvi7", YUV,  u8,  colourFirst, none,     c420,  bt709,   PlanarMPEG4Field, 0xB000A31) \
    X(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601_FullRange,   "Yv1f", YUV,  u8,  colourFirst, none,     c420,  full601, PlanarMPEG4Frame, 0xC000031) \
    X(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_601,             "Yv12", YUV,  u8,  colourFirst, none,     c420,  bt601,   PlanarMPEG4Frame, 0xC000831) \
    X(YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709,             "Yv17", YUV,  u8,  colourFirst, none,     c420,  bt709,   PlanarMPEG4Frame, 0xC000A31)
// clang-format on

/// Position of a format in the table.
enum class PixelFormatIndex : std::size_t {
#define ZYNMEDIATYPES_ROW(constant, ...) constant,
    ZYNMEDIATYPES_PIXEL_FORMATS(ZYNMEDIATYPES_ROW)
#undef ZYNMEDIATYPES_ROW
        Count
};

/// One format of the table.
struct PixelFormatRow {
    PixelFormat format;
    std::uint32_t converterValue; ///< the pixel converter's value, 0 when the converter does not know the format
    std::string_view constant;    ///< the constant's name without kPixelFormat_
};

inline constexpr std::array kPixelFormatTable{
#define ZYNMEDIATYPES_ROW(constant, code, model, precision, order, alpha, chroma, flags, storage, converter)           \
    PixelFormatRow{{FourCharacterCode(code),                                                                           \
                    PixelFormatTable::Pack(PixelFormatTable::model, PixelFormatTable::precision,                       \
                                           PixelFormatTable::order, PixelFormatTable::alpha, PixelFormatTable::chroma, \
                                           PixelFormatTable::flags, Storage::storage)},                                \
                   converter,                                                                                          \
                   #constant},
    ZYNMEDIATYPES_PIXEL_FORMATS(ZYNMEDIATYPES_ROW)
#undef ZYNMEDIATYPES_ROW
};
static_assert(kPixelFormatTable.size() == static_cast<std::size_t>(PixelFormatIndex::Count));

// kPixelFormat_BGRA_4444_8u and the others.
#define ZYNMEDIATYPES_ROW(constant, ...)                                                                               \
    inline constexpr PixelFormat kPixelFormat_##constant =                                                             \
        kPixelFormatTable[static_cast<std::size_t>(PixelFormatIndex::constant)].format;
ZYNMEDIATYPES_PIXEL_FORMATS(ZYNMEDIATYPES_ROW)
#undef ZYNMEDIATYPES_ROW

/// Properties of the invalid format and of every unknown name.
inline constexpr PixelFormatProperties kPixelFormatProperties_Invalid =
    kPropertyMask_Precision | kPropertyMask_Storage | kPropertyFamily_Invalid;

/// Properties of every custom format: nothing is known about its pixels. Neither has it alpha nor rows.
inline constexpr PixelFormatProperties kPixelFormatProperties_Custom =
    kPropertyMask_Precision | (kAlphaType_None << kPropertyShift_Alpha) | kPropertyMask_Chroma | kPropertyMask_Storage |
    kPropertyFamily_Uncompressed;

inline constexpr PixelFormat kPixelFormat_Invalid{FourCharacterCode("badf"), kPixelFormatProperties_Invalid};

// The converter's own spelling of the DV constants.
inline constexpr PixelFormat kPixelFormat_NTSCDV100_720p = kPixelFormat_NTSC_DV100_720p;
inline constexpr PixelFormat kPixelFormat_PALDV100_720p = kPixelFormat_PAL_DV100_720p;
inline constexpr PixelFormat kPixelFormat_NTSCDV100_1080i = kPixelFormat_NTSC_DV100_1080i;
inline constexpr PixelFormat kPixelFormat_PALDV100_1080i = kPixelFormat_PAL_DV100_1080i;

/// True for the codes that belong to the suite's own callers: first character '@' or '_'.
constexpr bool IsCustomName(PixelFormatName name) noexcept {
    const auto first = static_cast<std::uint32_t>(name) & 0xFFU;
    return first == '@' || first == '_';
}

} // namespace zynmediatypes
