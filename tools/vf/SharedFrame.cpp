#include "SharedFrame.h"

#include "ExitCodes.h"
#include "PixelFormatUtilities.h"
#include "SharedMemoryFormat.h"
#include "Text.h"
#include "VFResults.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameSharing.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace tool {
namespace {

using namespace zynmediatypes;
using VF::kSharedMemoryHeaderSize;

bool IsKnown(PixelFormat format) {
    return format != kPixelFormat_Invalid &&
           std::any_of(kPixelFormatTable.begin(), kPixelFormatTable.end(),
                       [format](const PixelFormatRow& row) { return row.format == format; });
}

// Bytes from the first to the end of the last pixel as the header has them, or 0 when its row bytes are too few.
std::uint64_t BytesOfPixels(const VF::SharedMemoryVideoFrameHeader& header) {
    const std::uint64_t image = PixelFormatSize(header.pixelFormat, header.width, header.height);
    if (StorageOf(header.pixelFormat) != Storage::Rows) {
        return image;
    }
    const std::uint64_t row = PixelFormatSize(header.pixelFormat, header.width, 1);
    if (header.rowBytes < 0 || static_cast<std::uint64_t>(header.rowBytes) < row) {
        return 0;
    }
    // Both factors have 31 bits.
    return static_cast<std::uint64_t>(header.rowBytes) * static_cast<std::uint64_t>(header.height - 1) + row;
}

PixelAspectRatio SaneRatio(PixelAspectRatio ratio) {
    constexpr std::uint32_t largest = std::numeric_limits<std::int32_t>::max();
    const bool sane = ratio.numerator - 1 < largest && ratio.denominator - 1 < largest;
    return sane ? ratio : kPixelAspectRatio_Square;
}

} // namespace

std::optional<FrameDescription> DescribeFrame(const BlockBytes& block) {
    const std::uint64_t size = block.Size();
    if (size < kSharedMemoryHeaderSize) {
        return std::nullopt;
    }
    VF::SharedMemoryVideoFrameHeader header;
    std::memcpy(&header, block.Data(), sizeof(header));
    const std::uint64_t start = kSharedMemoryHeaderSize + std::uint64_t{header.version > 5 ? header.pixelOffset : 0};
    if (header.headerSize != kSharedMemoryHeaderSize || header.version == 0 ||
        header.version > VF::kSharedMemoryVersion || header.width < 1 || header.height < 1 || start > size) {
        return std::nullopt;
    }
    const bool custom = VF::IsCustomBEPixelFormat(header.pixelFormat);
    if (!custom) {
        const std::uint64_t bytes = IsKnown(header.pixelFormat) ? BytesOfPixels(header) : 0;
        if (bytes == 0 || bytes > size - start) {
            return std::nullopt;
        }
    }
    return FrameDescription{header.width, header.height, header.pixelFormat, custom, header.renderTime};
}

Frame CopyOfSharedFrame(const boost::shared_ptr<framebroker::BinaryReference>& block, const zyncore::utility::Guid& id,
                        const std::string& what) {
    const auto description = DescribeFrame(BlockBytes(block));
    if (!description) {
        throw Failure(ExitCode::ConversionRefused, what + ": the block under this Guid holds no frame");
    }
    const std::string refused = what + ": the library does not read " +
                                PictureText(description->width, description->height, description->format.name);
    Frame shared;
    if (description->isCustom || VF::WrapVideoFrameAroundBinaryReference(block, id, shared) != VF::kResult_Success) {
        throw Failure(ExitCode::ConversionRefused, refused);
    }
    Frame copy = MakeFrame(description->format, description->width, description->height,
                           SaneRatio(shared->GetPixelAspectRatio()));
    const int result = VF::VideoFrameManipulators::CopyFrame(shared, copy, kRenderQuality_High);
    if (result == VF::kResult_BufferTooSmall) {
        throw std::bad_alloc();
    }
    if (result != VF::kResult_Success) {
        throw Failure(ExitCode::ConversionRefused, refused);
    }
    return copy;
}

Matrix MatrixOf(const Frame& frame) {
    const PixelFormat format = frame->GetPixelType();
    if ((format.properties & kProperty_YUV) == 0) {
        return DefaultMatrix(HeightOf(frame));
    }
    return (format.properties & kProperty_BT709) != 0 ? Matrix::BT709 : Matrix::BT601;
}

} // namespace tool
