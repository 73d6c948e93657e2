// A block received from another process holds whatever that process wrote. The first byte of the input chooses the
// block's size beyond the rest of the input, which becomes its content: header first, then pixels.

#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameSharing.h"
#include "VideoFrameUtilities.h"
#include "sharehub.h"
#include "zyncore.h"

#include <algorithm>
#include <memory>

namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
namespace Manipulators = VF::VideoFrameManipulators;

// A block in plain memory that ends where the sanitizer looks, read-only as far as the library is concerned.
class MemoryBlock final : public framebroker::BinaryReference {
public:
    MemoryBlock(const std::uint8_t* bytes, std::size_t count, std::size_t size) : mSize(size) {
        mBytes = std::make_unique<std::uint8_t[]>(size);
        std::copy_n(bytes, std::min(count, size), mBytes.get());
    }
    const void* AcquireDataPointer() override { return mBytes.get(); }
    void ReleaseDataPointer(const void*) override {}
    std::uint64_t GetSize() const override { return mSize; }

private:
    std::unique_ptr<std::uint8_t[]> mBytes;
    std::size_t mSize;
};

constexpr std::uint64_t kLargestBlock = 1 << 16;

// A copy of a picture as large as its header claims is the caller's wish, not a fault; here it would only cost time.
bool IsSmall(const FrameRef& frame) {
    const auto bounds = frame->GetBounds();
    return bounds.right <= 256 && bounds.bottom <= 256;
}

// The buffer claims what the header asks for and holds what a picture that lies in the block can need.
void CopyIntoBuffer(const FrameRef& frame) {
    std::uint64_t size = 0;
    static_cast<void>(VF::GetRequiredSharedMemorySizeForVideoFrame(frame, size));
    const std::uint64_t held = std::min<std::uint64_t>(size, kLargestBlock);
    const auto buffer = std::make_unique<std::uint8_t[]>(held);
    static_cast<void>(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.get(), size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool started = [] {
        VF::Initialize();
        zyncore::debug::SetTraceLevel("Contract", -1);
        return true;
    }();
    if (!started || size < 1) {
        return 0;
    }
    const std::size_t blockSize = std::min<std::size_t>(size - 1 + 16 * std::size_t{data[0]}, kLargestBlock);
    const boost::shared_ptr<framebroker::BinaryReference> block(new MemoryBlock(data + 1, size - 1, blockSize));
    FrameRef frame;
    if (VF::WrapVideoFrameAroundBinaryReference(block, {}, frame) != 0) {
        return 0;
    }
    CopyIntoBuffer(frame);
    static_cast<void>(VF::PublishVideoFrame(frame, {}));
    FrameRef target;
    VF::CreateVideoFrame(target, zynmediatypes::kPixelFormat_BGRA_4444_8u, 24, 18, {1, 1}, true, false);
    const auto quality = static_cast<zynmediatypes::RenderQuality>(data[0] % 6);
    const auto bounds = frame->GetBounds();
    const bool rows = static_cast<bool>(BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame));
    for (int selector = rows ? 0 : 2; selector < 3; ++selector) {
        static_cast<void>(
            Manipulators::CopyRect(frame, {1, 0, bounds.right, 77}, target, {0, 0, 24, 18}, quality, selector));
    }
    static_cast<void>(Manipulators::CopyFrame(frame, target, quality));
    static_cast<void>(Manipulators::CopyFrame(target, frame, quality));
    if (IsSmall(frame)) {
        try {
            FrameRef addressable;
            static_cast<void>(
                Manipulators::MakeAddressableVideoFrame(frame, addressable, frame->GetPixelType(), quality));
            static_cast<void>(VF::MakeWriteableVideoFrame(frame, quality));
        } catch (const BRT::NullInterfaceException&) {
            // No frame of the size that the header claims.
        }
    }
    return 0;
}
