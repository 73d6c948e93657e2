#pragma once

#include "../RecycledBuffer.h"
#include "SharedMemoryVideoFrameBase.h"

namespace VF {

/// A frame on a block of the memory recycler. It cannot be published. It takes no lock: concurrent setters are the
/// caller's business.
class MemoryRecyclerVideoFrame final : public SharedMemoryVideoFrameBase, public BRT::Allocated {
public:
    /// buffer holds the block, header written.
    explicit MemoryRecyclerVideoFrame(Details::RecycledBuffer buffer) noexcept : mBuffer(std::move(buffer)) {}

    void* InternalGetWritableData() override { return mBuffer.Data(); }
    const void* InternalGetData() override { return mBuffer.Data(); }
    bool CanPublish() override { return false; }
    bool GetReadOnly() override { return mReadOnly; }
    void SetReadOnly(bool inReadOnly) override { mReadOnly = inReadOnly; }
    std::int32_t Publish(const zyncore::utility::Guid& inId) override;
    bool MayWritePixels() override { return true; }
    void* DeletingDestructor(unsigned int inFlags) override;

protected:
    std::uint64_t GetBlockSize() override { return mBuffer.SizeInBytes(); }

private:
    ~MemoryRecyclerVideoFrame() = default;

    Details::RecycledBuffer mBuffer;
    bool mReadOnly = false;
};

} // namespace VF
