#pragma once

#include "AcquiredData.h"
#include "SharedMemoryVideoFrameBase.h"
#include "sharehub.h"

namespace VF {

/// A frame on a broker block that this process made. Publishing puts the block under an identifier, after which the
/// frame is read-only for good and further publications are aliases. Read-only state and publication are serialised by
/// the frame's own lock, which is held across the broker calls.
class WritableBinaryReferenceVideoFrame final : public SharedMemoryVideoFrameBase, public BRT::Allocated {
public:
    using Block = Details::AcquiredData<framebroker::WritableBinaryReference>;

    /// block has data, header written.
    explicit WritableBinaryReferenceVideoFrame(Block block) noexcept : mBlock(std::move(block)) {}

    void* InternalGetWritableData() override;
    const void* InternalGetData() override;
    bool CanPublish() override;
    bool GetReadOnly() override;
    void SetReadOnly(bool inReadOnly) override;
    std::int32_t Publish(const zyncore::utility::Guid& inId) override;
    bool MayWritePixels() override;
    void* DeletingDestructor(unsigned int inFlags) override;

protected:
    std::uint64_t GetBlockSize() override { return mBlock.SizeInBytes(); }

private:
    // The write ends before the references go.
    ~WritableBinaryReferenceVideoFrame() { mBlock.ReleaseData(); }

    Block mBlock;
    boost::shared_ptr<framebroker::BinaryReference> mPublishedReference;
    zyncore::utility::Guid mPublishedIdentifier;
    BRT::CriticalSection mLock;
    bool mReadOnly = false;
};

} // namespace VF
