#pragma once

#include "BRTFoundation.h"
#include "RecycledBuffer.h"
#include "VideoFrameInterfaces.h"

#include <cstdint>

namespace VF {

/// A counted, aligned block of bytes from the memory recycler that offers memory access and nothing else. The pixmap
/// bridge keeps pixmaps in it.
class RawFrame final : public IVideoFrameMemoryAccess, public BRT::Allocated {
public:
    /// {F216FE55-58ED-4784-A44A-0B051A0C726D}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0xF216FE55, 0x58ED, 0x4784, {0xA4, 0x4A, 0x0B, 0x05, 0x1A, 0x0C, 0x72, 0x6D}};

    /// Takes the block. With an alignment (a power of two) the data begins at a multiple of it strictly behind the
    /// block's start; with alignment 0 at the start. Returns 0, or kResult_BufferTooSmall when nothing was allocated.
    std::int32_t Initialize(std::uint64_t inSize, std::uint64_t inAlignment);

    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    void* DeletingDestructor(unsigned int inFlags) override;
    std::int32_t QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) override;
    void* GetData() override;
    std::uint64_t GetDataSize() override;
    std::uint64_t GetBufferSize() override;

    /// A counted reference to the object itself. The one operation after the interface's slots.
    virtual BRT::InterfaceRef<RawFrame> GetSelfReference();

    bool GetReadOnly() const noexcept { return mReadOnly; }
    void SetReadOnly(bool inReadOnly) noexcept { mReadOnly = inReadOnly; }

private:
    BRT::ReferenceCount mReferenceCount;
    Details::RecycledBuffer mBuffer;
    void* mData = nullptr;
    bool mReadOnly = false;
    std::uint64_t mRequestedSize = 0;
    std::uint64_t mAllocatedSize = 0;
};

} // namespace VF
