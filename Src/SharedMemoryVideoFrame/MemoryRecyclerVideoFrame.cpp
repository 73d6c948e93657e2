#include "MemoryRecyclerVideoFrame.h"

#include "../ContractReport.h"
#include "VFResults.h"

namespace VF {

// A query never offers the interface on such a frame, so only a caller that kept a wrong pointer comes here.
std::int32_t MemoryRecyclerVideoFrame::Publish(const zyncore::utility::Guid& /*inId*/) {
    Details::CheckContract(false, "false", "Src/SharedMemoryVideoFrame", 397);
    return kResult_Failed;
}

void* MemoryRecyclerVideoFrame::DeletingDestructor(unsigned int inFlags) {
    this->~MemoryRecyclerVideoFrame();
    if ((inFlags & 1) != 0) {
        BRT::Allocator::Dispose(this, sizeof(MemoryRecyclerVideoFrame));
    }
    return this;
}

} // namespace VF
