#include "RawFrame.h"

#include "ContractReport.h"
#include "VFResults.h"
#include "VideoFrameGeometry.h"

#include <bit>
#include <new>

namespace VF {

std::int32_t RawFrame::Initialize(std::uint64_t inSize, std::uint64_t inAlignment) {
    Details::CheckContract(inSize != 0, "inSize", "Src/RawFrame", 60);
    const std::uint64_t allocatedSize = inSize + inAlignment;
    if ((inAlignment != 0 && !std::has_single_bit(inAlignment)) || allocatedSize < inSize) {
        return kResult_BufferTooSmall;
    }
    try {
        mBuffer = Details::RecycledBuffer(allocatedSize);
    } catch (const std::bad_alloc&) {
        return kResult_BufferTooSmall;
    }
    if (!mBuffer.Data()) {
        return kResult_BufferTooSmall;
    }
    mRequestedSize = inSize;
    mAllocatedSize = allocatedSize;
    mData = mBuffer.Data();
    if (inAlignment != 0) {
        const auto start = reinterpret_cast<std::uintptr_t>(mData);
        const std::uintptr_t aligned = (start + inAlignment) & ~(inAlignment - 1);
        mData = Details::OffsetPointer(mData, static_cast<std::int64_t>(aligned - start));
    }
    return kResult_Success;
}

std::uint32_t RawFrame::AddRef() {
    return mReferenceCount.Increment();
}

std::uint32_t RawFrame::Release() {
    const std::uint32_t count = mReferenceCount.Decrement();
    if (count == 0) {
        DeletingDestructor(1);
    }
    return count;
}

void* RawFrame::DeletingDestructor(unsigned int inFlags) {
    this->~RawFrame();
    if ((inFlags & 1) != 0) {
        BRT::Allocator::Dispose(this, sizeof(RawFrame));
    }
    return this;
}

std::int32_t RawFrame::QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) {
    if (inID == IVideoFrameMemoryAccess::kInterfaceID || inID == kInterfaceID ||
        inID == BRT::BRTUnknown::kInterfaceID) {
        *outInterface = static_cast<IVideoFrameMemoryAccess*>(this);
        AddRef();
        return kResult_Success;
    }
    *outInterface = nullptr;
    return kResult_NoSuchInterface;
}

void* RawFrame::GetData() {
    return mData;
}

std::uint64_t RawFrame::GetDataSize() {
    return mRequestedSize;
}

std::uint64_t RawFrame::GetBufferSize() {
    return mAllocatedSize;
}

BRT::InterfaceRef<RawFrame> RawFrame::GetSelfReference() {
    return BRT::InterfaceRef<RawFrame>(this);
}

} // namespace VF
