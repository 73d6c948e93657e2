#include "BinaryReferenceVideoFrame.h"

#include "VFResults.h"

namespace VF {

std::int32_t BinaryReferenceVideoFrame::Publish(const zyncore::utility::Guid& inId) {
    return framebroker::MakeBinaryDataAlias(mId, mBlock.GetReference(), inId) == 0 ? kResult_Success : kResult_Failed;
}

void* BinaryReferenceVideoFrame::DeletingDestructor(unsigned int inFlags) {
    this->~BinaryReferenceVideoFrame();
    if ((inFlags & 1) != 0) {
        BRT::Allocator::Dispose(this, sizeof(BinaryReferenceVideoFrame));
    }
    return this;
}

} // namespace VF
