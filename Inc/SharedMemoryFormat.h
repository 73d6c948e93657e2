#pragma once

/// The block format: 128 bytes of header, then the pixels. It is the only format that leaves the process.

#include "VFExport.h"
#include "zynmediatypes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace VF {

/// A rectangle as the header keeps it.
struct SharedMemoryRect {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// The header at the start of every block. Little-endian. The first pixel byte lies at block + 128 + pixelOffset.
struct SharedMemoryVideoFrameHeader {
    std::uint32_t headerSize; ///< bytes of this header: 128
    std::uint32_t version;    ///< 6; pixelOffset counts from version 6 on
    std::uint32_t blockSize;  ///< low 32 bits of the block's size, header included
    zynmediatypes::PixelFormat pixelFormat;
    std::int32_t originX; ///< read as a pair with originY: if either is negative, both are -1
    std::int32_t originY;
    std::int32_t width; ///< pixels
    std::int32_t height;
    std::uint32_t fieldType; ///< zynmediatypes::FieldType
    std::uint32_t alphaType; ///< a kAlphaType_ code
    SharedMemoryRect alphaBounds;
    zynmediatypes::PixelAspectRatio aspectRatio;
    std::int32_t rowBytes; ///< bytes from row to row; of the whole image without rows
    SharedMemoryRect userRect;
    std::uint32_t renderTime;
    std::uint32_t pixelOffset;             ///< bytes between the end of the header and the first pixel
    std::array<std::uint8_t, 32> reserved; ///< zero
};
inline constexpr std::size_t kSharedMemoryHeaderSize = 128;
inline constexpr std::uint32_t kSharedMemoryVersion = 6;

static_assert(sizeof(SharedMemoryVideoFrameHeader) == kSharedMemoryHeaderSize);
static_assert(offsetof(SharedMemoryVideoFrameHeader, pixelFormat) == 12);
static_assert(offsetof(SharedMemoryVideoFrameHeader, originX) == 20);
static_assert(offsetof(SharedMemoryVideoFrameHeader, width) == 28);
static_assert(offsetof(SharedMemoryVideoFrameHeader, fieldType) == 36);
static_assert(offsetof(SharedMemoryVideoFrameHeader, alphaBounds) == 44);
static_assert(offsetof(SharedMemoryVideoFrameHeader, aspectRatio) == 60);
static_assert(offsetof(SharedMemoryVideoFrameHeader, rowBytes) == 68);
static_assert(offsetof(SharedMemoryVideoFrameHeader, userRect) == 72);
static_assert(offsetof(SharedMemoryVideoFrameHeader, renderTime) == 88);
static_assert(offsetof(SharedMemoryVideoFrameHeader, pixelOffset) == 92);
static_assert(offsetof(SharedMemoryVideoFrameHeader, reserved) == 96);

/// Bytes of a block for a frame: image + 128 + prefix, rounded up to inBlockSize, plus room to move the pixels to an
/// aligned address. The placement values are those of CreateDiskAlignedVideoFrame. Unsigned 64-bit arithmetic; the
/// sign of a placement value only turns it off. Always returns 0.
VF_API int GetRequiredSharedMemorySizeForVideoFrame(zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight,
                                                    int inAlignment, int inBlockSize, int inPrefixBytes,
                                                    std::uint64_t& outSize);

/// Bytes between the end of the header and the first pixel, for a block at this address.
VF_API int DeterminePixelOffsetForVideoFrame(const void* inBlockStart, int inAlignment, int inBlockSize,
                                             int inPrefixBytes);

} // namespace VF
