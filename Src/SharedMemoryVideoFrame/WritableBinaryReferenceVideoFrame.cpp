#include "WritableBinaryReferenceVideoFrame.h"

#include "VFResults.h"

namespace VF {

void* WritableBinaryReferenceVideoFrame::InternalGetWritableData() {
    const BRT::CriticalSectionLock lock(mLock);
    return mBlock.Data();
}

const void* WritableBinaryReferenceVideoFrame::InternalGetData() {
    const BRT::CriticalSectionLock lock(mLock);
    return mBlock.Data();
}

bool WritableBinaryReferenceVideoFrame::CanPublish() {
    const BRT::CriticalSectionLock lock(mLock);
    return mBlock.GetReference() || mPublishedReference;
}

bool WritableBinaryReferenceVideoFrame::GetReadOnly() {
    const BRT::CriticalSectionLock lock(mLock);
    return mReadOnly || mPublishedReference;
}

void WritableBinaryReferenceVideoFrame::SetReadOnly(bool inReadOnly) {
    const BRT::CriticalSectionLock lock(mLock);
    mReadOnly = inReadOnly;
}

bool WritableBinaryReferenceVideoFrame::MayWritePixels() {
    const BRT::CriticalSectionLock lock(mLock);
    return mBlock.Data() && !mPublishedReference;
}

std::int32_t WritableBinaryReferenceVideoFrame::Publish(const zyncore::utility::Guid& inId) {
    const BRT::CriticalSectionLock lock(mLock);
    if (mPublishedReference) {
        return framebroker::MakeBinaryDataAlias(mPublishedIdentifier, mPublishedReference, inId) == 0 ? kResult_Success
                                                                                                      : kResult_Failed;
    }
    if (!mBlock.GetReference()) {
        return kResult_Failed;
    }
    // The identifier is replaced before the broker is asked and stays replaced when it refuses.
    mPublishedIdentifier = inId;
    if (framebroker::PutCompletedBinaryData(inId, mBlock.GetReference()) != 0) {
        return kResult_Failed;
    }
    // Without a reference the frame stays writable and the next publication puts the block again.
    static_cast<void>(framebroker::GetBinaryDataIfAvailable(inId, mPublishedReference));
    return kResult_Success;
}

void* WritableBinaryReferenceVideoFrame::DeletingDestructor(unsigned int inFlags) {
    this->~WritableBinaryReferenceVideoFrame();
    if ((inFlags & 1) != 0) {
        BRT::Allocator::Dispose(this, sizeof(WritableBinaryReferenceVideoFrame));
    }
    return this;
}

} // namespace VF
