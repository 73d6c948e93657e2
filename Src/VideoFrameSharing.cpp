#include "VideoFrameSharing.h"

#include "BlockHeader.h"
#include "PixelFormatUtilities.h"
#include "SharedMemoryVideoFrame/AcquiredData.h"
#include "SharedMemoryVideoFrame/CreateFrames.h"
#include "VFResults.h"
#include "VideoFrameManipulators/FrameAccess.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace VF {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using WritableReference = boost::shared_ptr<framebroker::WritableBinaryReference>;

// The quality that a plain copy passes to the converter, which does not look at it without scaling.
constexpr int kPlainQuality = 4;

// What a waiting process is told about a frame that will not come.
constexpr std::int32_t kGenerationErrorCode = -1;

// What decides how far a copy reaches. Each value is asked for once, because the header behind a wrapped frame may
// change at any moment: size, strides and checks must all be about the same picture.
struct Extent {
    zynmediatypes::PixelFormat format;
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool custom = false;
    std::uint64_t dataSize = 0; ///< asked for only where something depends on it
    std::uint64_t requiredSize = 0;
};

Extent ExtentOf(const FrameRef& frame, const Details::FrameAccess& access) {
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    Extent extent;
    extent.format = frame->GetPixelType();
    extent.width = bounds.Width();
    extent.height = bounds.Height();
    extent.custom = IsCustomBEPixelFormat(extent.format);
    if (extent.custom || !access.rows) {
        extent.dataSize = access.memory->GetDataSize();
    }
    const std::uint64_t imageSize =
        extent.custom ? extent.dataSize : zynmediatypes::PixelFormatSize(extent.format, extent.width, extent.height);
    if (__builtin_add_overflow(imageSize, kSharedMemoryHeaderSize, &extent.requiredSize)) {
        extent.requiredSize = std::numeric_limits<std::uint64_t>::max(); // more than any buffer has
    }
    return extent;
}

// Bytes from row to row of the packed copy; of the whole image where the format has no rows.
std::uint64_t PackedRowBytes(const Extent& extent, PB_PixelFormat format) {
    if (extent.custom) {
        return extent.dataSize;
    }
    const bool withoutRows = (static_cast<std::uint32_t>(format) & 0xFF000000U) != 0;
    return PB_PixelFormatSize(format, extent.width, withoutRows ? extent.height : 1);
}

constexpr std::int32_t LowWord(std::uint64_t value) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// A new block with a copy of the frame under id; empty when any step failed.
WritableReference PutCopy(const FrameRef& frame, const zyncore::utility::Guid& id) {
    std::uint64_t requiredSize = 0;
    WritableReference writable;
    if (GetRequiredSharedMemorySizeForVideoFrame(frame, requiredSize) != kResult_Success ||
        framebroker::GetWritableBinaryData(requiredSize, writable) != 0) {
        return nullptr;
    }
    {
        // The write ends before the block is put.
        const Details::AcquiredData<framebroker::WritableBinaryReference> block(writable);
        if (!block.Data() ||
            CopyVideoFrameIntoSharedMemoryBuffer(frame, block.Data(), block.SizeInBytes()) != kResult_Success) {
            return nullptr;
        }
    }
    return framebroker::PutCompletedBinaryData(id, writable) == 0 ? writable : nullptr;
}

int Publish(const FrameRef& frame, const zyncore::utility::Guid& id, WritableReference& ioReference) {
    if (const auto publishable = BRT::QueryInterface<IPublishableVideoFrame>(frame)) {
        return publishable->Publish(id);
    }
    WritableReference writable = PutCopy(frame, id);
    if (!writable) {
        return kResult_Failed;
    }
    ioReference = std::move(writable);
    return kResult_Success;
}

// Tells waiting processes that nothing will come, unless it came; also when an exception passes.
class Announcement {
public:
    explicit Announcement(const zyncore::utility::Guid& id) noexcept : mId(id) {}
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;
    ~Announcement() {
        if (mResult < 0) {
            static_cast<void>(framebroker::PutBinaryDataGenerationError(mId, kGenerationErrorCode));
        }
    }
    int Result(int result) noexcept { return mResult = result; }

private:
    const zyncore::utility::Guid& mId;
    int mResult = kResult_Failed;
};

} // namespace

int GetRequiredSharedMemorySizeForVideoFrame(FrameRef inFrame, std::uint64_t& outSize) {
    const Details::FrameAccess access(inFrame);
    if (!access.memory) {
        return kResult_Failed;
    }
    outSize = ExtentOf(inFrame, access).requiredSize;
    return kResult_Success;
}

int CopyVideoFrameIntoSharedMemoryBuffer(FrameRef inFrame, void* outBuffer, std::uint64_t inBufferSize) {
    const Details::FrameAccess access(inFrame);
    if (!access.memory) {
        return kResult_NoPixelAccess;
    }
    const Extent extent = ExtentOf(inFrame, access);
    if (!outBuffer || inBufferSize < extent.requiredSize) {
        return kResult_BufferTooSmall;
    }
    const PB_PixelFormat format = BEPixelFormatToPBPixelFormat(extent.format);
    const std::uint64_t packedRowBytes = PackedRowBytes(extent, format);
    const std::int32_t rowBytes = LowWord(packedRowBytes);
    const SharedMemoryVideoFrameHeader header =
        Details::MakeCopyHeader({extent.requiredSize, extent.format, extent.width, extent.height, rowBytes}, inFrame);
    std::memcpy(outBuffer, &header, sizeof(header));

    const std::int32_t sourceStride = access.rows ? access.rows->GetRowBytes() : LowWord(extent.dataSize);
    const Details::PixelImage source{access.memory->GetData(), sourceStride, extent.width, extent.height, format};
    // A word that cannot hold the row bytes would make the converter copy less, or backwards.
    if (packedRowBytes > std::uint64_t{std::numeric_limits<std::int32_t>::max()} ||
        !Details::LiesInFrame(source, inFrame)) {
        return kResult_NoPixelAccess;
    }
    void* const pixels = static_cast<std::uint8_t*>(outBuffer) + kSharedMemoryHeaderSize;
    return PB_Convert(source.data, source.rowBytes, format, pixels, rowBytes, format, extent.width, extent.height,
                      kPlainQuality) == 0
               ? kResult_Success
               : kResult_NoPixelAccess;
}

int PublishVideoFrameProvidingReference(FrameRef inFrame, const zyncore::utility::Guid& inId,
                                        WritableReference& ioReference) {
    Announcement announcement(inId);
    return announcement.Result(Publish(inFrame, inId, ioReference));
}

int PublishVideoFrame(FrameRef inFrame, const zyncore::utility::Guid& inId) {
    WritableReference reference;
    return PublishVideoFrameProvidingReference(std::move(inFrame), inId, reference);
}

int WrapVideoFrameAroundBinaryReference(const boost::shared_ptr<framebroker::BinaryReference>& inReference,
                                        const zyncore::utility::Guid& inId, FrameRef& outFrame) {
    FrameRef previous;
    previous.Swap(outFrame);
    try {
        outFrame = Details::WrapBinaryReference(inReference, inId);
    } catch (const std::bad_alloc&) {
        return kResult_Failed;
    }
    return outFrame ? kResult_Success : kResult_Failed;
}

} // namespace VF
