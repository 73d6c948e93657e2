#pragma once

#include "../RecycledBuffer.h"
#include "SharedMemoryVideoFrameBase.h"

#include <atomic>

namespace VF {

/// A frame on a block of the memory recycler. It cannot be published. It takes no lock: concurrent setters are the
/// caller's business, but for the read-only flag, which the shared cache sets while others use the frame.
class MemoryRecyclerVideoFrame final : public SharedMemoryVideoFrameBase, public BRT::Allocated {
public:
    /// buffer holds the block, header written.
    explicit MemoryRecyclerVideoFrame(Details::RecycledBuffer buffer) noexcept : mBuffer(std::move(buffer)) {}

    void* InternalGetWritableData() override { return mBuffer.Data(); }
    const void* InternalGetData() override { return mBuffer.Data(); }
    bool CanPublish() override { return false; }
    bool GetReadOnly() override { return mReadOnly.load(std::memory_order_relaxed); }
    void SetReadOnly(bool inReadOnly) override { mReadOnly.store(inReadOnly, std::memory_order_relaxed); }
    std::int32_t Publish(const zyncore::utility::Guid& inId) override;
    bool MayWritePixels() override { return true; }
    void* DeletingDestructor(unsigned int inFlags) override;

protected:
    std::uint64_t GetBlockSize() override { return mBuffer.SizeInBytes(); }

private:
    ~MemoryRecyclerVideoFrame() = default;

    Details::RecycledBuffer mBuffer;
    std::atomic<bool> mReadOnly{false};
};

} // namespace VF
