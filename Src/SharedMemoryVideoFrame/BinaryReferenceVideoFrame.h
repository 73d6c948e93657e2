#pragma once

#include "AcquiredData.h"
#include "SharedMemoryVideoFrameBase.h"
#include "sharehub.h"

namespace VF {

/// A frame on a broker block that some process published. Always read-only; publishing it again makes an alias. The
/// header may hold anything: its size and version are not checked, and operations that touch pixels ask how large the
/// block really is.
class BinaryReferenceVideoFrame final : public SharedMemoryVideoFrameBase, public BRT::Allocated {
public:
    using Block = Details::AcquiredData<framebroker::BinaryReference>;

    /// block has data of at least a header's size; id is the name it was received under.
    BinaryReferenceVideoFrame(Block block, const zyncore::utility::Guid& id) noexcept
        : mBlock(std::move(block)), mId(id) {}

    void* InternalGetWritableData() override { return nullptr; }
    const void* InternalGetData() override { return mBlock.Data(); }
    bool CanPublish() override { return true; }
    bool GetReadOnly() override { return true; }
    void SetReadOnly(bool /*inReadOnly*/) override {}
    std::int32_t Publish(const zyncore::utility::Guid& inId) override;
    bool MayWritePixels() override { return false; }
    void* DeletingDestructor(unsigned int inFlags) override;

protected:
    std::uint64_t GetBlockSize() override { return mBlock.SizeInBytes(); }

private:
    ~BinaryReferenceVideoFrame() = default;

    Block mBlock;
    zyncore::utility::Guid mId;
};

} // namespace VF
