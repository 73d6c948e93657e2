#include "CreateFrames.h"

#include "../BlockHeader.h"
#include "BinaryReferenceVideoFrame.h"
#include "MemoryRecyclerVideoFrame.h"
#include "WritableBinaryReferenceVideoFrame.h"

#include <cstring>
#include <optional>

namespace VF::Details {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

// Bytes of the block for a request; empty when the request has none. Sides beyond the signed 32-bit range arrive here
// as negative numbers: no block holds such a picture.
std::optional<std::uint64_t> BlockSizeOf(const FrameRequest& request) {
    std::uint64_t size = 0;
    if (request.width < 0 || request.height < 0 ||
        GetRequiredSharedMemorySizeForVideoFrame(request.format, request.width, request.height, request.alignment,
                                                 request.blockSize, request.prefixBytes, size) != 0 ||
        size == 0) {
        return std::nullopt;
    }
    return size;
}

// The sum wraps as a signed 32-bit word; what is then too small for a header is no block.
std::optional<std::uint64_t> CustomBlockSize(std::int32_t dataSize) {
    const auto size = static_cast<std::int32_t>(static_cast<std::uint32_t>(dataSize) +
                                                static_cast<std::uint32_t>(kSharedMemoryHeaderSize));
    if (size < static_cast<std::int32_t>(kSharedMemoryHeaderSize)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(size);
}

enum class Placement { ByRequest, None };

void WriteHeader(void* block, std::uint64_t blockSize, const FrameRequest& request, Placement placement) {
    SharedMemoryVideoFrameHeader header =
        MakeFreshHeader(blockSize, request.format, request.width, request.height, request.aspectRatio);
    if (placement == Placement::ByRequest) {
        header.pixelOffset = static_cast<std::uint32_t>(
            DeterminePixelOffsetForVideoFrame(block, request.alignment, request.blockSize, request.prefixBytes));
    }
    std::memcpy(block, &header, sizeof(header));
}

FrameRef MakeWritableBinaryReferenceFrame(const FrameRequest& request, std::optional<std::uint64_t> blockSize,
                                          Placement placement) {
    boost::shared_ptr<framebroker::WritableBinaryReference> reference;
    if (!blockSize || framebroker::GetWritableBinaryData(*blockSize, reference) != 0) {
        return nullptr;
    }
    WritableBinaryReferenceVideoFrame::Block block(std::move(reference));
    if (!block.Data()) {
        return nullptr;
    }
    WriteHeader(block.Data(), *blockSize, request, placement);
    return FrameRef(new WritableBinaryReferenceVideoFrame(std::move(block)));
}

FrameRef MakeMemoryRecyclerFrame(const FrameRequest& request, std::optional<std::uint64_t> blockSize,
                                 Placement placement) {
    if (!blockSize) {
        return nullptr;
    }
    RecycledBuffer buffer(*blockSize);
    if (!buffer.Data()) {
        return nullptr;
    }
    WriteHeader(buffer.Data(), *blockSize, request, placement);
    return FrameRef(new MemoryRecyclerVideoFrame(std::move(buffer)));
}

} // namespace

FrameRef CreateWritableBinaryReferenceFrame(const FrameRequest& request) {
    return MakeWritableBinaryReferenceFrame(request, BlockSizeOf(request), Placement::ByRequest);
}

FrameRef CreateMemoryRecyclerFrame(const FrameRequest& request) {
    return MakeMemoryRecyclerFrame(request, BlockSizeOf(request), Placement::ByRequest);
}

FrameRef CreateCustomWritableBinaryReferenceFrame(const FrameRequest& request, std::int32_t dataSize) {
    return MakeWritableBinaryReferenceFrame(request, CustomBlockSize(dataSize), Placement::None);
}

FrameRef CreateCustomMemoryRecyclerFrame(const FrameRequest& request, std::int32_t dataSize) {
    return MakeMemoryRecyclerFrame(request, CustomBlockSize(dataSize), Placement::None);
}

FrameRef WrapBinaryReference(const boost::shared_ptr<framebroker::BinaryReference>& reference,
                             const zyncore::utility::Guid& id) {
    BinaryReferenceVideoFrame::Block block(reference);
    if (!block.Data() || block.SizeInBytes() < kSharedMemoryHeaderSize) {
        return nullptr;
    }
    return FrameRef(new BinaryReferenceVideoFrame(std::move(block), id));
}

} // namespace VF::Details
